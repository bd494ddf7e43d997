# Builds TARGETS (a list) of the windows-i686 build folder BUILD_DIR, configured with its preset the
# first time, as scripts/build does.
if(NOT EXISTS ${BUILD_DIR}/CMakeCache.txt)
  execute_process(COMMAND ${CMAKE_COMMAND} --preset windows-i686 WORKING_DIRECTORY ${SOURCE_DIR}
                  OUTPUT_QUIET RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "configuring ${BUILD_DIR} failed")
  endif()
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${BUILD_DIR} --target ${TARGETS} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "building ${TARGETS} in ${BUILD_DIR} failed")
endif()
