# AArch64 Linux: Debian's cross compiler, Debian's arm64 libraries as
# scripts/install-deps unpacks them, and qemu to run the results (scripts/with-aarch64).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

# Libraries come from there alone; header-only packages are this machine's.
get_filename_component(arm64_root ${CMAKE_CURRENT_LIST_DIR}/../../build/arm64-root ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${arm64_root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)

# Where the linker finds what linked libraries need themselves.
set(arm64_libraries ${arm64_root}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${arm64_libraries}:${arm64_libraries}/android)
set(CMAKE_SHARED_LINKER_FLAGS_INIT ${CMAKE_EXE_LINKER_FLAGS_INIT})
