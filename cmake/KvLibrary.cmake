# kv_library(<name> [DEPENDS <libs...>] [LINK <external libs...>]
#            [PRIVATE_LINK <external libs...>])
#
# DEPENDS names the libraries of this project whose headers the folder's
# sources include, and nothing else: the layering test (cmake/CheckLayering.cmake)
# reads these calls and holds the includes to them. LINK libraries are public
# (their headers appear in ours); PRIVATE_LINK ones are used inside only, and
# reach the folder's tests too.
#
# Turns the calling folder into the static library kv_<name>: every *.cpp below
# the folder except tests and main.cpp. Tests beside the code (*_test.cpp) become
# one executable <name>_tests registered with CTest; they link kv_testsupport
# (base/testing). Headers shared by one folder's tests go in <folder>/testing/.
# *_slowtest.cpp files become <name>_slowtests, labelled "slow" so that the
# default test run skips them.
function(kv_library name)
  cmake_parse_arguments(KV "" "" "DEPENDS;LINK;PRIVATE_LINK" ${ARGN})
  file(GLOB_RECURSE all_sources CONFIGURE_DEPENDS
       ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.c)
  set(lib_sources "")
  set(test_sources "")
  set(slow_sources "")
  foreach(src ${all_sources})
    if(src MATCHES "_slowtest\\.cpp$")
      list(APPEND slow_sources ${src})
    elseif(src MATCHES "_test\\.cpp$")
      list(APPEND test_sources ${src})
    elseif(NOT src MATCHES "/main\\.cpp$" AND NOT src MATCHES "/testing/")
      list(APPEND lib_sources ${src})
    endif()
  endforeach()

  set(deps "")
  foreach(d ${KV_DEPENDS})
    list(APPEND deps kv_${d})
  endforeach()

  add_library(kv_${name} STATIC ${lib_sources} ${CMAKE_SOURCE_DIR}/cmake/empty.cpp)
  target_include_directories(kv_${name} PUBLIC ${CMAKE_SOURCE_DIR})
  target_link_libraries(kv_${name} PUBLIC ${deps} ${KV_LINK} Threads::Threads)
  if(KV_PRIVATE_LINK)
    target_link_libraries(kv_${name} PRIVATE ${KV_PRIVATE_LINK})
  endif()

  if(NOT KV_TESTS)
    return()
  endif()
  if(test_sources)
    add_executable(${name}_tests ${test_sources})
    target_link_libraries(${name}_tests PRIVATE kv_${name} kv_testsupport GTest::gtest GTest::gmock ${KV_PRIVATE_LINK})
    # Tests that start the program itself find it through KV_BINARY_DIR.
    gtest_discover_tests(${name}_tests DISCOVERY_TIMEOUT 120
      PROPERTIES ENVIRONMENT "KV_BINARY_DIR=${CMAKE_BINARY_DIR}")
  endif()
  if(slow_sources)
    add_executable(${name}_slowtests ${slow_sources})
    target_link_libraries(${name}_slowtests PRIVATE kv_${name} kv_testsupport GTest::gtest GTest::gmock ${KV_PRIVATE_LINK})
    gtest_discover_tests(${name}_slowtests DISCOVERY_TIMEOUT 120 PROPERTIES LABELS slow)
  endif()
endfunction()
