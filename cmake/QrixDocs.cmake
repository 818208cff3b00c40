# The HTML reference of the public headers (`cmake --build build --target docs`),
# offered only where Doxygen is installed. Any Doxygen warning, an undocumented
# public declaration included, fails the target.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  return()
endif()

set(QRIX_DOCS_OUTPUT_DIR ${PROJECT_BINARY_DIR}/docs)
configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
file(GLOB QRIX_DOCS_PAGES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
add_custom_target(docs
  COMMAND ${CMAKE_COMMAND} -E remove_directory ${QRIX_DOCS_OUTPUT_DIR}/html
  COMMAND ${DOXYGEN_EXECUTABLE} ${PROJECT_BINARY_DIR}/Doxyfile
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  SOURCES ${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${QRIX_PUBLIC_HEADERS} ${QRIX_DOCS_PAGES}
  COMMENT "Generating the HTML reference in ${QRIX_DOCS_OUTPUT_DIR}/html"
  VERBATIM)
