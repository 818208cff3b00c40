include(CMakePackageConfigHelpers)

set(QRIX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QrixPortingLayer)

# Two components, one per Debian package: "runtime" is what a program needs to
# run (the versioned library and its SONAME link), "dev" what it needs to build.
install(TARGETS qrixl.portinglayer EXPORT QrixPortingLayerTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(FILES ${QRIX_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qrix
  COMPONENT dev)
install(EXPORT QrixPortingLayerTargets
  NAMESPACE Qrix::
  FILE QrixPortingLayerTargets.cmake
  DESTINATION ${QRIX_CMAKE_DIR}
  COMPONENT dev)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/QrixPortingLayerConfig.cmake.in
  ${PROJECT_BINARY_DIR}/QrixPortingLayerConfig.cmake
  INSTALL_DESTINATION ${QRIX_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QrixPortingLayerConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/QrixPortingLayerConfig.cmake
  ${PROJECT_BINARY_DIR}/QrixPortingLayerConfigVersion.cmake
  DESTINATION ${QRIX_CMAKE_DIR}
  COMPONENT dev)

# The .pc file finds its prefix from its own place, so `cmake --install --prefix` works.
file(RELATIVE_PATH QRIX_PC_TO_PREFIX "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
configure_file(${PROJECT_SOURCE_DIR}/cmake/qrixl.portinglayer.pc.in
  ${PROJECT_BINARY_DIR}/qrixl.portinglayer.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qrixl.portinglayer.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT dev)
