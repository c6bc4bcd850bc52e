# Compiler options that every target of the tree is built with, carried by one interface target.
add_library(keepsafe_build_options INTERFACE)
target_compile_features(keepsafe_build_options INTERFACE cxx_std_17)
target_compile_options(keepsafe_build_options INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor>
  $<$<COMPILE_LANGUAGE:C>:-Wall -Wextra -Wpedantic>
  -fno-omit-frame-pointer -fno-semantic-interposition)
if(KEEPSAFE_WERROR)
  target_compile_options(keepsafe_build_options INTERFACE -Werror)
endif()

# KEEPSAFE_SANITIZE is a comma-separated list as -fsanitize takes it, for example "address,undefined".
if(KEEPSAFE_SANITIZE)
  target_compile_options(keepsafe_build_options INTERFACE
    -fsanitize=${KEEPSAFE_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(keepsafe_build_options INTERFACE -fsanitize=${KEEPSAFE_SANITIZE})
endif()

if(KEEPSAFE_COVERAGE)
  target_compile_options(keepsafe_build_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(keepsafe_build_options INTERFACE --coverage)
endif()

# Coverage feedback for libFuzzer in the libraries; the fuzz targets themselves add -fsanitize=fuzzer.
if(KEEPSAFE_BUILD_FUZZERS)
  target_compile_options(keepsafe_build_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
