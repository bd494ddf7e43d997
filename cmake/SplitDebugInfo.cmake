# cmake -DOBJCOPY=<objcopy> -DSTRIP=<strip> -DMODULE=<the linked module> -DSYMBOLS=<debug file>
#   -P SplitDebugInfo.cmake
# What ships is the stripped module; its debug information goes to SYMBOLS for crash analysis,
# found again through the module's .gnu_debuglink (file name and checksum).
foreach(var OBJCOPY STRIP MODULE SYMBOLS)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "SplitDebugInfo.cmake: ${var} is not set")
  endif()
endforeach()

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "SplitDebugInfo.cmake: ${ARGN} failed (${status})")
  endif()
endfunction()

cmake_minimum_required(VERSION 3.25)
get_filename_component(folder ${SYMBOLS} DIRECTORY)
file(MAKE_DIRECTORY ${folder})
run(${OBJCOPY} --only-keep-debug ${MODULE} ${SYMBOLS})
run(${STRIP} --strip-all ${MODULE})
run(${OBJCOPY} --add-gnu-debuglink=${SYMBOLS} ${MODULE})
