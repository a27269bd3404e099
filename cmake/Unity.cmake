# Compiles many sources as one: what the host and the tests include (JSON, GoogleMock)
# takes far longer to read and to instantiate than their own code. So names in
# anonymous namespaces are unique within a unit, and within a folder of a target, whose
# files scripts/lint joins. What a file forgets to include it finds, for it reads each
# by itself too.
option(ORVO_UNITY "Compile the host folder by folder, and tests some at a time" ON)

# One file for each folder that sources of the target lie in, and one for those of ARGN.
function(orvo_unite_folders target)
    get_target_property(sources ${target} SOURCES)
    foreach(source ${sources})
        cmake_path(GET source PARENT_PATH folder)
        if(folder IN_LIST ARGN)
            list(JOIN ARGN _ folder)
        endif()
        set_source_files_properties(${source} PROPERTIES UNITY_GROUP "in_${folder}")
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ${ORVO_UNITY} UNITY_BUILD_MODE GROUP)
endfunction()

# So many at a time.
function(orvo_unite target count)
    set_target_properties(${target} PROPERTIES
        UNITY_BUILD ${ORVO_UNITY} UNITY_BUILD_BATCH_SIZE ${count})
endfunction()
