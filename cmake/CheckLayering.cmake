# The layering check, run as a test:
#
#   cmake -DROOT=<source tree> "-DLAYERS=base;dsp;..." -P cmake/CheckLayering.cmake
#
# LAYERS lists the library folders bottom to top. Each folder's CMakeLists.txt
# declares its dependencies in its kv_library(<name> DEPENDS ...) call. The
# check fails, naming file, line and include, when
#   - a library declares a dependency that isn't a library below it;
#   - a source of a library includes a header of another library that it
#     doesn't declare (which also catches every include upwards);
#   - a test (*_test.cpp, *_slowtest.cpp, testing/) includes a header of a
#     library that is neither its own nor one its library depends on,
#     directly or through others (base/testing serves every test);
#   - a library declares a dependency that none of its sources include.
cmake_minimum_required(VERSION 3.25)

if(NOT ROOT OR NOT LAYERS)
  message(FATAL_ERROR "usage: cmake -DROOT=<tree> -DLAYERS=<list> -P CheckLayering.cmake")
endif()

set(problems "")
macro(problem text)
  string(APPEND problems "  ${text}\n")
endmacro()

# Declared dependencies, read from each folder's kv_library call.
foreach(layer ${LAYERS})
  set(deps_${layer} "")
  set(file "${ROOT}/${layer}/CMakeLists.txt")
  if(NOT EXISTS "${file}")
    problem("${layer}: no CMakeLists.txt")
    continue()
  endif()
  file(READ "${file}" text)
  string(REGEX MATCH "kv_library\\(${layer}([^)]*)\\)" call "${text}")
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
    elseif(in_depends AND NOT word STREQUAL "")
      list(APPEND deps_${layer} ${word})
    endif()
  endforeach()
endforeach()

# Each dependency must be a library below.
set(below "")
foreach(layer ${LAYERS})
  foreach(dep ${deps_${layer}})
    if(NOT dep IN_LIST below)
      problem("${layer}/CMakeLists.txt: declares ${dep}, which is not a library below ${layer}")
    endif()
  endforeach()
  list(APPEND below ${layer})
endforeach()

# What tests may reach: the library's dependencies and theirs.
foreach(layer ${LAYERS})
  set(reach_${layer} ${deps_${layer}})
  foreach(dep ${deps_${layer}})
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
    file(STRINGS "${ROOT}/${path}" lines)
    set(number 0)
    foreach(line IN LISTS lines)
      math(EXPR number "${number} + 1")
      if(NOT line MATCHES "^[ \t]*#[ \t]*include[ \t]*\"([A-Za-z0-9_]+)/")
        continue()
      endif()
      set(target "${CMAKE_MATCH_1}")
      if(target STREQUAL layer OR NOT target IN_LIST LAYERS)
        continue()
      endif()
      if(is_test)
        if(NOT target IN_LIST reach_${layer} AND NOT line MATCHES "\"base/testing/")
          problem("${path}:${number}: ${line} -- ${layer}'s tests reach only ${layer} and what it depends on")
        endif()
      elseif(target IN_LIST deps_${layer})
        list(APPEND used ${target})
      else()
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
