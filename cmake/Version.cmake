# ORVO_VERSION: the project's version and the commit that is built, which changes
# with the next configuring; a commit causes one. Without git or a repository it
# is the version alone.
set(ORVO_VERSION ${PROJECT_VERSION})
find_package(Git QUIET)
if(GIT_FOUND)
    execute_process(
        COMMAND ${GIT_EXECUTABLE} -C ${PROJECT_SOURCE_DIR} describe --always --dirty --abbrev=10
        OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(commit)
        string(APPEND ORVO_VERSION " (${commit})")
    endif()
    if(EXISTS ${PROJECT_SOURCE_DIR}/.git/logs/HEAD)
        set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY
            CMAKE_CONFIGURE_DEPENDS .git/logs/HEAD)
    endif()
endif()
