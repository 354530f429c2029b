# kestrune_part(NAME [LIBS...]): an object library of every .cpp in the calling folder,
# with the library's common usage requirements plus the given libraries.
function(kestrune_part name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_library(${name} OBJECT ${sources})
  target_link_libraries(${name} PUBLIC kestrune_common ${ARGN})
endfunction()

# kestrune_test_suite(NAME LIBS...): one GoogleTest program of every .cpp in the calling
# folder, registered test by test with CTest.
function(kestrune_test_suite name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE ${ARGN} GTest::gtest GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE KESTRUNE_SAMPLE_DIR="${PROJECT_SOURCE_DIR}/data")
  # Whatever a test does not redirect itself lands in the build tree, never in the user's
  # own Documents folder.
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300
    ENVIRONMENT KESTRUNE_DOCUMENTS_DIR=${CMAKE_BINARY_DIR}/test-documents)
endfunction()
