glfd_add_test(glfd_listing_identity_test listing_identity_test.cpp oracle/straightforward_listing.cpp)
# With libfuse3, the identity tests also list through a slow mount.
include(${PROJECT_SOURCE_DIR}/tools/slowfs/targets.cmake)
if(TARGET glfd_slow_mount)
  target_link_libraries(glfd_listing_identity_test PRIVATE glfd_slow_mount)
  target_compile_definitions(glfd_listing_identity_test PRIVATE GLFD_HAVE_SLOW_MOUNT)
endif()
