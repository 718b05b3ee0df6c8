# The layering check, run as a test:
#
#   cmake -DROOT=<source tree> "-DLAYERS=base;dsp;..." -P cmake/CheckLayering.cmake
#
# LAYERS lists the library folders bottom to top. Each folder's CMakeLists.txt
# declares its dependencies in its kv_library(<name> DEPENDS ...) call. The
# check fails, naming file, line and include, when
#   - a library declares a dependency that isn't a library below it;
#   - a source of a library includes a header of a library above it, or of one
#     below that it doesn't declare;
#   - a test (*_test.cpp, *_slowtest.cpp, testing/) includes a header of a
#     library that is neither its own nor one its library depends on,
#     directly or through others (base/testing serves every test);
#   - a library declares a dependency that none of its sources include.
# Includes are found the way the compiler finds them: "x" beside the including
# file first, then from the tree's root; <x> from the root when the tree holds
# it, otherwise it is a system header (<net/if.h> is not our net).
cmake_minimum_required(VERSION 3.25)

if(NOT ROOT OR NOT LAYERS)
  message(FATAL_ERROR "usage: cmake -DROOT=<tree> -DLAYERS=<list> -P CheckLayering.cmake")
endif()

set(problems "")
macro(problem text)
  string(APPEND problems "  ${text}\n")
endmacro()

# The lines of a file as a list. CMake lists split at ';' and group across
# '[' ... ']', so those (and '\', which escapes them) are blanked first: a
# comment like "[0, n)" would otherwise glue the lines after it together.
function(read_lines path out)
  file(READ "${path}" text)
  string(REGEX REPLACE "[][;\\\\\r]" " " text "${text}")
  string(REPLACE "\n" ";" text "${text}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# The path, relative to ROOT, of what an include line names; empty for a
# system header or a line that isn't an include.
function(included_path line dir out)
  set(${out} "" PARENT_SCOPE)
  if(NOT line MATCHES "^[ \t]*#[ \t]*include[ \t]*([\"<])([^\">]+)[\">]")
    return()
  endif()
  set(name "${CMAKE_MATCH_2}")
  if(CMAKE_MATCH_1 STREQUAL "\"" AND EXISTS "${ROOT}/${dir}/${name}")
    cmake_path(ABSOLUTE_PATH name BASE_DIRECTORY "${ROOT}/${dir}" NORMALIZE OUTPUT_VARIABLE full)
    cmake_path(RELATIVE_PATH full BASE_DIRECTORY "${ROOT}" OUTPUT_VARIABLE name)
  elseif(CMAKE_MATCH_1 STREQUAL "<" AND NOT EXISTS "${ROOT}/${name}")
    return()
  endif()
  set(${out} "${name}" PARENT_SCOPE)
endfunction()

# Declared dependencies, read from each folder's kv_library call.
foreach(layer ${LAYERS})
  set(deps_${layer} "")
  set(file "${ROOT}/${layer}/CMakeLists.txt")
  if(NOT EXISTS "${file}")
    problem("${layer}: no CMakeLists.txt")
    continue()
  endif()
  file(READ "${file}" text)
  string(REGEX REPLACE "#[^\n]*" "" text "${text}")
  string(REGEX MATCH "kv_library\\(${layer}([ \t\r\n][^)]*)?\\)" call "${text}")
  if(NOT call)
    problem("${layer}/CMakeLists.txt: no kv_library(${layer} ...) call")
    continue()
  endif()
  string(REGEX REPLACE "[ \t\r\n]+" ";" words "${CMAKE_MATCH_1}")
  set(in_depends FALSE)
  foreach(word ${words})
    if(word STREQUAL "DEPENDS")
      set(in_depends TRUE)
    elseif(word MATCHES "^(LINK|PRIVATE_LINK)$")
      set(in_depends FALSE)
    elseif(in_depends)
      list(APPEND deps_${layer} ${word})
    endif()
  endforeach()
endforeach()

# Each dependency must be a library below; above_<layer> lists the rest.
set(below "")
foreach(layer ${LAYERS})
  foreach(dep ${deps_${layer}})
    if(NOT dep IN_LIST below)
      problem("${layer}/CMakeLists.txt: declares ${dep}, which is not a library below ${layer}")
    endif()
  endforeach()
  list(APPEND below ${layer})
  set(above_${layer} ${LAYERS})
  list(REMOVE_ITEM above_${layer} ${below})
endforeach()

# What tests may reach: the library's dependencies below it and theirs.
foreach(layer ${LAYERS})
  set(reach_${layer} ${deps_${layer}})
  list(REMOVE_ITEM reach_${layer} ${above_${layer}})
  foreach(dep ${reach_${layer}})
    list(APPEND reach_${layer} ${reach_${dep}})
  endforeach()
  list(REMOVE_DUPLICATES reach_${layer})
endforeach()

foreach(layer ${LAYERS})
  set(used "")
  file(GLOB_RECURSE files RELATIVE "${ROOT}" "${ROOT}/${layer}/*.cpp" "${ROOT}/${layer}/*.h" "${ROOT}/${layer}/*.c")
  list(SORT files)
  foreach(path ${files})
    set(is_test FALSE)
    if(path MATCHES "_(slow)?test\\.cpp$" OR path MATCHES "/testing/")
      set(is_test TRUE)
    endif()
    get_filename_component(dir "${path}" DIRECTORY)
    read_lines("${ROOT}/${path}" lines)
    set(number 0)
    foreach(line IN LISTS lines)
      math(EXPR number "${number} + 1")
      included_path("${line}" "${dir}" header)
      if(NOT header MATCHES "^([A-Za-z0-9_]+)/")
        continue()
      endif()
      set(target "${CMAKE_MATCH_1}")
      if(target STREQUAL layer OR NOT target IN_LIST LAYERS)
        continue()
      endif()
      string(STRIP "${line}" line)
      if(is_test)
        if(NOT target IN_LIST reach_${layer} AND NOT header MATCHES "^base/testing/")
          problem("${path}:${number}: ${line} -- ${layer}'s tests reach only ${layer} and what it depends on")
        endif()
        continue()
      endif()
      if(target IN_LIST deps_${layer})
        list(APPEND used ${target})
      endif()
      if(target IN_LIST above_${layer})
        problem("${path}:${number}: ${line} -- ${target} is above ${layer}")
      elseif(NOT target IN_LIST deps_${layer})
        problem("${path}:${number}: ${line} -- ${layer} does not declare ${target}")
      endif()
    endforeach()
  endforeach()
  foreach(dep ${deps_${layer}})
    if(NOT dep IN_LIST used)
      problem("${layer}/CMakeLists.txt: declares ${dep}, but no source of ${layer} includes it")
    endif()
  endforeach()
endforeach()

if(problems)
  message(FATAL_ERROR "Layering broken:\n${problems}")
endif()
message(STATUS "Layering holds for: ${LAYERS}")
