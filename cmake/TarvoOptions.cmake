include(GNUInstallDirs)

# Flags every target of the project gets. Results must not depend on the
# compiler's mood: no contraction into fused multiply-add, no fast-math, no
# -march=native. Vector code picks its instruction set at run time.
function(tarvo_target_flags target)
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang>:-Wall -Wextra -ffp-contract=off -fno-fast-math>)
  if(TARVO_WERROR)
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang>:-Werror>)
  endif()
  if(TARVO_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
  endif()
  if(TARVO_FUZZ_COVERAGE)
    # Coverage counters for libFuzzer in every target, so the operator fuzzer is
    # guided by the library's own branches. Off by default: it changes every
    # object file, and CI wants the fuzzer to reuse the sanitizer build as is.
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  if(TARVO_TSAN)
    target_compile_options(${target} PRIVATE -fsanitize=thread -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=thread)
  endif()
endfunction()

if(TARVO_TSAN)
  add_link_options(-fsanitize=thread)
endif()
if(TARVO_SANITIZE)
  # Shared libraries built with the sanitizers need the runtime at link time too.
  add_link_options(-fsanitize=address,undefined)
endif()
