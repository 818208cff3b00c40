# Installs the freshly built tree into a scratch prefix, then configures,
# builds and runs a downstream project through find_package, and compiles the
# same program through pkg-config.
set(prefix ${QRIX_WORK_DIR}/prefix)
file(REMOVE_RECURSE ${QRIX_WORK_DIR})

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGV}\n${out}\n${err}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${QRIX_BUILD_DIR} --prefix ${prefix})
foreach(header qrixPortingLayer.h qrixTypes.h qrixPString.h)
  if(NOT EXISTS ${prefix}/include/qrix/${header})
    message(FATAL_ERROR "missing installed header ${header}")
  endif()
endforeach()

run(${CMAKE_COMMAND} -S ${QRIX_CONSUMER_SOURCE} -B ${QRIX_WORK_DIR}/build
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${QRIX_CXX_COMPILER})
run(${CMAKE_COMMAND} --build ${QRIX_WORK_DIR}/build)
run(${QRIX_WORK_DIR}/build/consumer)

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  file(GLOB_RECURSE pc_files ${prefix}/*/qrixl.portinglayer.pc)
  list(GET pc_files 0 pc_file)
  get_filename_component(pc_dir ${pc_file} DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} ${pc_dir})
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs qrixl.portinglayer
    OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know qrixl.portinglayer")
  endif()
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run(${QRIX_CXX_COMPILER} -std=c++17 ${QRIX_CONSUMER_SOURCE}/main.cpp -o ${QRIX_WORK_DIR}/consumer-pc ${flags})
  set(ENV{LD_LIBRARY_PATH} ${pc_dir}/..)
  run(${QRIX_WORK_DIR}/consumer-pc)
endif()
