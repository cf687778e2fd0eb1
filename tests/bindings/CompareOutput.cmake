# cmake -DPROGRAM=p -DFILE=f -P CompareOutput.cmake: fails unless p prints exactly what f holds.

execute_process(COMMAND ${PROGRAM} OUTPUT_VARIABLE printed COMMAND_ERROR_IS_FATAL ANY)
file(READ ${FILE} held)
if(NOT printed STREQUAL held)
    message(FATAL_ERROR "${FILE} is out of date: run ${PROGRAM} and store what it prints")
endif()
