# The prefix house_ marks the functions of this project's build.
#
# house_test(NAME unit [ONE_THREAD] SOURCES a.cpp... LIBS module... [REAL_BASE] [BOARD [option...]])
#
# A GoogleTest program, registered with ctest under its name. Unit tests are linked to the recording
# fake of src/base; REAL_BASE links the real one. BOARD runs the program inside a fresh virtual board,
# which the options describe (board/board --help). Where neither the tests nor what they call has a second
# thread (ONE_THREAD), there is nothing for the thread sanitizer, and its build goes without.
function(house_test)
  cmake_parse_arguments(T "ONE_THREAD;REAL_BASE" "NAME" "SOURCES;LIBS;BOARD" ${ARGN})
  if(T_ONE_THREAD AND HOUSE_SANITIZE MATCHES "thread")
    return()
  endif()
  add_executable(${T_NAME} ${T_SOURCES})
  set_target_properties(${T_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gmock GTest::gtest_main)
  target_include_directories(${T_NAME} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  house_unity(${T_NAME})
  target_precompile_headers(${T_NAME} REUSE_FROM test_headers)
  target_compile_definitions(${T_NAME} PRIVATE
    BIN_DIR="${CMAKE_BINARY_DIR}/bin" LIB_DIR="${CMAKE_BINARY_DIR}/lib"
    SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  if(T_REAL_BASE)
    target_link_libraries(${T_NAME} PRIVATE base)
  else()
    target_link_libraries(${T_NAME} PRIVATE fake_base)
  endif()
  if(DEFINED T_BOARD OR BOARD IN_LIST T_KEYWORDS_MISSING_VALUES)
    add_test(NAME ${T_NAME}
             COMMAND ${CMAKE_SOURCE_DIR}/board/board exec ${T_BOARD} -- $<TARGET_FILE:${T_NAME}>)
  else()
    add_test(NAME ${T_NAME} COMMAND ${T_NAME})
  endif()
  set_tests_properties(${T_NAME} PROPERTIES TIMEOUT 300)
endfunction()
