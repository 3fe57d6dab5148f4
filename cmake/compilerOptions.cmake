# SPDX-License-Identifier: Apache-2.0
# Warnings, sanitizers, coverage and the version: one interface target that every target of ours links.
add_library(teko_options INTERFACE)
target_compile_definitions(teko_options INTERFACE TEKO_PROJECT_VERSION="${PROJECT_VERSION}")
target_compile_options(teko_options INTERFACE -Wall -Wextra -Wconversion -Wshadow)
if(TEKO_WERROR)
  target_compile_options(teko_options INTERFACE -Werror)
endif()
# 32-bit x86: budgets and run-length parameters are numbers of single and double precision, and the older unit would keep
# more of them.
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "86$")
  target_compile_options(teko_options INTERFACE -msse2 -mfpmath=sse)
endif()
if(TEKO_SANITIZE)
  target_compile_options(teko_options INTERFACE -fsanitize=${TEKO_SANITIZE} -fno-sanitize-recover=all
                                                -fno-omit-frame-pointer)
  target_link_options(teko_options INTERFACE -fsanitize=${TEKO_SANITIZE})
endif()
if(TEKO_COVERAGE)
  target_compile_options(teko_options INTERFACE --coverage)
  target_link_options(teko_options INTERFACE --coverage)
endif()
# For the rooms alone: what the fuzzing engine has to see (comparisons are left out, they make everything slow), and more
# inlining where checks make small functions large (with Clang, sanitized tests of transforms take 0.7 of their time).
set(TEKO_ROOM_OPTIONS $<$<BOOL:${TEKO_FUZZ}>:-fsanitize=fuzzer-no-link;-fno-sanitize-coverage=trace-cmp>)
if(TEKO_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES Clang)
  list(APPEND TEKO_ROOM_OPTIONS -mllvm -inline-threshold=1500)
endif()
if(NOT TEKO_SANITIZE AND NOT TEKO_COVERAGE)
  # The codec runs on threads with 64 KiB of stack: no function may take a quarter of that (the largest takes 9 kB).
  list(APPEND TEKO_ROOM_OPTIONS $<$<CONFIG:Release>:-Wframe-larger-than=16384>)
endif()

# With the libraries inside and none to be loaded, the program starts in 0.56 ms instead of 1.25; with the C++ library
# alone inside, in 0.79 (Zen 3, processor time). Sanitizers, coverage and builds of shared libraries alone are left as
# they come. Whether such programs link says too little: AArch64's with "-static" among the linker flags as well link and
# end before main. So one is run, with an address in it that only code for any place has right; where none can be run,
# across machines without an emulator, nothing is linked so.
include(CheckCXXSourceRuns)
set(defaultForStatic OFF)
if(buildsProgram AND NOT TEKO_SANITIZE AND NOT TEKO_COVERAGE AND NOT BUILD_SHARED_LIBS AND NOT TEKO_SHARED_ROOMS
   AND (NOT CMAKE_CROSSCOMPILING OR CMAKE_CROSSCOMPILING_EMULATOR))
  set(CMAKE_REQUIRED_LINK_OPTIONS -static-pie)
  check_cxx_source_runs("#include <cstdio>
#include <vector>
static const int numbers[] = {1, 2, 3};
int main(int n, char**) {
  const std::vector<int> all(numbers, numbers + 2 + n % 2);
  return std::puts(\"\") < 0 || all.at(1) != 2;
}" TEKO_RUNS_STATIC_PROGRAMS)
  unset(CMAKE_REQUIRED_LINK_OPTIONS)
  if(TEKO_RUNS_STATIC_PROGRAMS STREQUAL "1")
    set(defaultForStatic ON)
  endif()
endif()
option(TEKO_STATIC_PROGRAM "Link the program with static libraries alone" ${defaultForStatic})
