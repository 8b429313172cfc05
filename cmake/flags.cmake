# Warnings, hardening and sanitizers, for every target of the project.
find_package(Threads REQUIRED)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
                    # The GPS conversion is defined step by step in single precision.
                    -ffp-contract=off
                    -fno-strict-aliasing -fstack-protector-strong)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wno-psabi)
else()
  # What a mutex guards (src/base/mutex.h) is touched only while it is held.
  add_compile_options(-Wthread-safety)
endif()
add_compile_options("$<$<CONFIG:Release>:-U_FORTIFY_SOURCE>" "$<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>"
                    "$<$<CONFIG:Release>:-fstack-clash-protection>")
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--as-needed)

# house_unity(target [file...]): compiles the target's files in bundles, but for the named ones. For targets
# whose time goes into the templates of large headers: it halves that of the ground station's commands, of
# the camera service and of the tests. Off for clang-tidy on single files (./lint).
option(HOUSE_UNITY "Bundle files where that saves time" ON)
function(house_unity TARGET)
  if(HOUSE_UNITY)
    set_target_properties(${TARGET} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 6)
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endif()
endfunction()

if(HOUSE_SANITIZE)
  add_compile_options(-fsanitize=${HOUSE_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all
                      # g++ sees what the sanitizers add as uses of uninitialised words.
                      $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  add_link_options(-fsanitize=${HOUSE_SANITIZE})
endif()

# For tools/coverage. The counters live where they can be mapped to a file: a process that is killed
# leaves them.
if(HOUSE_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping "SHELL:-mllvm -runtime-counter-relocation")
  add_link_options(-fprofile-instr-generate)
endif()
