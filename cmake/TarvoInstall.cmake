include(CMakePackageConfigHelpers)

# Exported as tarvo::base and tarvo::ip, the same names as the in-tree aliases.
set_target_properties(tarvobase PROPERTIES EXPORT_NAME base)
set_target_properties(tarvoip PROPERTIES EXPORT_NAME ip)
install(TARGETS tarvobase tarvoip EXPORT tarvoipTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/tarvo DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tarvoipTargets NAMESPACE tarvo:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarvoip)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tarvoipConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tarvoipConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarvoip)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tarvoipConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tarvoipConfig.cmake ${PROJECT_BINARY_DIR}/tarvoipConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarvoip)

file(RELATIVE_PATH TARVO_PC_PREFIX_REL "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(${PROJECT_SOURCE_DIR}/cmake/tarvoip.pc.in ${PROJECT_BINARY_DIR}/tarvoip.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tarvoip.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
