# What `cmake --install` installs: both shared libraries, the public headers, the CMake package keepsafe-rbac,
# the pkg-config file and the programs. The installed tree may be moved as a whole.
include(CMakePackageConfigHelpers)

set(KEEPSAFE_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/keepsafe-rbac")

# Programs find the libraries, and the libraries each other, relative to themselves, wherever the tree is.
file(RELATIVE_PATH keepsafe_bin_to_lib "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
set_target_properties(keepsafe_platform keepsafe_rbac PROPERTIES INSTALL_RPATH "$ORIGIN")

# Two export sets, so that an integrator can provide keepsafe::platform.
foreach(library IN ITEMS platform rbac)
  install(TARGETS keepsafe_${library}
    EXPORT keepsafe-${library}-targets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
  install(EXPORT keepsafe-${library}-targets
    NAMESPACE keepsafe::
    DESTINATION "${KEEPSAFE_INSTALL_CMAKEDIR}")
endforeach()
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/keepsafe" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/package/keepsafe-rbac-config.cmake.in"
  "${PROJECT_BINARY_DIR}/package/keepsafe-rbac-config.cmake"
  INSTALL_DESTINATION "${KEEPSAFE_INSTALL_CMAKEDIR}")
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/package/keepsafe-rbac-config-version.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/package/keepsafe-rbac-config.cmake"
  "${PROJECT_BINARY_DIR}/package/keepsafe-rbac-config-version.cmake"
  DESTINATION "${KEEPSAFE_INSTALL_CMAKEDIR}")

# Paths in the pkg-config file are relative to the file itself.
set(keepsafe_pkgconfig_dir "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH KEEPSAFE_PC_PREFIX "${keepsafe_pkgconfig_dir}" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" KEEPSAFE_PC_PREFIX "${KEEPSAFE_PC_PREFIX}")
file(RELATIVE_PATH KEEPSAFE_PC_LIBDIR "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_LIBDIR}")
file(RELATIVE_PATH KEEPSAFE_PC_INCLUDEDIR "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
configure_file(
  "${PROJECT_SOURCE_DIR}/cmake/package/keepsafe-rbac.pc.in"
  "${PROJECT_BINARY_DIR}/package/keepsafe-rbac.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/package/keepsafe-rbac.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# The programs and what belongs to them are installed where they are built.
foreach(program IN ITEMS ksrbac ksrbacd ksrbac-sandbox)
  if(TARGET ${program})
    set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/${keepsafe_bin_to_lib}")
  endif()
endforeach()
