# 64-bit ARM Linux from Debian on another machine: the cross compiler, libraries of the foreign
# architecture (libsuperlu-dev:arm64, libgtest-dev:arm64), and qemu to run what was built.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Debian keeps both architectures under one /usr, apart by this name: with it lib/aarch64-linux-gnu
# is searched and the build machine's own folder never. What lies in /usr/local is that machine's.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_SYSTEM_IGNORE_PREFIX_PATH /usr/local)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

# The C++ library comes with the cross compiler, below the folder named here; all else is found
# where it is installed.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)
