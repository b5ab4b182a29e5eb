# As arm64.cmake, compiled by Clang, which is the device's compiler; GCC's cross package provides the
# linker and the C library.

include(${CMAKE_CURRENT_LIST_DIR}/arm64.cmake)

set(CMAKE_C_COMPILER clang)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)

# The device's linker, asked for pages of 4 KiB as older releases of the device's tools ask it: the
# library's own options have to prevail.
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-fuse-ld=lld -Wl,-z,max-page-size=4096")
