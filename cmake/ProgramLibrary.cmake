# keepsafe_program_library(NAME SOURCES <file>... LIBRARIES <target>...): one part of a program of this tree, which is
# also linked by its tests. Not installed. Includes are relative to the folder that declares it.
function(keepsafe_program_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  keepsafe_product_target(${name})
  target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}")
  target_link_libraries(${name}
    PUBLIC ${arg_LIBRARIES}
    PRIVATE keepsafe_product_options)
endfunction()
