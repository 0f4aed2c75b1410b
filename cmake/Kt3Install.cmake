# SPDX-License-Identifier: MIT
include(CMakePackageConfigHelpers)

# Releases are named after the interface: 0.23.x has interface version 23, the number that get_interface_version returns.
# Packages carry that number. A request for an earlier one is met, as the library serves clients built against it.
set(KT3_PACKAGE_VERSION ${PROJECT_VERSION_MINOR})

install(TARGETS kt3_mgmt_interface EXPORT kt3-mgmt-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/kt3_mgmt DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT kt3-mgmt-targets NAMESPACE kt3:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kt3-mgmt)

configure_package_config_file(cmake/kt3-mgmt-config.cmake.in ${PROJECT_BINARY_DIR}/kt3-mgmt-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kt3-mgmt)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kt3-mgmt-config-version.cmake
  VERSION ${KT3_PACKAGE_VERSION} COMPATIBILITY AnyNewerVersion)
install(FILES ${PROJECT_BINARY_DIR}/kt3-mgmt-config.cmake ${PROJECT_BINARY_DIR}/kt3-mgmt-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kt3-mgmt)

# Relative to the file itself, so that a copy installed below another prefix still finds its own headers.
file(RELATIVE_PATH KT3_PKGCONFIG_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/kt3-mgmt.pc.in ${PROJECT_BINARY_DIR}/kt3-mgmt.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kt3-mgmt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TARGET kt3)
  install(TARGETS kt3 RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
