# house_test(NAME unit SOURCES a.cpp... LIBS module... [REAL_BASE] [BOARD])
#
# A GoogleTest program, registered with ctest under its name. Unit tests are linked to the recording
# fake of src/base; REAL_BASE links the real one. BOARD runs the program inside a fresh virtual board.
function(house_test)
  cmake_parse_arguments(T "REAL_BASE;BOARD" "NAME" "SOURCES;LIBS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  set_target_properties(${T_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gmock GTest::gtest_main)
  target_include_directories(${T_NAME} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  target_precompile_headers(${T_NAME} REUSE_FROM test_headers)
  target_compile_definitions(${T_NAME} PRIVATE
    BIN_DIR="${CMAKE_BINARY_DIR}/bin" LIB_DIR="${CMAKE_BINARY_DIR}/lib"
    SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  if(T_REAL_BASE)
    target_link_libraries(${T_NAME} PRIVATE base)
  else()
    target_link_libraries(${T_NAME} PRIVATE fake_base)
  endif()
  if(T_BOARD)
    add_test(NAME ${T_NAME}
             COMMAND ${CMAKE_SOURCE_DIR}/board/board exec -- $<TARGET_FILE:${T_NAME}>)
    set_tests_properties(${T_NAME} PROPERTIES TIMEOUT 300)
  else()
    add_test(NAME ${T_NAME} COMMAND ${T_NAME})
    set_tests_properties(${T_NAME} PROPERTIES TIMEOUT 300)
  endif()
endfunction()
