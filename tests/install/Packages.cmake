# Tests of the preset "package", which take longer than those of each build.

# The library as it comes out of the packages.
zor_common_script_test(packages CheckPackages
    -DPACKAGES=${CPACK_PACKAGE_DIRECTORY} -DREVISION=${zor_common_revision} -DREADELF=${CMAKE_READELF})
set_tests_properties(packages PROPERTIES FIXTURES_SETUP packages)
set(root ${CMAKE_CURRENT_BINARY_DIR}/packages)
zor_common_consumers(packages -DPREFIX=${root}/usr -DPKG_CONFIG_SYSROOT=${root})

# The Python module with the library in it.
zor_common_script_test(wheel CheckWheel)
set_tests_properties(wheel PROPERTIES SKIP_REGULAR_EXPRESSION "is not installed")

# A static library, and a shared one in absolute directories.
function(zor_common_variant label shared)
    set(build ${CMAKE_CURRENT_BINARY_DIR}/${label}/build)
    zor_common_script_test(consumers/${label}/build Build
        -DBUILD=${build} -DOPTIONS=-DBUILD_SHARED_LIBS=${shared},-DCMAKE_INSTALL_PREFIX=/usr/local,${ARGN})
    set_tests_properties(consumers/${label}/build PROPERTIES FIXTURES_SETUP ${label}-build)
endfunction()
zor_common_variant(static OFF "-DCMAKE_CXX_FLAGS=-g") # with names of files in it, for the test "repeatable"
zor_common_install(static ${CMAKE_CURRENT_BINARY_DIR}/static/build OFF -DLIBDIR=lib)
zor_common_consumers(static -DLIBDIR=lib)
zor_common_script_test(consumers/static/subdirectory CheckSubdirectory -DCXX=${CMAKE_CXX_COMPILER} -DSHARED=OFF)

set(elsewhere ${CMAKE_CURRENT_BINARY_DIR}/absolute/elsewhere)
zor_common_variant(absolute ON
    -DCMAKE_INSTALL_LIBDIR=${elsewhere}/lib,-DCMAKE_INSTALL_INCLUDEDIR=${elsewhere}/headers)
set(directories -DLIBDIR=${elsewhere}/lib -DINCLUDEDIR=${elsewhere}/headers)
zor_common_install(absolute ${CMAKE_CURRENT_BINARY_DIR}/absolute/build ON ${directories})
zor_common_consumers(absolute ${directories} -DFIND=${elsewhere})

# The same build with headers below the prefix, and with blanks in the names of both directories.
set(mixed ${CMAKE_CURRENT_BINARY_DIR}/mixed)
set(directories "-DLIBDIR=${mixed}/else where/lib" -DINCLUDEDIR=include "-DPREFIX=${mixed}/the prefix")
add_test(NAME consumers/mixed/build COMMAND ${CMAKE_COMMAND} "-DCMAKE_INSTALL_LIBDIR=${mixed}/else where/lib"
    -DCMAKE_INSTALL_INCLUDEDIR=include ${CMAKE_CURRENT_BINARY_DIR}/absolute/build)
set_tests_properties(consumers/mixed/build PROPERTIES FIXTURES_SETUP mixed-build FIXTURES_REQUIRED absolute)
zor_common_install(mixed ${CMAKE_CURRENT_BINARY_DIR}/absolute/build ON ${directories})
zor_common_consumers(mixed ${directories} "-DFIND=${mixed}/else where")

# The library built again, elsewhere.
zor_common_script_test(repeatable CheckRepeatable
    -DCXX=${CMAKE_CXX_COMPILER}
    -DSHARED_BUILD=${PROJECT_BINARY_DIR} -DSTATIC_BUILD=${CMAKE_CURRENT_BINARY_DIR}/static/build
    "-DSTATIC_OPTIONS=-DBUILD_SHARED_LIBS=OFF,-DCMAKE_INSTALL_PREFIX=/usr/local,-DCMAKE_CXX_FLAGS=-g")
set_tests_properties(repeatable PROPERTIES FIXTURES_REQUIRED static-build)
# It takes as long as the others together, so it starts first.
set_tests_properties(consumers/static/build repeatable PROPERTIES COST 1000)

# The baseline is made from GCC's debugging information; Clang's describes the same in other words.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(public_headers ${CMAKE_CURRENT_BINARY_DIR}/public-headers)
    get_target_property(headers zor-common HEADER_SET)
    file(REMOVE_RECURSE ${public_headers})
    file(COPY ${headers} DESTINATION ${public_headers})
    set(check_abi ${CMAKE_COMMAND} -DPUBLIC_HEADERS=${public_headers}
        -DLIBRARY=$<TARGET_FILE:zor-common> -DCURRENT=${CMAKE_CURRENT_BINARY_DIR}/current.abi)
    add_test(NAME abi COMMAND ${check_abi} -P ${PROJECT_SOURCE_DIR}/abi/CheckAbi.cmake)
    zor_common_script_test(abi-notices CheckAbiNotices -DCXX=${CMAKE_CXX_COMPILER})
    add_custom_target(abi-baseline COMMAND ${check_abi} -DREFRESH=ON -P ${PROJECT_SOURCE_DIR}/abi/CheckAbi.cmake
        DEPENDS zor-common USES_TERMINAL VERBATIM)
endif()
