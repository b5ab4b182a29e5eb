# The program is tested as users see it: by what it prints, what it writes and its exit status.
find_program(CALIBMAP_PYTHON NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH)
find_program(CALIBMAP_PYTHON NAMES python3 REQUIRED)
execute_process(COMMAND ${CALIBMAP_PYTHON} -c "import numpy" RESULT_VARIABLE noNumPy ERROR_QUIET)
if(noNumPy)
    message(FATAL_ERROR "The tests of the tool need NumPy (python3-numpy)")
endif()
add_test(NAME tool COMMAND ${CALIBMAP_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/tool_test.py
                           $<TARGET_FILE:calibmap-tool>)
set_tests_properties(tool PROPERTIES TIMEOUT 600)
set_tests_properties(
    tool PROPERTIES
    ENVIRONMENT
    "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/tool_leaks.supp:print_suppressions=0")

# Without sanitizers, which the interpreter does not have.
if(TARGET calibmap-python AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    add_test(NAME python COMMAND ${CALIBMAP_PYTHON} -B ${PROJECT_SOURCE_DIR}/python/test_calibmap.py)
    set_tests_properties(
        python PROPERTIES ENVIRONMENT
        "PYTHONPATH=${PROJECT_BINARY_DIR}/python;CALIBMAP_TOOL=$<TARGET_FILE:calibmap-tool>")
endif()

add_test(NAME make COMMAND ${CALIBMAP_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/make_test.py
                           $<TARGET_FILE:calibmap-tool>)
set_tests_properties(
    make PROPERTIES
    TIMEOUT 900
    ENVIRONMENT
    "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/tool_leaks.supp:print_suppressions=0")

add_test(NAME readers COMMAND ${CALIBMAP_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/readers_test.py
                              $<TARGET_FILE:calibmap-tool>)
set_tests_properties(readers PROPERTIES TIMEOUT 300 ENVIRONMENT
                                                    "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/tool_leaks.supp:print_suppressions=0")

# Where OpenCV is installed, its maps are the measure of what `make` writes.
find_path(CALIBMAP_OPENCV_INCLUDE opencv2/calib3d.hpp PATH_SUFFIXES opencv4)
find_library(CALIBMAP_OPENCV_CORE opencv_core)
find_library(CALIBMAP_OPENCV_CALIB3D opencv_calib3d)
if(CALIBMAP_OPENCV_INCLUDE AND CALIBMAP_OPENCV_CORE AND CALIBMAP_OPENCV_CALIB3D
   AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    add_executable(opencv_maps opencv_maps.cpp)
    target_include_directories(opencv_maps SYSTEM PRIVATE ${CALIBMAP_OPENCV_INCLUDE})
    target_link_libraries(opencv_maps PRIVATE ${CALIBMAP_OPENCV_CALIB3D} ${CALIBMAP_OPENCV_CORE})
    target_compile_features(opencv_maps PRIVATE cxx_std_20)
    add_test(NAME opencv COMMAND ${CALIBMAP_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/opencv_test.py
                                 $<TARGET_FILE:calibmap-tool> $<TARGET_FILE:opencv_maps>)
endif()

# A system that fails is compiled by the test; what was compiled for another machine has its own.
add_test(NAME output COMMAND ${CALIBMAP_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/output_test.py
                             $<TARGET_FILE:calibmap-tool> ${CMAKE_C_COMPILER})
set_tests_properties(
    output PROPERTIES
    TIMEOUT 600
    ENVIRONMENT
    "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/tool_leaks.supp:print_suppressions=0")
