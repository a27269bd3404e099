# Link-time stand-ins for what only a device has: the framework's libraries and
# its SQLite. Each is an empty library of the device's name, so that the built
# library asks for it; the symbols stay undefined until the device's loader
# finds them there.
file(WRITE ${PROJECT_BINARY_DIR}/device/empty.cpp "")
foreach(name tavodb tavoconfig tavo-log zorv-util sqlite)
    add_library(${name} SHARED ${PROJECT_BINARY_DIR}/device/empty.cpp)
    set_target_properties(${name} PROPERTIES
        LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/device)
endforeach()
add_library(SQLite::SQLite3 ALIAS sqlite)

# The NDK forbids undefined symbols by default.
target_link_options(orvo-flags INTERFACE -Wl,-z,undefs)
set(CMAKE_SKIP_RPATH ON)  # on the device everything lies in the loader's folders
