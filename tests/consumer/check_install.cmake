# Installs the freshly built tree into a scratch prefix, then checks that a
# downstream program builds and runs against it (check_consumer.cmake).
set(QRIX_PREFIX ${QRIX_WORK_DIR}/prefix)
file(REMOVE_RECURSE ${QRIX_WORK_DIR})

execute_process(COMMAND ${CMAKE_COMMAND} --install ${QRIX_BUILD_DIR} --prefix ${QRIX_PREFIX}
  RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cmake --install ${QRIX_BUILD_DIR} failed (${rc})")
endif()
foreach(header qrixPortingLayer.h qrixTypes.h qrixPString.h qrixVersion.h)
  if(NOT EXISTS ${QRIX_PREFIX}/include/qrix/${header})
    message(FATAL_ERROR "missing installed header ${header}")
  endif()
endforeach()

set(QRIX_WORK_DIR ${QRIX_WORK_DIR}/consumer)
include(${CMAKE_CURRENT_LIST_DIR}/check_consumer.cmake)
