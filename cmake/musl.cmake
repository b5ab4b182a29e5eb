# The library for musl, another C library than the one that the distribution is built on, and the
# nearest here to what a device has. The distribution's musl-gcc compiles C and links. It knows no
# C++, but the library takes from the C++ library only what is in its headers, and these work above
# musl's as they do above any C library's.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_HOST_SYSTEM_PROCESSOR})

set(CMAKE_C_COMPILER musl-gcc)
set(CMAKE_CXX_COMPILER g++)

# Nothing in C++ can be linked, so CMake must not try.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

execute_process(COMMAND g++ -print-file-name=include OUTPUT_VARIABLE ownHeaders
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND g++ -dumpmachine OUTPUT_VARIABLE machine OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND g++ -dumpversion OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "-gnu$" "-musl" muslMachine ${machine})
string(JOIN " -isystem " headers "" /usr/include/c++/${version} /usr/include/${machine}/c++/${version}
       /usr/include/${muslMachine} ${ownHeaders})
# The C++ library's headers ask for the version of the C library that they were built on.
set(CMAKE_CXX_FLAGS_INIT "-nostdinc${headers} '-D__GLIBC_PREREQ(major,minor)=0'")
