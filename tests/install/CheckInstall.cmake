# Installs the build tree BUILD below PREFIX; fails unless the headers are HEADERS, with commas between them, and the
# library is of the right kind.
include(${CMAKE_CURRENT_LIST_DIR}/Check.cmake)
file(REMOVE_RECURSE ${PREFIX})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${PREFIX})

cmake_path(ABSOLUTE_PATH LIBDIR BASE_DIRECTORY ${PREFIX})
cmake_path(ABSOLUTE_PATH INCLUDEDIR BASE_DIRECTORY ${PREFIX})
file(GLOB_RECURSE installed RELATIVE ${INCLUDEDIR}/zor-common ${INCLUDEDIR}/*)
string(REPLACE "," ";" HEADERS "${HEADERS}")
list(TRANSFORM HEADERS REPLACE "^.*/common/" "common/")
list(SORT HEADERS)
check_equal("headers" "${installed}" "${HEADERS}")

file(GLOB libraries RELATIVE ${LIBDIR} ${LIBDIR}/libzor-common.*)
list(FILTER libraries EXCLUDE REGEX "\\.py$") # GDB's, which stands beside the library
if(SHARED)
    string(REGEX MATCH "^[0-9]+" major ${VERSION})
    set(name libzor-common.so)
    check_equal("libraries" "${libraries}" "${name};${name}.${major};${name}.${VERSION}")
    capture(dynamic ${READELF} -d ${LIBDIR}/${name})
    if(NOT dynamic MATCHES "SONAME.*\\[${name}\\.${major}\\]")
        message(SEND_ERROR "the soname is not ${name}.${major}:\n${dynamic}")
    endif()
else()
    check_equal("libraries" "${libraries}" "libzor-common.a")
endif()
