# SPDX-License-Identifier: MIT
# One place for the language level, the warnings and the instrumented builds.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

option(KT3_WERROR "Treat compiler warnings as errors" OFF)
option(KT3_SANITIZE "Build with address and undefined-behaviour sanitizers" OFF)
option(KT3_COVERAGE "Build with line counters" OFF)
option(KT3_LIBFUZZER "Link the fuzz targets with libFuzzer (clang only)" OFF)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast> $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<COMPILE_LANGUAGE:CXX>:-D_GLIBCXX_USE_CXX11_ABI=1>)
if(KT3_WERROR)
  add_compile_options(-Werror)
endif()
if(KT3_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(KT3_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()

# g++ 12 takes the in-place buffer of an optimised std::string for the whole text and warns of writes behind it. For the
# tests and tools, which are full of such strings; the library does without.
set(KT3_STRING_FALSE_ALARMS "")
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  set(KT3_STRING_FALSE_ALARMS -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
endif()
