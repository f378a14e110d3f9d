# The panel waiting on mounts that never answer (label "slowfs"; skipped where FUSE cannot mount).
include(${PROJECT_SOURCE_DIR}/tools/slowfs/targets.cmake)
if(TARGET glfd_slow_mount)
  add_executable(glfd_wait_test wait_test.cpp)
  target_link_libraries(glfd_wait_test PRIVATE glfd_slow_mount glfd_test_support GTest::gtest_main glfd_warnings)
  gtest_discover_tests(glfd_wait_test TEST_FILTER "HungMount.*" DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT 120 LABELS slowfs)
  # This one exits a process with helpers stuck in the kernel, which LeakSanitizer cannot stop to
  # scan them; it waits for them for ever.
  gtest_discover_tests(glfd_wait_test TEST_FILTER "HungMountExit.*" DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT 120 LABELS slowfs ENVIRONMENT "ASAN_OPTIONS=detect_leaks=0:abort_on_error=1")
endif()
