# ZORF_SANITIZE: empty, "address" (with undefined) or "thread". Applies to every target, so that the
# library and the process that loads it agree on the run-time.
set(ZORF_SANITIZE "" CACHE STRING "Sanitizer to build everything with: address, thread or nothing")
set_property(CACHE ZORF_SANITIZE PROPERTY STRINGS "" address thread)

add_library(zorf_sanitizers INTERFACE)
if(ZORF_SANITIZE STREQUAL "address")
  target_compile_options(zorf_sanitizers INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(zorf_sanitizers INTERFACE -fsanitize=address,undefined)
elseif(ZORF_SANITIZE STREQUAL "thread")
  target_compile_options(zorf_sanitizers INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(zorf_sanitizers INTERFACE -fsanitize=thread)
elseif(ZORF_SANITIZE)
  message(FATAL_ERROR "ZORF_SANITIZE is '${ZORF_SANITIZE}'; use address or thread")
endif()

option(ZORF_FUZZ "Build the fuzz targets with libFuzzer (needs clang)" OFF)
if(ZORF_FUZZ)
  target_compile_options(zorf_sanitizers INTERFACE -fsanitize=fuzzer-no-link)
endif()
