# `cpack` in a build directory makes the two Debian packages of a library
# (runtime and development, as Debian names them) and a .tar.gz of the same
# install tree. Configure with -DCMAKE_INSTALL_PREFIX=/usr so that the library
# lands in the multiarch directory, as Debian's own libraries do.
set(QRIX_PACKAGE_CONTACT "libqrixl.portinglayer maintainers <maintainers@localhost>"
  CACHE STRING "Maintainer field of the Debian packages")

set(QRIX_RUNTIME_PACKAGE libqrixl.portinglayer${PROJECT_VERSION_MAJOR})
set(QRIX_DEV_PACKAGE libqrixl.portinglayer-dev)

set(CPACK_PACKAGE_NAME qrixl.portinglayer)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${QRIX_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_FILE_NAME
  ${CPACK_PACKAGE_NAME}-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_GENERATOR DEB TGZ)
set(CPACK_OUTPUT_FILE_PREFIX packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${QRIX_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The first line of a description is the package's synopsis.
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "portable C++ interface to the operating system
Wide strings, files with locking and atomic replacement, directories,
dynamic libraries, threads and synchronisation, child processes and process
trees, and a tagged binary encoding, behind one set of C++ classes.")
# The shlibs file lets dpkg-shlibdeps, run for a program built on this
# library, name this package in the program's Depends.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
find_program(QRIX_DPKG_SHLIBDEPS dpkg-shlibdeps)
mark_as_advanced(QRIX_DPKG_SHLIBDEPS)
if(QRIX_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
else()
  # What dpkg-shlibdeps answers on Debian 12 for this library.
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS
    "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libstdc++6 (>= 11)")
endif()

set(CPACK_DEBIAN_DEV_PACKAGE_NAME ${QRIX_DEV_PACKAGE})
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_DESCRIPTION
  "portable C++ interface to the operating system (development files)
Headers, the CMake package (find_package(QrixPortingLayer)) and the
pkg-config file (qrixl.portinglayer) for building programs on the library.")
# Headers and library must be of one release: the headers describe the layout
# of the classes the library was built with.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${QRIX_RUNTIME_PACKAGE} (= ${PROJECT_VERSION})")

include(CPack)
