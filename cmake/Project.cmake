# Settings shared by every target of the project (not by third-party code).

# The repository root is the include root: code includes "core/Log.h", "notes/Note.h", ...
set(TX_SOURCE_ROOT ${PROJECT_SOURCE_DIR})

add_library(tx_options INTERFACE)
target_include_directories(tx_options INTERFACE ${TX_SOURCE_ROOT})
target_compile_options(tx_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                            -Wcast-align -Wunused -Woverloaded-virtual -Wnull-dereference
                                            -Wdouble-promotion -Wformat=2 -Wimplicit-fallthrough)
if(TX_WERROR)
  target_compile_options(tx_options INTERFACE -Werror)
endif()

# The project's own code under AddressSanitizer and UndefinedBehaviorSanitizer: the first report
# ends the program, so a test that provokes one fails.
option(TX_SANITIZE "Build the project's code with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
if(TX_SANITIZE)
  if(WIN32)
    message(FATAL_ERROR "TX_SANITIZE is for the native build; MinGW-w64 has no sanitizer runtimes")
  endif()
  set(TX_SANITIZE_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all)
  target_compile_options(tx_options INTERFACE ${TX_SANITIZE_FLAGS} -fno-omit-frame-pointer)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # The instrumentation confuses GCC's flow analysis: libstdc++'s own <regex> then "may be used
    # uninitialized". The plain build keeps that warning.
    target_compile_options(tx_options INTERFACE -Wno-maybe-uninitialized)
  endif()
  target_link_options(tx_options INTERFACE ${TX_SANITIZE_FLAGS})
endif()

# The fuzz targets (fuzz/, docs/fuzzing.md): libFuzzer's coverage instrumentation in all of the
# project's code, the fuzzer's own main only in the targets.
option(TX_FUZZ "Build the libFuzzer targets (clang, with TX_SANITIZE)" OFF)
if(TX_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang" OR NOT TX_SANITIZE)
    message(FATAL_ERROR "TX_FUZZ needs clang and TX_SANITIZE (the fuzz preset)")
  endif()
  target_compile_options(tx_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(WIN32)
  # Wide Win32 API everywhere; Windows 7 is the oldest platform the add-in targets.
  target_compile_definitions(tx_options INTERFACE UNICODE _UNICODE NOMINMAX _WIN32_WINNT=0x0601 WINVER=0x0601)
  # Everything is linked statically so that the DLLs and test programs need no MinGW runtime DLLs.
  target_link_options(tx_options INTERFACE -static -static-libgcc -static-libstdc++)
else()
  find_package(Threads REQUIRED)
endif()

# tx_library(NAME SOURCES... [WIN32 ...] [POSIX ...] [DEPS ...])
# One static library per folder; platform halves of a seam sit in its win/ and posix/ subfolders.
function(tx_library name)
  cmake_parse_arguments(L "" "" "SOURCES;WIN32;POSIX;DEPS;WIN32_DEPS;POSIX_DEPS" ${ARGN})
  set(sources ${L_SOURCES})
  if(WIN32)
    list(APPEND sources ${L_WIN32})
  else()
    list(APPEND sources ${L_POSIX})
  endif()
  add_library(${name} STATIC ${sources})
  target_link_libraries(${name} PUBLIC tx_options ${L_DEPS})
  if(WIN32)
    target_link_libraries(${name} PUBLIC ${L_WIN32_DEPS})
  else()
    target_link_libraries(${name} PUBLIC ${L_POSIX_DEPS})
  endif()
endfunction()
