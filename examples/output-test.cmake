# SPDX-License-Identifier: MIT
# Runs a program, which must end well and print exactly what a file holds.
#
#   cmake -DEXPECTED=file "-DPROGRAM=program;argument;..." -P output-test.cmake
execute_process(COMMAND ${PROGRAM} OUTPUT_VARIABLE printed RESULT_VARIABLE result)
file(READ "${EXPECTED}" expected)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "the program ended with ${result}")
endif()
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "expected:\n${expected}\nprinted:\n${printed}")
endif()
