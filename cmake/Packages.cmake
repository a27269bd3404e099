# Debian packages, made by cpack (scripts/packages), one of each component of
# cmake/Install.cmake. What only packages have is not installed otherwise.
set(packages zorv-orvo zorv-orvo-dev orvo-host)
set(debian ${PROJECT_SOURCE_DIR}/cmake/package/debian)
set(made ${PROJECT_BINARY_DIR}/package/debian)

set(CPACK_PACKAGE_CONTACT "The libzorv-orvo maintainers <maintainers@libzorv-orvo.example>"
    CACHE STRING "Who is named as the packages' maintainer")
set(release 1)
string(TIMESTAMP changed_at "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${debian}/changelog.in ${made}/changelog.Debian @ONLY)

function(install_for package)  # ARGN: as of install
    install(${ARGN} COMPONENT ${package} EXCLUDE_FROM_ALL)
endfunction()

foreach(package ${packages})
    set(documents ${CMAKE_INSTALL_DATADIR}/doc/${package})
    install_for(${package} FILES ${debian}/copyright ${made}/changelog.Debian DESTINATION ${documents})
    install_for(${package} FILES CHANGELOG.md DESTINATION ${documents} RENAME changelog)
    install_for(${package} FILES ${debian}/${package}.lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package})
endforeach()

# Side by side as here, for their links.
install_for(zorv-orvo-dev FILES README.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/zorv-orvo-dev)
install_for(zorv-orvo-dev FILES docs/embedding.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/zorv-orvo-dev/docs)
file(GLOB documents CONFIGURE_DEPENDS docs/*.md docs/*.png docs/*.sql docs/*.service)
file(CREATE_LINK ../../../orvo/schemas ${made}/schemas SYMBOLIC)
install_for(orvo-host FILES README.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/orvo-host)
install_for(orvo-host FILES ${documents} ${made}/schemas
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/orvo-host/docs)

# The service's paths are those of a package.
install_for(orvo-host FILES docs/orvo-watch.service DESTINATION lib/systemd/system)
install_for(orvo-host FILES ${debian}/orvo.rules DESTINATION /etc)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL ${packages})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/package/compress.cmake)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${release})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The programs need libraries of another of these packages.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(same_version "(= ${PROJECT_VERSION}-${release})")

set(CPACK_DEBIAN_ZORV-ORVO_PACKAGE_NAME zorv-orvo)
set(CPACK_DEBIAN_ZORV-ORVO_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_ZORV-ORVO_PACKAGE_CONTROL_EXTRA ${debian}/triggers)
set(CPACK_COMPONENT_ZORV-ORVO_DESCRIPTION
"library that learns how long launched programs take to settle
Told of the launches of applications, it samples each launched process and
learns when it has settled.

This package has the library, the same with its locking hardened, and working
stand-ins for the libraries of a device's framework that it needs.")

set(CPACK_DEBIAN_ZORV-ORVO-DEV_PACKAGE_NAME zorv-orvo-dev)
set(CPACK_DEBIAN_ZORV-ORVO-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_ZORV-ORVO-DEV_PACKAGE_DEPENDS "zorv-orvo ${same_version}")
set(CPACK_COMPONENT_ZORV-ORVO-DEV_DESCRIPTION
"library that learns how long launched programs take to settle (development)
Told of the launches of applications, it samples each launched process and
learns when it has settled.

This package has what a host is built with: the header orvo/orvo.h, a CMake
package, a pkg-config file, and the document on embedding the library.")

set(CPACK_DEBIAN_ORVO-HOST_PACKAGE_NAME orvo-host)
set(CPACK_DEBIAN_ORVO-HOST_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_ORVO-HOST_PACKAGE_DEPENDS "zorv-orvo ${same_version}, bubblewrap")
# To draw, and to merge what many devices have learned.
set(CPACK_DEBIAN_ORVO-HOST_PACKAGE_SUGGESTS "gnuplot-nox, sqlite3")
set(CPACK_DEBIAN_ORVO-HOST_PACKAGE_CONTROL_EXTRA
    ${debian}/conffiles ${debian}/postinst ${debian}/prerm ${debian}/postrm)
set(CPACK_COMPONENT_ORVO-HOST_DESCRIPTION
"measures how long launched programs take to settle
Launches programs, or watches for their launches, and has libzorv-orvo learn
how long each takes until it has settled. It shows, draws, explains and
compares what was measured.

The service orvo-watch learns the launches of a machine; it is not enabled
until an administrator does so.")

include(CPack)
