# All compiler and linker flags of the project, as the interface target
# orvo-flags, and the include root, as orvo-headers.

option(ORVO_WERROR "Treat compiler warnings as errors" OFF)

add_library(orvo-headers INTERFACE)
target_include_directories(orvo-headers INTERFACE ${PROJECT_SOURCE_DIR})

add_library(orvo-flags INTERFACE)
target_compile_options(orvo-flags INTERFACE
    -Wall -Wextra -Wshadow -Wconversion -Wformat=2 -Wnon-virtual-dtor -Wold-style-cast
    -fvisibility=hidden -fvisibility-inlines-hidden
    -fstack-protector-strong
    $<$<BOOL:${ORVO_WERROR}>:-Werror>
)
target_link_options(orvo-flags INTERFACE
    -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack
    -Wl,-z,max-page-size=16384  # devices with 16 KiB pages load it too
    -Wl,--fatal-warnings
)
