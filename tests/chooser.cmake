if(TARGET glfd_chooser_options)
  glfd_add_test(glfd_chooser_options_test chooser_options_test.cpp zenity_options_test.cpp)
  target_link_libraries(glfd_chooser_options_test PRIVATE glfd_chooser_options)
endif()
