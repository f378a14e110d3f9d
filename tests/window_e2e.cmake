# End-to-end tests of the chooser's window, run on a private virtual X server. Each scenario is one
# ctest test (label "e2e"); they skip when Xvfb or xdotool is missing. Screenshots land in
# e2e-artifacts/ of the build folder.
if(TARGET glfiledialog_app AND TARGET glfd_imgui)
  find_package(Python3 COMPONENTS Interpreter)
  if(Python3_Interpreter_FOUND)
    set(GLFD_WINDOW_SCENARIOS open_file multiple folder escape close typed_path keyboard names scripts large_folder scaled
        no_display)
    foreach(scenario IN LISTS GLFD_WINDOW_SCENARIOS)
      add_test(NAME window_e2e.${scenario}
        COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/e2e/window_test.py
                --program $<TARGET_FILE:glfiledialog_app> --artifacts ${CMAKE_BINARY_DIR}/e2e-artifacts ${scenario})
      set_tests_properties(window_e2e.${scenario} PROPERTIES LABELS "e2e;window" SKIP_RETURN_CODE 77 TIMEOUT 60)
    endforeach()
    # A folder on a mount that never answers (label "slowfs" too; skipped where FUSE cannot mount).
    # Run alone: they time the answer to a key in half-second bounds.
    if(TARGET glfd_slowfs)
      foreach(scenario hung_escape hung_up hung_close)
        add_test(NAME window_e2e.${scenario}
          COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/e2e/window_test.py
                  --program $<TARGET_FILE:glfiledialog_app> --artifacts ${CMAKE_BINARY_DIR}/e2e-artifacts
                  --slowfs $<TARGET_FILE:glfd_slowfs> ${scenario})
        set_tests_properties(window_e2e.${scenario} PROPERTIES LABELS "e2e;window;slowfs" RUN_SERIAL TRUE SKIP_RETURN_CODE 77
          TIMEOUT 60)
      endforeach()
    endif()
  else()
    message(STATUS "glfiledialog: window end-to-end tests not registered (no python3)")
  endif()
endif()
