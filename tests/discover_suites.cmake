# SPDX-License-Identifier: Apache-2.0
# Run when a test program is built: writes one add_test() for each of its test suites,
# under the name PROGRAM.SUITE.
#
#   cmake -D NAME=NAME -D PROGRAM=FILE -D EMULATOR="PROGRAM ARG..." -D WITHOUT="Suite.Test ..."
#         -D COST=NUMBER -D DIRECTORY=DIR -D OUT=FILE -P discover_suites.cmake
#
# WITHOUT: tests that are left out; one that the program does not have is an error. COST: those
# of more are begun sooner. DIRECTORY: where the tests run.
cmake_minimum_required(VERSION 3.25)
separate_arguments(EMULATOR UNIX_COMMAND "${EMULATOR}")
separate_arguments(WITHOUT UNIX_COMMAND "${WITHOUT}")
execute_process(COMMAND ${EMULATOR} ${PROGRAM} --gtest_list_tests
  WORKING_DIRECTORY ${DIRECTORY} OUTPUT_VARIABLE list RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} does not list its tests: ${result}")
endif()

# Suites stand at the start of a line and end with a point; their tests follow, indented.
string(REGEX REPLACE "[[;]|\\]" "_" list "${list}")
string(REPLACE "\n" ";" lines "${list}")
set(script "")
set(tests "")
foreach(line IN LISTS lines)
  string(REGEX REPLACE " +#.*$" "" line "${line}")
  if(line MATCHES "^  (.+)$")
    list(APPEND tests "${suite}${CMAKE_MATCH_1}")
  elseif(line MATCHES "^[^ ]+\\.$")
    set(suite "${line}")
    set(left_out ${WITHOUT})
    string(REGEX REPLACE "([.+])" "\\\\\\1" begins "^${suite}")
    list(FILTER left_out INCLUDE REGEX "${begins}")
    list(JOIN left_out ":" left_out)
    set(filter "${suite}*")
    if(left_out)
      string(APPEND filter "-${left_out}")
    endif()
    string(REGEX REPLACE "\\.$" "" name "${NAME}.${suite}")
    list(JOIN EMULATOR "\" \"" command)
    if(NOT command STREQUAL "")
      set(command "\"${command}\" ")
    endif()
    string(APPEND script
      "add_test(\"${name}\" ${command}\"${PROGRAM}\" \"--gtest_filter=${filter}\")\n"
      "set_tests_properties(\"${name}\" PROPERTIES TIMEOUT 300 COST ${COST}"
      " WORKING_DIRECTORY \"${DIRECTORY}\" LABELS \"${NAME}\")\n")
  endif()
endforeach()
foreach(test IN LISTS WITHOUT)
  if(NOT test IN_LIST tests)
    message(FATAL_ERROR "${NAME} has no test ${test}")
  endif()
endforeach()
file(WRITE "${OUT}" "${script}")
