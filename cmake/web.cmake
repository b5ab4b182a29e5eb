# Build for browsers: WebAssembly with the distribution's Clang and wasi-libc.

set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)

set(CMAKE_C_COMPILER clang)
set(CMAKE_C_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
# The one that knows the distribution's packages.
set(Python3_EXECUTABLE /usr/bin/python3)

# Vectors of 128 bits, as every browser has them. Relaxed vectors, which round as the machine likes, stay off.
set(CMAKE_C_FLAGS_INIT "-msimd128")
set(CMAKE_CXX_FLAGS_INIT "-msimd128")
