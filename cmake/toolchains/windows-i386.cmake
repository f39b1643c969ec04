# 32-bit Windows with mingw-w64.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
# Where there are two variants, the one with the standard library's threads, which GoogleTest needs.
find_program(CMAKE_C_COMPILER NAMES i686-w64-mingw32-gcc-posix i686-w64-mingw32-gcc REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES i686-w64-mingw32-g++-posix i686-w64-mingw32-g++ REQUIRED)
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/i686-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine.sh)
