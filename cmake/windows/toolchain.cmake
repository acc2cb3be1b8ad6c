# Cross-building for Windows with Debian's MinGW-w64 (POSIX threads, so that std::thread and std::mutex are there). Programs are linked statically:
# one file each, which Wine and Windows start as it is.
#
#     cmake/windows/dependencies build/windows-prefix
#     cmake -S . -B build/windows -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/windows/toolchain.cmake -DVELMORE_WINDOWS_PREFIX=$PWD/build/windows-prefix

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# GCC believes that Windows aligns the stack to 32 bytes, which it does not: the assembler takes moves that need no alignment.
set(CMAKE_C_FLAGS_INIT "-Wa,-muse-unaligned-vector-move")
set(CMAKE_CXX_FLAGS_INIT "-Wa,-muse-unaligned-vector-move -Wa,-mbig-obj")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELMORE_WINDOWS_PREFIX)
set(CMAKE_FIND_ROOT_PATH ${VELMORE_WINDOWS_PREFIX} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/run-under-wine)
set(Boost_NO_BOOST_CMAKE ON)  # its headers are all that is there
