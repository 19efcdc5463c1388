# What CPack does after it has made the packages. The headers of their three parts would keep the mode that the umask
# gave to files of CPack's own.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
    execute_process(
        COMMAND perl -0777 -p -i -e [[s{((?:debian-binary|control\.tar\.gz|data\.tar\.xz)[ /]+(?:\d+ +){3})100\d{3} }{${1}100644 }g]]
            ${package}
        COMMAND_ERROR_IS_FATAL ANY)
endforeach()
