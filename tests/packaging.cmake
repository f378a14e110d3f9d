# Outside consumers of the library: each builds a tiny project against an install, a source
# checkout or the pkg-config file and runs it. `ctest -L packaging` runs only these.
set(GLFD_PACKAGING_DIR ${CMAKE_CURRENT_BINARY_DIR}/packaging)
math(EXPR GLFD_NEXT_MAJOR "${PROJECT_VERSION_MAJOR} + 1")

function(glfd_add_packaging_test mode)
  add_test(NAME packaging.${mode}
    COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/packaging/run_consumer.sh ${mode} ${PROJECT_SOURCE_DIR}
            ${GLFD_PACKAGING_DIR} ${CMAKE_CXX_COMPILER} ${CMAKE_GENERATOR} ${ARGN})
  set_tests_properties(packaging.${mode} PROPERTIES LABELS packaging TIMEOUT 300)
endfunction()

glfd_add_packaging_test(install)
glfd_add_packaging_test(find_package ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR} ${GLFD_NEXT_MAJOR})
glfd_add_packaging_test(missing_header)
glfd_add_packaging_test(pkg-config ${PROJECT_VERSION})
glfd_add_packaging_test(add_subdirectory)
glfd_add_packaging_test(fetchcontent)
set_tests_properties(packaging.install PROPERTIES FIXTURES_SETUP glfd_installed)

# An ImGui application of its own, built against the installed component, then driven on a
# virtual X server: modal and non-modal.
if(TARGET glfd_imgui)
  glfd_add_packaging_test(imgui)
  set_tests_properties(packaging.imgui PROPERTIES FIXTURES_REQUIRED glfd_installed FIXTURES_SETUP glfd_imgui_consumer)
  find_package(Python3 COMPONENTS Interpreter)
  if(Python3_Interpreter_FOUND)
    foreach(scenario modal window)
      add_test(NAME imgui_consumer.${scenario}
        COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/e2e/imgui_consumer_test.py
                --program ${GLFD_PACKAGING_DIR}/imgui_consumer/consumer --artifacts ${CMAKE_BINARY_DIR}/e2e-artifacts
                ${scenario})
      set_tests_properties(imgui_consumer.${scenario} PROPERTIES LABELS "packaging;e2e;window"
        FIXTURES_REQUIRED glfd_imgui_consumer SKIP_RETURN_CODE 77 TIMEOUT 120)
    endforeach()
  endif()
endif()
set_tests_properties(packaging.find_package packaging.missing_header packaging.pkg-config
  PROPERTIES FIXTURES_REQUIRED glfd_installed)

# The embedding example, run on its own source folder: it must choose the first file there.
if(GLFD_BUILD_EXAMPLES)
  add_test(NAME packaging.example COMMAND glfd_embed ${PROJECT_SOURCE_DIR}/examples/embed)
  set_tests_properties(packaging.example PROPERTIES LABELS packaging
    PASS_REGULAR_EXPRESSION "FileSelected: [^\n]*/examples/embed/CMakeLists.txt\n.*dialog finished")
endif()
