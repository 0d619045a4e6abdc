# Cross toolchain: Windows x64 with Debian's mingw-w64, posix thread model.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(TARV64_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER   ${TARV64_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TARV64_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER  ${TARV64_TRIPLE}-windres)
set(CMAKE_ASM_COMPILER ${TARV64_TRIPLE}-gcc-posix)
set(TARV64_WIDL        ${TARV64_TRIPLE}-widl)

set(CMAKE_FIND_ROOT_PATH /usr/${TARV64_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Everything static: a dynamically linked mingw binary needs libgcc/libstdc++/winpthread DLLs
# and dies silently under Wine without them.
set(CMAKE_EXE_LINKER_FLAGS_INIT    "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
