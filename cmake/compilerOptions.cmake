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
