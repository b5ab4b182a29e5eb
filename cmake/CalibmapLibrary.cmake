# How the library is built, wherever it is built: what its results and its boundary depend on
# belongs to the target, so that no preset and no parent project can leave it out.

cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH CALIBMAP_ROOT)

set(CALIBMAP_SOURCES
    arithmetic/elementwise.cpp
    arithmetic/maps.cpp
    arithmetic/product.cpp
    arithmetic/tile.cpp
    calib/camera_query.cpp
    calib/checksum.cpp
    calib/reading.cpp
    calib/stack.cpp
    container/diagnostics.cpp
    container/live_counts.cpp
    container/mat.cpp
    container/mat_int.cpp
    container/vectors.cpp
    distortion/delivery.cpp
    distortion/grid.cpp
    distortion/main_camera.cpp
    distortion/process.cpp
    spline/basis.cpp
    spline/collocation_matrix.cpp
    spline/knots.cpp
    spline/spcol.cpp)

include(CheckCXXSourceCompiles)
check_cxx_source_compiles("#ifndef __aarch64__
#error
#endif
int main() {}" CALIBMAP_IS_ARM64)

# As far as compiler and machine know it: no frame steps over the guard page below a small stack, and an
# indirect branch or a return leads only where one is expected. The routines for atomic operations that come
# with a compiler need not be marked as such, so these are compiled in.
include(CheckCXXCompilerFlag)
foreach(option IN ITEMS -fstack-clash-protection -fcf-protection -mbranch-protection=standard
                        -mno-outline-atomics)
    string(MAKE_C_IDENTIFIER "CALIBMAP_HAS${option}" isKnown)
    check_cxx_compiler_flag("-Werror ${option}" ${isKnown})
    if(${isKnown})
        list(APPEND CALIBMAP_HARDENING ${option})
    endif()
endforeach()

# Warnings for our own code, library and programs alike.
function(calibmap_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                                             $<$<BOOL:${CALIBMAP_WERROR}>:-Werror>)
endfunction()

# Defence in depth: the library runs in privileged processes, the program reads other people's files.
function(calibmap_harden target)
    if(CMAKE_SYSTEM_PROCESSOR STREQUAL wasm32) # where return addresses lie beyond a program's reach
        return()
    endif()
    target_compile_options(${target} PRIVATE -fstack-protector-strong ${CALIBMAP_HARDENING}
                                             $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE
                                             -D_FORTIFY_SOURCE=2>)
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endfunction()

# calibmap_library(<name> [SHARED|STATIC]): the library as target <name>. A program that has to
# intercept what the library calls, or instrument it, makes a second one for itself.
function(calibmap_library name)
    set(sources ${CALIBMAP_SOURCES})
    list(TRANSFORM sources PREPEND ${CALIBMAP_ROOT}/)
    add_library(${name} ${ARGN} ${sources})
    target_compile_features(${name} PRIVATE cxx_std_20)
    calibmap_warnings(${name})

    target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${CALIBMAP_ROOT}>)
    target_compile_options(
        ${name}
        PRIVATE # One rounding per operation: the same bits on every machine.
                -fno-fast-math
                -ffp-contract=off
                # Plain functions over plain records: nothing of the C++ runtime is needed.
                -fno-exceptions
                -fno-rtti
                -fno-threadsafe-statics
                # Inside the library a call to `diff` is a call to our `diff`.
                -fno-semantic-interposition)
    calibmap_harden(${name})
    # A project that names no build type gets no optimisation from CMake, and maps four times slower.
    if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES AND NOT CMAKE_CXX_FLAGS MATCHES "-O")
        target_compile_options(${name} PRIVATE -O3)
    endif()
    set_target_properties(
        ${name}
        PROPERTIES CXX_EXTENSIONS OFF
                   CXX_VISIBILITY_PRESET hidden
                   VISIBILITY_INLINES_HIDDEN ON
                   # The C compiler links: no C++ runtime, no libm.
                   LINKER_LANGUAGE C
                   VERSION ${calibmap_VERSION}
                   SOVERSION ${calibmap_VERSION_MAJOR}
                   LINK_DEPENDS ${CALIBMAP_ROOT}/calibmap.map.txt)
    target_link_options(
        ${name}
        PRIVATE
        # CMake hands the C++ runtime even to a C linker; as nothing of it is used, it stays out.
        LINKER:--as-needed
        -Wl,--version-script=${CALIBMAP_ROOT}/calibmap.map.txt
        -Wl,-Bsymbolic-functions
        -Wl,-z,text)
    # Devices with pages of 16 KiB load it too, and what becomes read-only ends with such a page.
    if(CALIBMAP_IS_ARM64)
        target_link_options(${name} PRIVATE -Wl,-z,max-page-size=16384
                            -Wl,-z,common-page-size=16384)
    endif()
    # The library has nothing to start or to end, and a distribution's start files are not marked as
    # protected, which would take the mark off the whole library. A profile's runtime wants them.
    if(NOT ANDROID AND NOT CMAKE_CXX_FLAGS MATCHES "-fprofile|--coverage")
        target_link_options(${name} PRIVATE -nostartfiles)
    endif()
endfunction()
