# Runs an example and compares what it prints. A failing one shows both texts.
execute_process(COMMAND "${EXAMPLE}" ${ARGUMENTS} OUTPUT_VARIABLE printed RESULT_VARIABLE result)
file(READ "${EXPECTED}" expected)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${EXAMPLE} ended with ${result}; it printed:\n${printed}")
endif()
if(NOT printed STREQUAL expected)
    message(FATAL_ERROR "${EXAMPLE} printed:\n${printed}\nexpected, from ${EXPECTED}:\n${expected}")
endif()
