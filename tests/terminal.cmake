# Unit tests of the terminal backend's text handling and key decoding (only when the backend is
# built).
if(TARGET glfd_terminal)
  glfd_add_test(glfd_terminal_text_test terminal_text_test.cpp)
  target_link_libraries(glfd_terminal_text_test PRIVATE glfd_terminal)
  glfd_add_test(glfd_terminal_keys_test terminal_keys_test.cpp)
  target_link_libraries(glfd_terminal_keys_test PRIVATE glfd_terminal)
endif()
