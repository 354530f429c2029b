# kestrune_part(NAME SOURCES... [LIBS...]): an object library of the listed sources with the
# library's common usage requirements plus the given libraries.
function(kestrune_part name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_library(${name} OBJECT ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC kestrune_common ${ARG_LIBS})
endfunction()

# kestrune_test_suite(NAME SOURCES... LIBS...): one GoogleTest program of the listed sources,
# registered test by test with CTest.
function(kestrune_test_suite name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE KESTRUNE_SAMPLE_DIR="${PROJECT_SOURCE_DIR}/data")
  # Whatever a test does not redirect itself lands in the build tree, never in the user's
  # own Documents folder.
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300
    ENVIRONMENT KESTRUNE_DOCUMENTS_DIR=${CMAKE_BINARY_DIR}/test-documents)
endfunction()
