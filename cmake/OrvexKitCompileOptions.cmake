# orvexkit_compile_options(TARGET [SYSTEM_TIME])
#
# What every target of ours is compiled with; nothing here reaches a user's targets. SYSTEM_TIME: it
# calls a library whose interface holds the system's own time_t.
function(orvexkit_compile_options target)
  cmake_parse_arguments(PARSE_ARGV 1 OPTIONS "SYSTEM_TIME" "" "")
  target_compile_features(${target} PRIVATE cxx_std_20)
  set_target_properties(
    ${target}
    PROPERTIES CXX_EXTENSIONS OFF
               CXX_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON
               POSITION_INDEPENDENT_CODE ON)
  # 64-bit file sizes and inode numbers on 32-bit builds too.
  target_compile_definitions(${target} PRIVATE _GNU_SOURCE _FILE_OFFSET_BITS=64)
  # Dates after 2038 on 32-bit builds too.
  if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND NOT OPTIONS_SYSTEM_TIME)
    target_compile_definitions(${target} PRIVATE _TIME_BITS=64)
  endif()
  # Doubles as every other processor has them: the first floating-point unit of 32-bit x86 holds them
  # wider, and so rounds them twice.
  if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
    target_compile_options(${target} PRIVATE -msse2 -mfpmath=sse)
  endif()
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
endfunction()
