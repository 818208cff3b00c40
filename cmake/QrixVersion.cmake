# The version header is made from project(VERSION), so the macros cannot drift
# from the SONAME, the CMake package version or the pkg-config version.
set(QRIX_GENERATED_INCLUDE_DIR ${PROJECT_BINARY_DIR}/include)
configure_file(${PROJECT_SOURCE_DIR}/src/include/qrixVersion.h.in
  ${QRIX_GENERATED_INCLUDE_DIR}/qrixVersion.h @ONLY)
list(APPEND QRIX_PUBLIC_HEADERS ${QRIX_GENERATED_INCLUDE_DIR}/qrixVersion.h)
target_include_directories(qrixl.portinglayer PUBLIC
  $<BUILD_INTERFACE:${QRIX_GENERATED_INCLUDE_DIR}>)
