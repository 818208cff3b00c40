# Builds and runs the downstream program twice, through find_package and
# through pkg-config, against an installed library: the one under QRIX_PREFIX,
# or with QRIX_PREFIX unset the system's own (no search path given at all).
# Each build checks that its package version is the headers' version; then
# the library the program loads must carry that version and its major number
# as SONAME.
#   cmake -DQRIX_CONSUMER_SOURCE=<dir> -DQRIX_WORK_DIR=<dir> [-DQRIX_PREFIX=<dir>]
#         [-DQRIX_CXX_COMPILER=<c++>] -P check_consumer.cmake
if(NOT QRIX_CXX_COMPILER)
  set(QRIX_CXX_COMPILER c++)
endif()
if(QRIX_PREFIX)
  set(prefix_args -DCMAKE_PREFIX_PATH=${QRIX_PREFIX})
  set(library_root ${QRIX_PREFIX})
else()
  set(prefix_args)
  set(library_root /usr)
  unset(ENV{CMAKE_PREFIX_PATH})
  unset(ENV{PKG_CONFIG_PATH})
  unset(ENV{LD_LIBRARY_PATH})
endif()

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGV}\n${out}\n${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

# The library `program` loads must be the installed one, named after `version`.
function(check_loaded_library program version)
  string(REGEX MATCH "^[0-9]+" major "${version}")
  run(readelf -d ${program})
  if(NOT out MATCHES "NEEDED[^\n]*\\[libqrixl\\.portinglayer\\.so\\.${major}\\]")
    message(FATAL_ERROR "${program} does not need libqrixl.portinglayer.so.${major}:\n${out}")
  endif()
  run(ldd ${program})
  if(NOT out MATCHES "libqrixl\\.portinglayer\\.so\\.${major} => ([^ ]+)")
    message(FATAL_ERROR "${program} finds no libqrixl.portinglayer.so.${major}:\n${out}")
  endif()
  file(REAL_PATH ${CMAKE_MATCH_1} loaded)
  file(REAL_PATH ${library_root} root)
  string(FIND "${loaded}" "${root}/" at)
  get_filename_component(name ${loaded} NAME)
  if(NOT at EQUAL 0 OR NOT name STREQUAL "libqrixl.portinglayer.so.${version}")
    message(FATAL_ERROR "${program} loads ${loaded}, not version ${version} under ${root}")
  endif()
endfunction()

file(REMOVE_RECURSE ${QRIX_WORK_DIR})

run(${CMAKE_COMMAND} -S ${QRIX_CONSUMER_SOURCE} -B ${QRIX_WORK_DIR}/build
    ${prefix_args} -DCMAKE_CXX_COMPILER=${QRIX_CXX_COMPILER})
run(${CMAKE_COMMAND} --build ${QRIX_WORK_DIR}/build)
run(${QRIX_WORK_DIR}/build/consumer)
string(STRIP "${out}" version)
check_loaded_library(${QRIX_WORK_DIR}/build/consumer ${version})

find_program(PKG_CONFIG pkg-config)
if(NOT PKG_CONFIG)
  if(QRIX_PREFIX)
    message(WARNING "no pkg-config: the pkg-config half of the check is skipped")
    return()
  endif()
  message(FATAL_ERROR "pkg-config is needed for the check")
endif()
if(QRIX_PREFIX)
  file(GLOB_RECURSE pc_files ${QRIX_PREFIX}/*/qrixl.portinglayer.pc)
  list(GET pc_files 0 pc_file)
  get_filename_component(pc_dir ${pc_file} DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} ${pc_dir})
  get_filename_component(lib_dir ${pc_dir} DIRECTORY)
  set(ENV{LD_LIBRARY_PATH} ${lib_dir})
endif()
run(${PKG_CONFIG} --modversion qrixl.portinglayer)
string(STRIP "${out}" pc_version)
run(${PKG_CONFIG} --cflags --libs qrixl.portinglayer)
separate_arguments(flags UNIX_COMMAND "${out}")
run(${QRIX_CXX_COMPILER} -std=c++17 ${QRIX_CONSUMER_SOURCE}/main.cpp
    -o ${QRIX_WORK_DIR}/consumer-pc ${flags} "-DQRIX_EXPECTED_VERSION=\"${pc_version}\"")
run(${QRIX_WORK_DIR}/consumer-pc)
check_loaded_library(${QRIX_WORK_DIR}/consumer-pc ${version})
message(STATUS "version ${version} agrees: headers, CMake package, pkg-config, SONAME")
