# Cross toolchain: 64-bit Windows DLLs and test programs from Debian's mingw-w64.
# The posix thread model gives GoogleTest its std::mutex; every image links
# statically, so libwinpthread is linked in, never needed as a DLL.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(VAREN_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${VAREN_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VAREN_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${VAREN_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${VAREN_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
