# The compiler options of every target: warnings, hardening, sanitizers.
function(tavok_target target)
  target_compile_definitions(${target} PRIVATE _GNU_SOURCE)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
    -Wold-style-cast
    $<$<BOOL:${TAVOK_WERROR}>:-Werror>
    -fstack-protector-strong
    $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},x86_64>:-fcf-protection=full>
    $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},aarch64>:-mbranch-protection=standard>)
  target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
  if(TAVOK_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${TAVOK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
      # g++ 12 with sanitizers takes std::regex for uninitialised.
      $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(${target} PRIVATE -fsanitize=${TAVOK_SANITIZE})
  else()
    # A fortified C library and the sanitizers intercept the same calls: use one of the two.
    target_compile_options(${target} PRIVATE
      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
  endif()
  if(TAVOK_FUZZ)
    # Reports the branches of an input to the fuzzer; does not link the fuzzer's main function.
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    target_link_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now)
endfunction()
