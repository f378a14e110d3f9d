# The slow FUSE file system and its own check (label "slowfs"); skipped where FUSE cannot mount.
include(${PROJECT_SOURCE_DIR}/tools/slowfs/targets.cmake)
if(TARGET glfd_slowfs)
  add_executable(glfd_slowfs_test slowfs/slowfs_test.cpp)
  target_link_libraries(glfd_slowfs_test PRIVATE glfd_slow_mount glfd_test_support GTest::gtest_main glfd_warnings)
  gtest_discover_tests(glfd_slowfs_test DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 60 LABELS slowfs)
endif()
