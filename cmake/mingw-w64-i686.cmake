# Second Windows target: 32-bit, the add-in that 32-bit Outlook loads. Its tests run under the
# 32-bit Wine of scripts/setup's Debian tree (see docs/32-bit.md).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86)
set(TX_MINGW_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
