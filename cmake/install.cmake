# Install rules: the library, its headers under include/glfiledialog, a CMake package
# (glfiledialog::glfiledialog) and a pkg-config file. Off by default when embedded; a parent
# that installs its own targets linking ours (or builds shared) turns it on.
option(GLFD_INSTALL "Generate the install rules" ${GLFD_TOP_LEVEL})
if(NOT GLFD_INSTALL)
  return()
endif()

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(GLFD_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/glfiledialog)
set(GLFD_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS glfiledialog EXPORT glfiledialogTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/glfiledialog)
install(EXPORT glfiledialogTargets NAMESPACE glfiledialog:: DESTINATION ${GLFD_CMAKE_DIR})
# The ImGui component, when built against the system's ImGui: its own export set, loaded by the
# package's config file when the component "imgui" is asked for, and its own pkg-config module.
get_property(GLFD_IMGUI_INSTALLABLE GLOBAL PROPERTY GLFD_IMGUI_INSTALLABLE)
if(TARGET glfd_imgui AND GLFD_IMGUI_INSTALLABLE)
  install(TARGETS glfd_imgui EXPORT glfiledialogImGuiTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/glfiledialog)
  install(EXPORT glfiledialogImGuiTargets NAMESPACE glfiledialog:: DESTINATION ${GLFD_CMAKE_DIR})
  set(GLFD_HAVE_IMGUI_COMPONENT ON)
else()
  set(GLFD_HAVE_IMGUI_COMPONENT OFF)
endif()

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/glfiledialogConfig.cmake.in
  ${PROJECT_BINARY_DIR}/glfiledialogConfig.cmake INSTALL_DESTINATION ${GLFD_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/glfiledialogConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/glfiledialogConfig.cmake ${PROJECT_BINARY_DIR}/glfiledialogConfigVersion.cmake
  DESTINATION ${GLFD_CMAKE_DIR})

# The .pc file finds the prefix from its own location, so `cmake --install --prefix` and
# DESTDIR installs stay usable without reconfiguring.
file(RELATIVE_PATH GLFD_PC_PREFIX "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" GLFD_PC_PREFIX "${GLFD_PC_PREFIX}")
file(RELATIVE_PATH GLFD_PC_LIBDIR "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_LIBDIR}")
file(RELATIVE_PATH GLFD_PC_INCLUDEDIR "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/glfiledialog.pc.in ${PROJECT_BINARY_DIR}/glfiledialog.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/glfiledialog.pc DESTINATION ${GLFD_PKGCONFIG_DIR})
if(GLFD_HAVE_IMGUI_COMPONENT)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/glfiledialog-imgui.pc.in ${PROJECT_BINARY_DIR}/glfiledialog-imgui.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/glfiledialog-imgui.pc DESTINATION ${GLFD_PKGCONFIG_DIR})
endif()
