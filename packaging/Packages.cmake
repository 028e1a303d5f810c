# Debian packages: `cpack -G DEB` in a build configured with the "package" preset
# (prefix /usr, so the libraries go under the multiarch folder).
#   cvlparamcor      the libraries, paramcor, the installation; its maintainer
#                    scripts set up the operators' group and the shared state
#   cvlparamcor-dev  headers, the CMake package and the pkg-config file
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME cvlparamcor)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# The packaging's own revision, after the upstream version: 6.0.0-1.
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(package_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(CPACK_PACKAGE_VENDOR "Corvel")
set(CPACK_PACKAGE_CONTACT "Corvel support <traduzioni@corvel.it>")
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# A station of a shop loads the PostgreSQL client library when it first needs it.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "libpq5")
# paramcor loads gettext's PO library when it first reads or writes a PO file: no
# longer linked, it is not among the dependencies found in the binaries.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libgettextpo0")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/CompressManuals.cmake)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME cvlparamcor)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The first line of a description is the package's synopsis.
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "shared settings of the CVL suite for stone and glass cutting
Every program of the suite keeps its parameters, its folders, the language
of its texts and the units of measure through this library. The package
holds the library, its windows, the paramcor command line and the
workstation's installation; it sets up the group cvlparamcor of the suite's
operators, the shared state in /var/lib/CVLParamcor and the workshop's data
folders in /srv/CVLParamcor; the installation file is
/etc/CVLParamcor/ParamCor.txt.")
# The installation file is the administrator's: dpkg keeps an edited one.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_LIST_DIR}/postinst ${CMAKE_CURRENT_LIST_DIR}/postrm ${CMAKE_CURRENT_LIST_DIR}/triggers
    ${CMAKE_CURRENT_LIST_DIR}/conffiles)

set(CPACK_DEBIAN_DEV_PACKAGE_NAME cvlparamcor-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "cvlparamcor (= ${package_version}), qt6-base-dev")
set(CPACK_DEBIAN_DEV_DESCRIPTION
    "shared settings of the CVL suite: development files
Headers, the CMake package (find_package(CVLParamcor)) and the pkg-config
file for programs of the suite that use the CVLParamcor library.")

# Each package carries its copyright and the changelog of its Debian revisions, as
# Debian wants; the library's package also its README.
foreach(component runtime dev)
    set(package cvlparamcor)
    if(component STREQUAL dev)
        set(package cvlparamcor-dev)
    endif()
    set(doc ${CMAKE_CURRENT_BINARY_DIR}/packaging/${package})
    file(MAKE_DIRECTORY ${doc})
    configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog ${doc}/changelog @ONLY)
    add_custom_command(OUTPUT ${doc}/changelog.Debian.gz
        COMMAND gzip -9nc ${doc}/changelog > ${doc}/changelog.Debian.gz
        DEPENDS ${doc}/changelog)
    add_custom_target(changelog_${component} ALL DEPENDS ${doc}/changelog.Debian.gz)
    install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright ${doc}/changelog.Debian.gz
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/README.md
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/cvlparamcor COMPONENT runtime)
# The remarks of lintian that stay, each with its reason.
install(FILES ${CMAKE_CURRENT_LIST_DIR}/lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
        RENAME cvlparamcor COMPONENT runtime)

include(CPack)
