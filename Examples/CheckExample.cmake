# Runs an example and compares what it prints. A failing one shows both texts. On standard error nothing may appear:
# whatever the library says goes to the example's own logger.
execute_process(COMMAND "${EXAMPLE}" ${ARGUMENTS}
    OUTPUT_VARIABLE printed ERROR_VARIABLE errors RESULT_VARIABLE result)
file(READ "${EXPECTED}" expected)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${EXAMPLE} ended with ${result}; it printed:\n${printed}${errors}")
endif()
if(NOT printed STREQUAL expected)
    message(FATAL_ERROR "${EXAMPLE} printed:\n${printed}\nexpected, from ${EXPECTED}:\n${expected}")
endif()
if(NOT errors STREQUAL "")
    message(FATAL_ERROR "${EXAMPLE} printed on standard error:\n${errors}")
endif()
