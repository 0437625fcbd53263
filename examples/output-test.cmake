# SPDX-License-Identifier: MIT
# Runs a program, which must end well and print exactly what a file holds.
#
#   cmake -DEXPECTED=file -P output-test.cmake -- PROGRAM ARGUMENT...
set(command)
set(begun FALSE)
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(i RANGE ${last})
  if(begun)
    list(APPEND command "${CMAKE_ARGV${i}}")
  elseif(CMAKE_ARGV${i} STREQUAL "--")
    set(begun TRUE)
  endif()
endforeach()

execute_process(COMMAND ${command} OUTPUT_VARIABLE printed RESULT_VARIABLE result)
file(READ "${EXPECTED}" expected)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "the program ended with ${result}")
endif()
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "expected:\n${expected}\nprinted:\n${printed}")
endif()
