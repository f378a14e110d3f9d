# The chooser's terminal interface driven through tmux, one ctest case per scenario
# (label "e2e"; skipped when tmux is missing).
if(TARGET glfd_terminal AND TARGET glfiledialog_app)
  find_program(GLFD_BASH bash)
  if(GLFD_BASH)
    foreach(scenario browse multiple typed hostile resize mouse signals notty)
      add_test(NAME glfd_terminal_e2e_${scenario}
               COMMAND ${GLFD_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/e2e/terminal_test.sh
                       $<TARGET_FILE:glfiledialog_app> ${scenario})
      set_tests_properties(glfd_terminal_e2e_${scenario} PROPERTIES LABELS "e2e;terminal" SKIP_RETURN_CODE 77 TIMEOUT 60)
    endforeach()
    # A folder on a mount that never answers (label "slowfs" too; skipped where FUSE cannot mount).
    # Run alone: they time the answer to a key in half-second bounds.
    if(TARGET glfd_slowfs)
      foreach(scenario hung_escape hung_up hung_interrupt)
        add_test(NAME glfd_terminal_e2e_${scenario}
                 COMMAND ${GLFD_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/e2e/terminal_test.sh
                         $<TARGET_FILE:glfiledialog_app> ${scenario})
        set_tests_properties(glfd_terminal_e2e_${scenario} PROPERTIES LABELS "e2e;terminal;slowfs"
          SKIP_RETURN_CODE 77 TIMEOUT 60 RUN_SERIAL TRUE
          # The program exits with threads stuck in the kernel, which LeakSanitizer cannot stop.
          ENVIRONMENT "GLFD_SLOWFS=$<TARGET_FILE:glfd_slowfs>;ASAN_OPTIONS=detect_leaks=0:abort_on_error=1")
      endforeach()
    endif()
  endif()
endif()
if(TEST glfd_terminal_e2e_signals)
  # This scenario crashes the program on purpose to see the terminal restored; in a
  # sanitized build the sanitizer's own SEGV handler must not take that over.
  set_tests_properties(glfd_terminal_e2e_signals PROPERTIES ENVIRONMENT "ASAN_OPTIONS=handle_segv=0")
endif()
