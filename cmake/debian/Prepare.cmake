# What CPack does after it has laid out the files of the packages.

# Library and program depend on the packages whose symbols they use. dpkg-shlibdeps looks for both directories that are
# made, and takes the library of these packages from its own list.
file(GLOB_RECURSE library ${CPACK_TEMPORARY_DIRECTORY}/runtime/*/libzor-common.so.*[0-9])
file(GLOB_RECURSE program ${CPACK_TEMPORARY_DIRECTORY}/tools/*/zor-packets)
list(FILTER program INCLUDE REGEX "/bin/zor-packets$")
file(GLOB_RECURSE module ${CPACK_TEMPORARY_DIRECTORY}/python/*/_native.*.so)
list(GET library 0 first)
get_filename_component(libraries ${first} DIRECTORY)
function(find_depends component binary)
    string(TOUPPER ${component} name)
    set(directory ${CPACK_TEMPORARY_DIRECTORY}/${component})
    file(MAKE_DIRECTORY ${directory}/debian ${directory}/DEBIAN)
    file(WRITE ${directory}/debian/control "Source: zor-common\n\nPackage: ${CPACK_DEBIAN_${name}_PACKAGE_NAME}\n\
Architecture: any\n")
    file(COPY_FILE ${CPACK_ZOR_COMMON_SHLIBS} ${directory}/debian/shlibs.local)
    execute_process(COMMAND dpkg-shlibdeps -l${libraries} -O ${binary} WORKING_DIRECTORY ${directory}
        OUTPUT_VARIABLE depends OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE_RECURSE ${directory}/debian ${directory}/DEBIAN)
    string(REGEX REPLACE "^shlibs:Depends=" "" depends "${depends}")
    set(CPACK_DEBIAN_${name}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
endfunction()
find_depends(runtime "${library}")
find_depends(tools "${program}")
find_depends(python "${module}")

# The module is for the one Python that its name says.
string(REGEX MATCH "cpython-3([0-9]+)" version "${module}")
math(EXPR next "${CMAKE_MATCH_1} + 1")
string(APPEND CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS ", python3 (>= 3.${CMAKE_MATCH_1}~), python3 (<< 3.${next})")

# Files and packages have the time of the release, and directories the usual mode whatever the umask is, so that equal
# files make equal packages.
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -type d -exec chmod 755 {} + COMMAND_ERROR_IS_FATAL ANY)
set(ENV{SOURCE_DATE_EPOCH} ${CPACK_ZOR_COMMON_TIME})
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY}
        -exec touch --no-dereference --date=@${CPACK_ZOR_COMMON_TIME} {} +
    COMMAND_ERROR_IS_FATAL ANY)
