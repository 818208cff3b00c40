include(CMakePackageConfigHelpers)

set(QRIX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QrixPortingLayer)

install(TARGETS qrixl.portinglayer EXPORT QrixPortingLayerTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${QRIX_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qrix)
install(EXPORT QrixPortingLayerTargets
  NAMESPACE Qrix::
  FILE QrixPortingLayerTargets.cmake
  DESTINATION ${QRIX_CMAKE_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/QrixPortingLayerConfig.cmake.in
  ${PROJECT_BINARY_DIR}/QrixPortingLayerConfig.cmake
  INSTALL_DESTINATION ${QRIX_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QrixPortingLayerConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/QrixPortingLayerConfig.cmake
  ${PROJECT_BINARY_DIR}/QrixPortingLayerConfigVersion.cmake
  DESTINATION ${QRIX_CMAKE_DIR})

# The .pc file finds its prefix from its own place, so `cmake --install --prefix` works.
file(RELATIVE_PATH QRIX_PC_TO_PREFIX "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
configure_file(${PROJECT_SOURCE_DIR}/cmake/qrixl.portinglayer.pc.in
  ${PROJECT_BINARY_DIR}/qrixl.portinglayer.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qrixl.portinglayer.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
