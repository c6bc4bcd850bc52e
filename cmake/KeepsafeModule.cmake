# One object library per source folder. A module sees the public headers of its own folder and of the
# modules that it names under DEPENDS, and nothing else: an include against the direction of dependencies
# does not compile. The restriction works through a staged include path for each module that holds one
# symbolic link to its folder under include/keepsafe.

# keepsafe_stage_headers(NAME FOLDER): an interface target that shows include/keepsafe/FOLDER alone.
function(keepsafe_stage_headers name folder)
  set(stage "${PROJECT_BINARY_DIR}/modules/${name}")
  get_filename_component(parent "${stage}/keepsafe/${folder}" DIRECTORY)
  file(MAKE_DIRECTORY "${parent}")
  file(CREATE_LINK "${PROJECT_SOURCE_DIR}/include/keepsafe/${folder}" "${stage}/keepsafe/${folder}" SYMBOLIC)
  add_library(keepsafe_headers_${name} INTERFACE)
  target_include_directories(keepsafe_headers_${name} INTERFACE "${stage}")
endfunction()

# keepsafe_module(NAME FOLDER <folder> SOURCES <file>... [DEPENDS <module>...] [LIBRARIES <target>...])
# SOURCES are relative to src/FOLDER. LIBRARIES are third-party targets that the module compiles against;
# the shared library that takes the module in links them.
function(keepsafe_module name)
  cmake_parse_arguments(arg "" "FOLDER" "SOURCES;DEPENDS;LIBRARIES" ${ARGN})
  keepsafe_stage_headers(${name} ${arg_FOLDER})
  foreach(dependency IN LISTS arg_DEPENDS)
    target_link_libraries(keepsafe_headers_${name} INTERFACE keepsafe_headers_${dependency})
  endforeach()
  list(TRANSFORM arg_SOURCES PREPEND "${PROJECT_SOURCE_DIR}/src/${arg_FOLDER}/")
  add_library(keepsafe_${name} OBJECT ${arg_SOURCES})
  keepsafe_product_target(keepsafe_${name})
  set_target_properties(keepsafe_${name} PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    C_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(keepsafe_${name}
    PUBLIC keepsafe_headers_${name}
    PRIVATE keepsafe_product_options ${arg_LIBRARIES})
endfunction()
