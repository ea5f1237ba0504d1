# 32-bit ARM with glibc: Debian's cross compiler, with the libraries that scripts/cross has unpacked.
get_filename_component(root ${CMAKE_CURRENT_LIST_DIR}/../build/cross/arm-glibc/root ABSOLUTE)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# With the compiler's plugin, for libraries that are optimised when they are linked.
set(CMAKE_AR arm-linux-gnueabihf-gcc-ar)
set(CMAKE_RANLIB arm-linux-gnueabihf-gcc-ranlib)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
# openssl/configuration.h lies where only a compiler of that architecture looks by itself.
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${root}/usr/include/arm-linux-gnueabihf ${root}/usr/include)
# Where the linker finds what the libraries need themselves.
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${root}/usr/lib/arm-linux-gnueabihf:${root}/lib/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH ${root} /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
