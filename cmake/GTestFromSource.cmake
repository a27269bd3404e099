# GoogleTest, built from the sources that Debian packages (googletest): the
# packaged library is for libstdc++ on this machine alone, while the tests also
# build with libc++, with the sanitizers and for AArch64.
set(ORVO_GTEST_DIR /usr/src/googletest CACHE PATH "GoogleTest's sources")
if(NOT EXISTS ${ORVO_GTEST_DIR}/CMakeLists.txt)
    message(FATAL_ERROR "No GoogleTest sources in ${ORVO_GTEST_DIR}: run scripts/install-deps")
endif()

set(INSTALL_GTEST OFF CACHE INTERNAL "")
add_compile_options(${orvo_branch_protection} $<IF:$<BOOL:${CMAKE_CROSSCOMPILING}>,-O1,-O0>)
if(ORVO_SANITIZE)
    add_compile_options(-fsanitize=${ORVO_SANITIZE})
endif()
add_subdirectory(${ORVO_GTEST_DIR} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
foreach(target gtest gtest_main gmock gmock_main)
    if(ORVO_SANITIZE)
        # Its own behaviour is not under test, and checking it doubles its compile time.
        target_compile_options(${target} PRIVATE -fno-sanitize=undefined)
    endif()
    set_target_properties(${target} PROPERTIES
        ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/googletest
        LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/googletest)
    if(NOT TARGET GTest::${target})
        add_library(GTest::${target} ALIAS ${target})
    endif()
endforeach()
