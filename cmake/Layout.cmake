# The build's folders lie to each other as the installed ones do, so a built file
# finds its libraries as the installed one does and is installed unchanged. The
# entries that CMake makes for a build tree would name this machine's folders,
# and it pads them, for the later exchange, with empty entries, which the loader
# takes for the working directory.
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)

# Debian's liblog lies in a folder of its own, which the loader does not search;
# in a cross build below the root that stands for the other machine's.
get_filename_component(liblog_dir ${AndroidLog_LIBRARY} DIRECTORY)
foreach(root ${CMAKE_FIND_ROOT_PATH})
    cmake_path(IS_PREFIX root ${liblog_dir} is_below)
    if(is_below)
        file(RELATIVE_PATH liblog_dir ${root} ${liblog_dir})
        string(PREPEND liblog_dir /)
    endif()
endforeach()

# Of programs, tests and benchmarks; of libraries: orvo_place_library.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};${liblog_dir}")

# ARGN: the folder below the libraries' own that it lies in.
function(orvo_place_library name)
    set(folder ${ARGN})
    set(up)
    if(folder)
        string(REGEX REPLACE "[^/]+" ".." up /${folder})
        set_target_properties(${name} PROPERTIES
            LIBRARY_OUTPUT_DIRECTORY ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${folder})
    endif()
    set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN${up};${liblog_dir}")
endfunction()
