# What CPack does after it has laid out the files of the packages.

# The library depends on the packages whose symbols it uses. dpkg-shlibdeps looks for both directories that are made.
set(directory ${CPACK_TEMPORARY_DIRECTORY}/runtime)
file(GLOB_RECURSE library ${directory}/*/libzor-common.so.*[0-9])
file(MAKE_DIRECTORY ${directory}/debian ${directory}/DEBIAN)
file(WRITE ${directory}/debian/control "Source: zor-common\n\nPackage: ${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME}\n\
Architecture: any\n")
execute_process(COMMAND dpkg-shlibdeps -O ${library} WORKING_DIRECTORY ${directory}
    OUTPUT_VARIABLE depends OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE_RECURSE ${directory}/debian ${directory}/DEBIAN)
string(REGEX REPLACE "^shlibs:Depends=" "" CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${depends}")

# Files and packages have the time of the release, and directories the usual mode whatever the umask is, so that equal
# files make equal packages.
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -type d -exec chmod 755 {} + COMMAND_ERROR_IS_FATAL ANY)
set(ENV{SOURCE_DATE_EPOCH} ${CPACK_ZOR_COMMON_TIME})
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY}
        -exec touch --no-dereference --date=@${CPACK_ZOR_COMMON_TIME} {} +
    COMMAND_ERROR_IS_FATAL ANY)
