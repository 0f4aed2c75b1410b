# SPDX-License-Identifier: MIT
# The library alone needs libdrm's headers. Every other part switches itself off, with one line, when a
# package it needs is not installed.
find_path(KT3_DRM_INCLUDE xf86drm.h REQUIRED)
find_path(KT3_DRM_KERNEL_INCLUDE drm.h PATH_SUFFIXES libdrm drm REQUIRED)
find_library(KT3_DRM_LIBRARY drm REQUIRED)

option(KT3_BUILD_SIM "Build the simulated machine" ON)
option(KT3_BUILD_TOOLS "Build the command line kt3" ON)
option(KT3_BUILD_TESTS "Build the tests" ON)
option(KT3_BUILD_BENCH "Build the benchmarks" ON)

find_package(fmt QUIET)
find_package(CLI11 QUIET)
find_package(nlohmann_json QUIET)
find_package(GTest QUIET)
find_package(benchmark QUIET)

# kt3_part(NAME needs...): sets KT3_WITH_<NAME> when it is wanted and every needed variable is true.
function(kt3_part name)
  set(KT3_WITH_${name} OFF PARENT_SCOPE)
  if(NOT KT3_BUILD_${name})
    return()
  endif()
  foreach(need IN LISTS ARGN)
    string(REGEX REPLACE "_FOUND$|^KT3_WITH_" "" package ${need})
    if(NOT ${need})
      string(TOLOWER ${name} part)
      message(STATUS "kt3: ${part} not built, missing: ${package}")
      return()
    endif()
  endforeach()
  set(KT3_WITH_${name} ON PARENT_SCOPE)
endfunction()

kt3_part(SIM)
kt3_part(TOOLS fmt_FOUND CLI11_FOUND nlohmann_json_FOUND)
kt3_part(TESTS GTest_FOUND KT3_WITH_SIM)
kt3_part(BENCH benchmark_FOUND KT3_WITH_SIM)
