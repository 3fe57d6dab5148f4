# Warnings, sanitizers and coverage: one interface target that every target of ours links.
add_library(teko_options INTERFACE)
target_compile_options(teko_options INTERFACE -Wall -Wextra -Wconversion -Wshadow)
if(TEKO_WERROR)
  target_compile_options(teko_options INTERFACE -Werror)
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
# For the rooms alone: what the fuzzing engine has to see. Comparisons are left out, they make everything slow.
set(TEKO_FUZZ_OPTIONS $<$<BOOL:${TEKO_FUZZ}>:-fsanitize=fuzzer-no-link;-fno-sanitize-coverage=trace-cmp>)

# The program starts in 0.75 ms instead of 1.25 with the C++ library inside; one that does nothing takes 0.55 (Zen 3).
# Sanitizers, coverage and rooms that are shared libraries are left as they come.
include(CheckCXXSourceCompiles)
set(TEKO_STATIC_CXX_LINK_OPTIONS -static-libstdc++ -static-libgcc)
set(CMAKE_REQUIRED_LINK_OPTIONS ${TEKO_STATIC_CXX_LINK_OPTIONS})
check_cxx_source_compiles("#include <vector>
int main() { return std::vector<int>(1).at(0); }" TEKO_HAS_STATIC_CXX_LIBRARY)
unset(CMAKE_REQUIRED_LINK_OPTIONS)
if(TEKO_HAS_STATIC_CXX_LIBRARY AND NOT TEKO_SANITIZE AND NOT TEKO_COVERAGE AND NOT BUILD_SHARED_LIBS)
  set(defaultForStatic ON)
else()
  set(defaultForStatic OFF)
endif()
option(TEKO_STATIC_CXX_LIBRARY "Link the program with the static C++ library" ${defaultForStatic})
