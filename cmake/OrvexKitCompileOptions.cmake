# SPDX-License-Identifier: MIT

# orvexkit_compile_options(TARGET [SYSTEM_TIME])
#
# The options of all our own targets; users' targets do not get them. SYSTEM_TIME: the target calls
# a library whose interface uses the system's default time_t.
function(orvexkit_compile_options target)
  cmake_parse_arguments(PARSE_ARGV 1 OPTIONS "SYSTEM_TIME" "" "")
  target_compile_features(${target} PRIVATE cxx_std_20)
  set_target_properties(
    ${target}
    PROPERTIES CXX_EXTENSIONS OFF
               CXX_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON
               POSITION_INDEPENDENT_CODE ON)
  # 64-bit file sizes and inode numbers, also on 32-bit builds.
  target_compile_definitions(${target} PRIVATE _GNU_SOURCE _FILE_OFFSET_BITS=64)
  # Dates after 2038, also on 32-bit builds.
  if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND NOT OPTIONS_SYSTEM_TIME)
    target_compile_definitions(${target} PRIVATE _TIME_BITS=64)
  endif()
  # Rounds doubles as on every other processor: the x87 unit of 32-bit x86 computes with more bits,
  # and so rounds twice.
  if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
    target_compile_options(${target} PRIVATE -msse2 -mfpmath=sse)
  endif()
  # Needed inside, also where a host does without.
  target_compile_options(${target} PRIVATE -fexceptions -frtti)
  if(OrvexKit_IS_TOP_LEVEL)
    target_compile_options(
      ${target}
      PRIVATE -Wall
              -Wextra
              -Wpedantic
              -Wconversion
              -Wsign-conversion
              -Wshadow
              -Wnon-virtual-dtor
              -Wold-style-cast
              -Woverloaded-virtual
              -Wformat=2
              $<$<BOOL:${ORVEXKIT_WARNINGS_AS_ERRORS}>:-Werror>)
  else()
    # A host may treat warnings as errors, and its own choice of them is not for these sources.
    target_compile_options(${target} PRIVATE -w)
  endif()
endfunction()
