include(CMakePackageConfigHelpers)

install(TARGETS kestrune EXPORT KestruneTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS kestrune_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/kestrune DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT KestruneTargets NAMESPACE Kestrune::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Kestrune)

configure_package_config_file(cmake/KestruneConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/KestruneConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Kestrune)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KestruneConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KestruneConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/KestruneConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Kestrune)

configure_file(cmake/kestrune.pc.in ${CMAKE_CURRENT_BINARY_DIR}/kestrune.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kestrune.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
