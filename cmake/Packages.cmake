# Debian packages: libzor-common1 with the shared library, libzor-common-dev with all that it takes to build with it,
# zor-common-tools with zor-packets, python3-zor-common with the Python module. They are made from what is installed, component by component. Every file in them has the time of the release.
if(NOT BUILD_SHARED_LIBS)
    message(FATAL_ERROR "the packages are of a shared library")
endif()

set(zor_common_maintainer "zor-common developers <zor-common@example.org>")
set(zor_common_revision 1)             # of the packages, beside the version of the library
set(ENV{SOURCE_DATE_EPOCH} 1795305600) # the time of the release, for the timestamps below
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
string(TIMESTAMP year "%Y" UTC)

set(runtime libzor-common${PROJECT_VERSION_MAJOR})
set(development libzor-common-dev)
set(tools zor-common-tools)
set(python python3-zor-common)
set(made ${CMAKE_CURRENT_BINARY_DIR}/debian)
configure_file(cmake/debian/changelog.in ${made}/changelog @ONLY)
configure_file(cmake/debian/copyright.in ${made}/copyright @ONLY)
execute_process(COMMAND gzip -9nc ${made}/changelog
    OUTPUT_FILE ${made}/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
# A program needs the version whose symbols it was built with, which is no matter of the patch.
file(WRITE ${made}/shlibs "libzor-common ${PROJECT_VERSION_MAJOR} ${runtime} \
(>= ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})\n")
file(WRITE ${made}/triggers "activate-noawait ldconfig\n")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zor-common)
set(CPACK_PACKAGE_CONTACT ${zor_common_maintainer})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL runtime development tools python)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_SET_DESTDIR ON) # the files are installed for the prefix that they will have, and absolute directories work
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SOURCE zor-common)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${zor_common_revision})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# CPack would write the next two itself, but with scripts that call ldconfig in place of the trigger.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${made}/shlibs ${made}/triggers)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/Prepare.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/Finish.cmake)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime} (= ${PROJECT_VERSION}-${zor_common_revision})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${tools})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME ${python})
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_ZOR_COMMON_SHLIBS ${made}/shlibs)

set(about "\
zor::common holds the values that network test tools count with: IPv4, IPv6,
MAC and World Wide Name addresses, byte fields of any width, and packet
templates that expand into one concrete packet after the other. With them
come a reader of protocol-buffer schema files, an encoder for their values
and a macro expander.
.")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "${about}
This package has the shared library, which programs need to run.")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${about}
This package has the headers, and the files by which CMake and pkg-config
find the library.")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "${about}
This package has the program zor-packets, which gives all that to a shell:
it makes captures of templates and of frames by the names of their headers,
checks templates, tells which packet this is, and says of a capture what of
a run is missing in it.")
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "${about}
This package has the module zor_common for Python, whose frames are arrays
for NumPy without a copy.")
set(CPACK_ZOR_COMMON_TIME $ENV{SOURCE_DATE_EPOCH})

foreach(component IN ITEMS runtime development tools python)
    install(FILES ${made}/copyright ${made}/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${${component}} COMPONENT ${component})
    set(package ${${component}})
    configure_file(cmake/debian/lintian-overrides.in ${made}/overrides/${package} @ONLY)
    install(FILES ${made}/overrides/${package}
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides COMPONENT ${component})
endforeach()
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
include(CPack)
