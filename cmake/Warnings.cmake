# Warnings for the project's own code; errors so that nothing slips in.
add_library(sfpdrv_warnings INTERFACE)
target_compile_options(sfpdrv_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
  -Wformat=2 -Wundef -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast>)
