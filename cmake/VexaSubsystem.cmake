# vexa_subsystem(NAME HEADERS ... SOURCES ... TESTS ... LINK ...)
#
# Makes the OBJECT library vexa_NAME of the folder's sources and the test program vexa_NAME_test.
# LINK names the subsystems below (vexa_*), which are the layer table, and outside libraries.
# Headers whose name ends in _internal.h are not installed.
function(vexa_subsystem name)
  cmake_parse_arguments(ARG "" "" "HEADERS;SOURCES;TESTS;LINK;TEST_LINK" ${ARGN})
  set(target vexa_${name})

  add_library(${target} OBJECT)
  target_sources(${target} PRIVATE ${ARG_SOURCES} ${ARG_HEADERS})
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PUBLIC vexa_options ${ARG_LINK})
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)

  # Objects do not travel through OBJECT libraries, so whoever links needs the closure of the layers below.
  set(closure ${target})
  set(outside "")
  foreach(item IN LISTS ARG_LINK)
    if(item MATCHES "^vexa_")
      get_target_property(below ${item} VEXA_CLOSURE)
      list(APPEND closure ${below})
    else()
      list(APPEND outside ${item})
    endif()
  endforeach()
  list(REMOVE_DUPLICATES closure)
  set_target_properties(${target} PROPERTIES VEXA_CLOSURE "${closure}")

  set(public_headers ${ARG_HEADERS})
  list(FILTER public_headers EXCLUDE REGEX "_internal\\.h$")
  list(TRANSFORM public_headers PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  set_property(GLOBAL APPEND PROPERTY VEXA_SUBSYSTEMS ${target})
  set_property(GLOBAL APPEND PROPERTY VEXA_PUBLIC_HEADERS ${public_headers})
  set_property(GLOBAL APPEND PROPERTY VEXA_OUTSIDE_LIBRARIES ${outside})

  if(VEXA_BUILD_TESTS AND ARG_TESTS)
    vexa_test_program(${target}_test LABEL ${name} SOURCES ${ARG_TESTS} SUBSYSTEMS ${closure}
                      LINK ${ARG_TEST_LINK})
  endif()
endfunction()

# vexa_link_subsystems(TARGET vexa_... ...): link a program with the objects of subsystems, hidden symbols
# included. For tests, benches and fuzz targets that look inside.
function(vexa_link_subsystems target)
  set(all "")
  foreach(subsystem IN LISTS ARGN)
    get_target_property(closure ${subsystem} VEXA_CLOSURE)
    list(APPEND all ${closure})
  endforeach()
  list(REMOVE_DUPLICATES all)
  target_link_libraries(${target} PRIVATE ${all})
endfunction()

# vexa_test_program(TARGET LABEL ... SOURCES ... SUBSYSTEMS ... LINK ...)
#
# Under a sanitizer a program of tests takes longer to start than most tests to run, so a process takes one share
# of eight instead of one test. GTEST_FILTER in the environment chooses single tests.
function(vexa_test_program target)
  cmake_parse_arguments(ARG "" "LABEL" "SOURCES;SUBSYSTEMS;LINK" ${ARGN})
  add_executable(${target} ${ARG_SOURCES})
  vexa_link_subsystems(${target} ${ARG_SUBSYSTEMS})
  target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/vexa/testing/main.cpp)
  target_link_libraries(${target} PRIVATE vexa_testing ${ARG_LINK} GTest::gmock GTest::gtest)
  target_compile_options(${target} PRIVATE ${VEXA_TEST_OPTIONS})
  foreach(share RANGE 7)
    add_test(NAME ${target}.${share} COMMAND ${target} --gtest_brief=1)
    set_tests_properties(${target}.${share} PROPERTIES LABELS ${ARG_LABEL} TIMEOUT 900
                         ENVIRONMENT "GTEST_TOTAL_SHARDS=8;GTEST_SHARD_INDEX=${share}")
  endforeach()
endfunction()
