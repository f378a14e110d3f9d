# The chooser writes nothing: each backend runs a short real session under strace (label "e2e";
# skipped when strace, tmux, Xvfb or xdotool is missing, or tracing is not permitted).
if(TARGET glfiledialog_app)
  find_package(Python3 COMPONENTS Interpreter)
  if(Python3_Interpreter_FOUND)
    foreach(backend terminal window)
      if((backend STREQUAL "terminal" AND TARGET glfd_terminal) OR (backend STREQUAL "window" AND TARGET glfd_imgui))
        add_test(NAME no_write.${backend}
          COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/e2e/no_write_test.py
                  --program $<TARGET_FILE:glfiledialog_app> ${backend})
        set_tests_properties(no_write.${backend} PROPERTIES LABELS "e2e;${backend}" SKIP_RETURN_CODE 77 TIMEOUT 120)
      endif()
    endforeach()
  endif()
endif()
