# For script/check-android alone: compiles as for Android with clang, libc++'s headers from Debian
# and the C headers of ARM64 Linux. What it makes cannot be linked or run; real builds use the NDK.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

foreach(language C CXX)
  set(CMAKE_${language}_COMPILER_TARGET aarch64-linux-android29)
endforeach()
set(CMAKE_C_COMPILER clang-14)
set(CMAKE_CXX_COMPILER clang++-14)

# The namespace of the NDK's libc++ shows in every name that is imported from it.
set(CMAKE_C_FLAGS_INIT "-isystem /usr/aarch64-linux-gnu/include")
set(CMAKE_CXX_FLAGS_INIT "-nostdinc++ -isystem /usr/lib/llvm-14/include/c++/v1 \
-isystem /usr/aarch64-linux-gnu/include -D_LIBCPP_ABI_NAMESPACE=__ndk1")

# Of SuperLU only headers are wanted: the build machine's own.
execute_process(COMMAND g++ -print-multiarch OUTPUT_VARIABLE CMAKE_LIBRARY_ARCHITECTURE
                OUTPUT_STRIP_TRAILING_WHITESPACE)
