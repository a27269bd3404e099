# AArch64 Linux: Debian's cross compiler against Debian's arm64 libraries, which
# scripts/install-deps unpacks into a folder of their own, and qemu's user-mode
# emulator to run the results.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
