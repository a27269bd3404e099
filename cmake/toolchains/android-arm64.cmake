# Android on AArch64, by the NDK's own toolchain file.
set(ndk_toolchain $ENV{ANDROID_NDK_HOME}/build/cmake/android.toolchain.cmake)
if(NOT EXISTS ${ndk_toolchain})
    message(FATAL_ERROR
        "No Android NDK: set ANDROID_NDK_HOME to the folder of an unpacked NDK (r23 or later).\n"
        "ANDROID_NDK_HOME is \"$ENV{ANDROID_NDK_HOME}\", and ${ndk_toolchain} does not exist.")
endif()
set(ANDROID_ABI arm64-v8a)
set(ANDROID_PLATFORM android-30)
set(ANDROID_STL c++_shared)
include(${ndk_toolchain})
