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
