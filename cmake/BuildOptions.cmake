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

# Counts of what the source says, which clang alone has; not of what a compiler makes of it for exceptions and temporary
# objects. They are kept in mapped files, so that processes count that are killed or end without their exit handlers.
if(KEEPSAFE_COVERAGE)
  set(profiles "${PROJECT_BINARY_DIR}/profiles")
  file(MAKE_DIRECTORY "${profiles}")
  # Some tests become other users.
  file(CHMOD "${profiles}" DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_WRITE
    GROUP_EXECUTE WORLD_READ WORLD_WRITE WORLD_EXECUTE)
  target_compile_options(keepsafe_build_options INTERFACE
    "-fprofile-instr-generate=${profiles}/%c%m.profraw" -fcoverage-mapping "SHELL:-mllvm -runtime-counter-relocation")
  target_link_options(keepsafe_build_options INTERFACE "-fprofile-instr-generate=${profiles}/%c%m.profraw")
endif()

# Coverage feedback for libFuzzer in the libraries; the fuzz targets themselves add -fsanitize=fuzzer.
if(KEEPSAFE_BUILD_FUZZERS)
  target_compile_options(keepsafe_build_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# What is installed is hardened, tests and benchmarks are not. Sanitizers replace the functions that FORTIFY checks,
# and coverage counts what was written.
add_library(keepsafe_product_options INTERFACE)
target_link_libraries(keepsafe_product_options INTERFACE keepsafe_build_options)
if(KEEPSAFE_HARDEN AND NOT KEEPSAFE_SANITIZE AND NOT KEEPSAFE_COVERAGE)
  target_compile_options(keepsafe_product_options INTERFACE
    -fstack-protector-strong -fstack-clash-protection -fcf-protection=full
    $<$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>:-fPIE>
    # Some compilers set a lower level themselves. It has no effect without optimisation.
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>)
  # The linker marks a file for shadow stacks only if all objects are marked, and Debian 12's start files are not,
  # though they do nothing that a shadow stack forbids. It is not told the same of indirect branches: the functions
  # of the start files begin without the instruction that the processor would demand.
  target_link_options(keepsafe_product_options INTERFACE
    $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie>
    LINKER:-z,relro,-z,now,-z,noexecstack,-z,shstk,-z,text)
endif()
