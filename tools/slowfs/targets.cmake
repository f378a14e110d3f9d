# The slow FUSE file system and the helper that mounts it, for the tests and the benchmarks alike.
# Built only when pkg-config finds libfuse3; targets: glfd_slowfs (the program) and
# glfd_slow_mount (the SlowMount class).
include_guard(GLOBAL)
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(GLFD_FUSE3 QUIET IMPORTED_TARGET fuse3)
endif()
if(NOT GLFD_FUSE3_FOUND)
  message(STATUS "glfiledialog: slow file system tests not built (libfuse3 development files missing)")
  return()
endif()

find_package(Threads REQUIRED)
add_executable(glfd_slowfs ${CMAKE_CURRENT_LIST_DIR}/glfd_slowfs.cpp)
target_link_libraries(glfd_slowfs PRIVATE PkgConfig::GLFD_FUSE3 Threads::Threads glfd_warnings)
# Clang 14 defaults to C++14, where the two would not compile.
target_compile_features(glfd_slowfs PRIVATE cxx_std_17)

add_library(glfd_slow_mount STATIC ${CMAKE_CURRENT_LIST_DIR}/slow_mount.cpp)
target_include_directories(glfd_slow_mount PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_compile_features(glfd_slow_mount PUBLIC cxx_std_17)
target_compile_definitions(glfd_slow_mount PRIVATE GLFD_SLOWFS_PROGRAM="$<TARGET_FILE:glfd_slowfs>")
target_link_libraries(glfd_slow_mount PRIVATE glfd_warnings)
add_dependencies(glfd_slow_mount glfd_slowfs)
