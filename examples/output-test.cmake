# SPDX-License-Identifier: MIT
# Runs a program, which must end with a status and print exactly what a file holds.
#
#   cmake -DEXPECTED=file -DSTATUS=number "-DPROGRAM=program;argument;..." -P output-test.cmake
execute_process(COMMAND ${PROGRAM} OUTPUT_VARIABLE printed RESULT_VARIABLE result)
file(READ "${EXPECTED}" expected)
if(NOT result STREQUAL STATUS)
  message(FATAL_ERROR "the program ended with ${result}")
endif()
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "expected:\n${expected}\nprinted:\n${printed}")
endif()
