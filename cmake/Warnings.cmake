# The warnings that every target of ours compiles under, as errors. Third-party headers are SYSTEM.
add_library(zorf_warnings INTERFACE)
target_compile_options(zorf_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wmissing-declarations -Werror)
