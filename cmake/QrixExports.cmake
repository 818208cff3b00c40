# Only the interface leaves the shared library; see the comment in the map.
set(QRIX_EXPORT_MAP ${PROJECT_SOURCE_DIR}/src/portinglayer/qrixl.portinglayer.map)
if(NOT APPLE)
  target_link_options(qrixl.portinglayer PRIVATE "LINKER:--version-script=${QRIX_EXPORT_MAP}")
  set_property(TARGET qrixl.portinglayer APPEND PROPERTY LINK_DEPENDS ${QRIX_EXPORT_MAP})
  # Bind every symbol at load: a child between fork and exec then writes no
  # lazy-binding slots, so fewer of its pages are copied.
  target_link_options(qrixl.portinglayer PRIVATE "LINKER:-z,now")
endif()
