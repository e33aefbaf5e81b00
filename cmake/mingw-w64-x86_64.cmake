# Cross build for 64-bit Windows with Debian's mingw-w64 (posix thread model); programs run under wine64.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(VELTRANE_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${VELTRANE_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VELTRANE_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${VELTRANE_MINGW_PREFIX}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${VELTRANE_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Programs (tests, test discovery, tools) run under wine64 in the build's own prefix; see wine-run.sh.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine-run.sh)
