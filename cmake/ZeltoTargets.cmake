# zelto_library(NAME sources... LINK libs...): one static library per folder, sources by name.
function(zelto_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK;PRIVATE_LINK" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_LINK} PRIVATE ${ARG_PRIVATE_LINK})
endfunction()

# zelto_test(NAME SOURCES files... LINK libs... [LABELS labels...]): a test program whose every case
# runs in a process of its own, since the singletons under test live as long as their process.
function(zelto_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINK;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${ARG_LINK} GTest::gmock GTest::gtest_main)
  list(TRANSFORM ARG_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  set_property(GLOBAL APPEND PROPERTY ZELTO_TEST_FILES ${ARG_SOURCES})
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT ${ARG_TIMEOUT})
  # As a property given above, a list of labels would lose all but its first.
  set(labels ${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake)
  file(CONFIGURE OUTPUT ${labels} @ONLY CONTENT "if(@name@_TESTS)
  set_tests_properties(\${@name@_TESTS} PROPERTIES LABELS \"@ARG_LABELS@\")
endif()
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${labels})
endfunction()

# A test file that no target builds would pass by never running.
function(zelto_check_test_files)
  get_property(known GLOBAL PROPERTY ZELTO_TEST_FILES)
  file(GLOB_RECURSE found CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/*Test.cpp)
  foreach(file IN LISTS found)
    if(NOT file IN_LIST known)
      message(FATAL_ERROR "test file in no target: ${file}")
    endif()
  endforeach()
endfunction()
