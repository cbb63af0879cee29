# SPDX-License-Identifier: MIT

# Compares the names that a shared library exports with a kept list, which has one name per line, in
# any order, without parameters. Called with -DNM=, -DLIBRARY= and -DLIST=.

cmake_minimum_required(VERSION 3.25)

execute_process(
  COMMAND "${NM}" --dynamic --defined-only --demangle --format=posix "${LIBRARY}"
  OUTPUT_VARIABLE output
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${NM} cannot read ${LIBRARY}")
endif()

# A line is "name T 1234 56". Brackets and semicolons have another meaning in CMake lists.
string(REGEX REPLACE "\\[abi:[a-z0-9]*\\]" "" output "${output}")
string(REGEX REPLACE " [A-Za-z]( [0-9a-f]+)*( )*(\n|$)" "\n" output "${output}")
string(REGEX REPLACE "\\([^\n]*" "" output "${output}")
string(REPLACE "\n" ";" exported "${output}")
file(STRINGS "${LIST}" kept REGEX "^[^#]")
foreach(names IN ITEMS exported kept)
  list(REMOVE_ITEM ${names} "")
  list(REMOVE_DUPLICATES ${names})
endforeach()

set(added ${exported})
list(REMOVE_ITEM added ${kept})
set(missing ${kept})
list(REMOVE_ITEM missing ${exported})
foreach(difference IN ITEMS added missing)
  if(${difference})
    list(JOIN ${difference} "\n  " text)
    message(SEND_ERROR "${difference}:\n  ${text}")
  endif()
endforeach()
