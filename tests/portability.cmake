# What holds wherever the library is built: the bits of its numbers, its machine code, its sources.

# At these levels golden_test runs on a copy of the library of its own, besides the library itself.
set(CALIBMAP_GOLDEN_LEVELS "" CACHE STRING "Optimisation levels for golden_test, such as 0;2;3")

add_library(golden_reference STATIC golden_reference.cpp)
calibmap_test_options(golden_reference)
target_include_directories(golden_reference PUBLIC ${PROJECT_SOURCE_DIR})
target_compile_options(golden_reference PRIVATE -fno-fast-math)

# The test itself is compiled once for all of them.
add_library(golden_cases OBJECT golden_test.cpp)
calibmap_test_options(golden_cases)
target_include_directories(golden_cases PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(golden_cases PUBLIC GTest::gtest_main)

function(calibmap_golden_test name library)
    add_executable(${name})
    target_link_libraries(${name} PRIVATE golden_cases ${library} golden_reference)
    add_test(NAME ${name} COMMAND ${name})
endfunction()

calibmap_golden_test(golden_test calibmap)
foreach(level IN LISTS CALIBMAP_GOLDEN_LEVELS)
    calibmap_library(calibmap_O${level} STATIC)
    # The C library's fortified functions exist only in optimised code.
    target_compile_options(calibmap_O${level} PRIVATE -O${level} "SHELL:-U _FORTIFY_SOURCE")
    calibmap_golden_test(golden_test_O${level} calibmap_O${level})
endforeach()

# The library takes the widest vectors of the processor; these two, emulated, have two and four lanes.
find_program(CALIBMAP_EMULATOR NAMES qemu-x86_64)
if(CALIBMAP_EMULATOR AND CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64" AND NOT CMAKE_CXX_FLAGS MATCHES
                                                                      "-fsanitize|--coverage")
    foreach(test IN ITEMS arithmetic_test golden_test)
        foreach(cpu IN ITEMS qemu64 max)
            add_test(NAME ${test}_${cpu} COMMAND ${CALIBMAP_EMULATOR} -cpu ${cpu} $<TARGET_FILE:${test}>
                                                 --gtest_brief=1)
        endforeach()
    endforeach()
endif()

# Only optimised code has to use vectors, and sanitizers bring instructions of their own.
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize|--coverage")
    add_test(NAME machine_code
             COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/machine_code.sh $<TARGET_FILE:calibmap>
                     ${CMAKE_OBJDUMP})
    if(BUILD_SHARED_LIBS)
        add_test(NAME hardened_library COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/hardened.sh
                                               $<TARGET_FILE:calibmap> ${CMAKE_READELF})
    endif()
    if(TARGET calibmap-tool)
        add_test(NAME hardened_program COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/hardened.sh
                                               $<TARGET_FILE:calibmap-tool> ${CMAKE_READELF})
    endif()
endif()

# A platform tree builds the same sources by the same rules.
get_target_property(options calibmap COMPILE_OPTIONS)
get_target_property(linkOptions calibmap LINK_OPTIONS)
list(APPEND options ${linkOptions})
list(FILTER options INCLUDE REGEX "^-(f|m|Wl,)")
# Not every Clang for arm64 knows the guard of the stack, and a platform has start files of its own.
list(FILTER options EXCLUDE REGEX "version-script|stack-clash")
add_test(NAME android_blueprint
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/android_blueprint.sh ${PROJECT_SOURCE_DIR}/Android.bp
                 $<IF:$<BOOL:${CALIBMAP_IS_ARM64}>,arm64,x86_64> ${CALIBMAP_SOURCES} ${options})

# Frames are as large as the optimiser makes them. Asked for here, as the blueprint has no use for it.
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize|--coverage")
    target_compile_options(calibmap PRIVATE -fstack-usage)
    list(LENGTH CALIBMAP_SOURCES sourceCount)
    add_test(NAME stack_frames
             COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/stack_frames.sh
                     ${PROJECT_BINARY_DIR}/CMakeFiles/calibmap.dir ${sourceCount})
endif()
