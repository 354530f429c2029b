# Fuzz builds instrument every object for coverage, with ASan and UBSan; undefined behaviour
# stops the run like a crash, so the fuzzer keeps the input.
if(KESTRUNE_BUILD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# One sanitizer configuration for the whole build, so that the library, the tests and the
# tool are instrumented alike.
if(KESTRUNE_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(KESTRUNE_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT KESTRUNE_SANITIZE STREQUAL "")
  message(FATAL_ERROR "KESTRUNE_SANITIZE must be empty, 'address' or 'thread'")
endif()

# GCC reports false "maybe uninitialized" warnings inside the standard library (std::regex,
# std::function) once sanitizer instrumentation is on.
if(NOT KESTRUNE_SANITIZE STREQUAL "" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wno-maybe-uninitialized)
endif()
