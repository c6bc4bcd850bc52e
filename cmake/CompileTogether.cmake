# Sources that are compiled as few large ones, because their headers take longer than they do themselves. Names in
# unnamed namespaces are therefore different within one target.

# keepsafe_compile_alone(SOURCE...): such as what replaces functions of the language, which the compiler must not see
# together with their calls.
function(keepsafe_compile_alone)
  set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

function(keepsafe_compile_together target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 10)
  # To g++ each of the sources looks like a header, whose unnamed namespace others would see, too.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endfunction()

# keepsafe_product_target(TARGET): libraries and programs that are installed are compiled together only on demand: by
# themselves their sources show whether each includes what it uses, and counts of coverage tell functions apart that have
# the same name in two unnamed namespaces.
function(keepsafe_product_target target)
  if(KEEPSAFE_COMPILE_TOGETHER)
    keepsafe_compile_together(${target})
  endif()
endfunction()
