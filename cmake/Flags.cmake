# All compiler and linker flags of the project. Targets take them by linking
# orvo-flags (everything that is built here) and orvo-hidden (the library, whose
# exports are the two entry functions). orvo-headers is the include root.

option(ORVO_WERROR "Treat compiler warnings as errors" OFF)
set(ORVO_SANITIZE "" CACHE STRING
    "Sanitizers to build with: empty, address,undefined or thread")
option(ORVO_HARDENED_LOCKING
    "Close the prescribed locking's known hazards (README.md tells the difference)" OFF)
option(ORVO_FUZZERS "Build the fuzz targets (clang only; scripts/fuzz runs them)" OFF)
option(ORVO_BENCHMARKS "Have targets for the benchmarks (scripts/bench builds and runs them)" OFF)

# What was compiled before is not compiled again, where ccache is installed.
find_program(CCACHE ccache)
mark_as_advanced(CCACHE)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

# gcc collects garbage from 128 MB on, and finds next to none: from 1 GB on, large files
# compile a tenth faster.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:--param=ggc-min-heapsize=1000000>)

add_library(orvo-headers INTERFACE)
target_include_directories(orvo-headers INTERFACE ${PROJECT_SOURCE_DIR})
# Changes the types of members, so whoever includes the headers must agree.
target_compile_definitions(orvo-headers INTERFACE
    $<$<BOOL:${ORVO_HARDENED_LOCKING}>:ORVO_HARDENED_LOCKING>)

set(is_clang $<CXX_COMPILER_ID:Clang>)
set(is_optimised $<NOT:$<OR:$<CONFIG:Debug>,$<BOOL:$<TARGET_PROPERTY:ORVO_UNOPTIMISED>>>>)
set(is_shared $<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY>)

add_library(orvo-flags INTERFACE)

# Warnings. The packaged libraries' headers are SYSTEM includes, which find_package
# makes them, and give none.
target_compile_options(orvo-flags INTERFACE
    -Wall -Wextra -Wshadow -Wconversion -Wformat=2 -Wnon-virtual-dtor -Wold-style-cast
    -Woverloaded-virtual -Wundef -Wvla
    # The log macros rely on ", ##__VA_ARGS__", which clang's -pedantic family
    # would report at every line; gcc has no such warning outside -pedantic.
    $<${is_clang}:-Wno-gnu-zero-variadic-macro-arguments>
    $<$<BOOL:${ORVO_WERROR}>:-Werror>
)

# Hardening, as the device's own build has it.
target_compile_options(orvo-flags INTERFACE -fstack-protector-strong)
target_link_options(orvo-flags INTERFACE
    -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack
    -Wl,-z,max-page-size=16384  # devices with 16 KiB pages load it too
    -Wl,--fatal-warnings
)
# On processors that check it, a return goes only to its caller and an indirect
# jump only to a marked place. The linker marks a file when all its inputs are
# marked, so GoogleTest takes these options too.
set(orvo_branch_protection)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
    set(orvo_branch_protection -fcf-protection=full)
    # Debian's start files are not marked. The linker is told that they may be:
    # their returns are proper, and Linux does not check a program's jumps here.
    target_link_options(orvo-flags INTERFACE -Wl,-z,ibt -Wl,-z,shstk)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    # Linux checks jumps here, so the linker is not told so (-z force-bti): a
    # marked program would end at Debian's _start. Returns are checked without
    # the mark, and a device's own start files have it.
    set(orvo_branch_protection -mbranch-protection=standard)
endif()
target_compile_options(orvo-flags INTERFACE ${orvo_branch_protection})
# Objects serve both shared libraries and programs.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# What is shipped is the same from whatever folder; debuggers need the folder.
target_compile_options(orvo-flags INTERFACE
    "$<$<CONFIG:Release>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=;-ffile-prefix-map=${PROJECT_BINARY_DIR}=.>")

# Undefined symbols are link errors. Not with clang's sanitizers: their runtime
# is linked into programs alone, so a shared library keeps its references open.
# Not for Android either: see cmake/DeviceLibraries.cmake.
if(NOT ANDROID AND NOT (ORVO_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
    target_link_options(orvo-flags INTERFACE $<${is_shared}:-Wl,--no-undefined>)
endif()

if(ORVO_SANITIZE)
    # Optimising all that is checked takes twice as long; reports need no more than lines.
    set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g1 -DNDEBUG")
    target_compile_options(orvo-flags INTERFACE
        -fsanitize=${ORVO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(orvo-flags INTERFACE -fsanitize=${ORVO_SANITIZE})
    # Among the sanitizers' checks gcc loses track of what is initialised, in
    # <regex> for one.
    target_compile_options(orvo-flags INTERFACE
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
else()
    # Needs the optimiser, and its checked variants hide the calls that the
    # sanitizers intercept. Undefined first: some compilers preset it.
    target_compile_options(orvo-flags INTERFACE
        $<${is_optimised}:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
endif()
if(ORVO_FUZZERS)
    target_compile_options(orvo-flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
# Checked operator[] and iterators where speed does not count.
if(ORVO_SANITIZE)
    target_compile_definitions(orvo-flags INTERFACE _GLIBCXX_ASSERTIONS)
else()
    target_compile_definitions(orvo-flags INTERFACE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
endif()

# The locks' annotations (platform/thread_annotations.h) mean something only
# where the standard library's mutexes carry them too: clang with libc++, which
# the clang-libcxx preset's toolchain file asks for.
if(ORVO_LIBCXX)
    target_compile_options(orvo-flags INTERFACE -Wthread-safety -Werror=thread-safety)
    target_compile_definitions(orvo-flags INTERFACE _LIBCPP_ENABLE_THREAD_SAFETY_ANNOTATIONS)
endif()


# What is compiled more often than it is run; an emulator runs it slowly enough.
function(orvo_compile_fast target)
    if(CMAKE_CROSSCOMPILING)
        target_compile_options(${target} PRIVATE -O1)
        return()
    endif()
    set_target_properties(${target} PROPERTIES ORVO_UNOPTIMISED ON)
    target_compile_options(${target} PRIVATE -O0)
    if(ORVO_SANITIZE MATCHES address)
        # These check every access and take a third of the compile time. The address
        # sanitizer finds null and freed objects itself; a misaligned access goes unseen.
        target_compile_options(${target} PRIVATE -fno-sanitize=null,alignment,object-size,vptr)
    endif()
endfunction()

# The framework's libraries export their classes, so this is the library's alone.
add_library(orvo-hidden INTERFACE)
target_compile_options(orvo-hidden INTERFACE -fvisibility=hidden -fvisibility-inlines-hidden)
# For size: the library stays in its host's memory for good, and nearly all of it
# runs once a launch. The analysis alone is compiled for speed (CMakeLists.txt).
target_compile_options(orvo-hidden INTERFACE $<$<CONFIG:Release>:-Os>)
