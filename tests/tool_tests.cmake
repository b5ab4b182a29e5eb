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
