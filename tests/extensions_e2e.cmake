# Filters, save mode, hidden entries and the zenity-compatible command line, end to end: in the
# terminal through tmux and in the window on a virtual X server (label "e2e"; skipped when the
# tools are missing).
if(TARGET glfd_terminal AND TARGET glfiledialog_app AND TARGET glfiledialog_zenity)
  find_program(GLFD_BASH bash)
  if(GLFD_BASH)
    foreach(scenario save multiple switch zenity errors)
      add_test(NAME glfd_terminal_ext_e2e_${scenario}
               COMMAND ${GLFD_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/e2e/terminal_ext_test.sh
                       $<TARGET_FILE:glfiledialog_app> $<TARGET_FILE:glfiledialog_zenity> ${scenario})
      set_tests_properties(glfd_terminal_ext_e2e_${scenario} PROPERTIES LABELS "e2e;terminal" SKIP_RETURN_CODE 77
                           TIMEOUT 90)
    endforeach()
  endif()
endif()

if(TARGET glfiledialog_app AND TARGET glfd_imgui)
  find_package(Python3 COMPONENTS Interpreter)
  if(Python3_Interpreter_FOUND)
    foreach(scenario save_replace multiple_filter switch_filter)
      add_test(NAME window_ext_e2e.${scenario}
        COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/e2e/window_ext_test.py
                --program $<TARGET_FILE:glfiledialog_app> --artifacts ${CMAKE_BINARY_DIR}/e2e-artifacts ${scenario})
      set_tests_properties(window_ext_e2e.${scenario} PROPERTIES LABELS "e2e;window" SKIP_RETURN_CODE 77 TIMEOUT 60)
    endforeach()
  endif()
endif()
