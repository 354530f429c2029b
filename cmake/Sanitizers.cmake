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
