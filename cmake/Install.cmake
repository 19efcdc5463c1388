# What is installed: the library, its public headers below include/zor-common, and what finds them, for CMake and for
# pkg-config. CMAKE_INSTALL_LIBDIR and CMAKE_INSTALL_INCLUDEDIR may be absolute.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

cmake_path(SET headers NORMALIZE ${CMAKE_INSTALL_INCLUDEDIR}/zor-common)
install(TARGETS zor-common EXPORT zor-common-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    FILE_SET HEADERS DESTINATION ${headers} COMPONENT development
    INCLUDES DESTINATION $<INSTALL_PREFIX>/${headers}) # for CMake before 3.23, which passes over file sets

set(config_directory ${CMAKE_INSTALL_LIBDIR}/cmake/zor-common)
set(made ${CMAKE_CURRENT_BINARY_DIR}/install)
write_basic_package_version_file(${made}/zor-common-config-version.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT zor-common-targets NAMESPACE zor:: DESTINATION ${config_directory} COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/zor-common-config.cmake ${made}/zor-common-config-version.cmake
    DESTINATION ${config_directory} COMPONENT development)

# The prefix is known when the files are installed and not before: `cmake --install --prefix` may change it.
install(CODE "get_filename_component(CMAKE_INSTALL_PREFIX \"\${CMAKE_INSTALL_PREFIX}\" ABSOLUTE)" COMPONENT development)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    # The prefix stands before the directory of the headers, be that absolute or not: in file sets CMake 3.25 puts it
    # there itself. From an absolute directory the targets cannot tell the prefix, and have that of configure time.
    cmake_path(ABSOLUTE_PATH config_directory BASE_DIRECTORY "\${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE directory)
    install(CODE "
        set(targets \"\$ENV{DESTDIR}${directory}/zor-common-targets.cmake\")
        file(READ \"\${targets}\" text)
        string(REPLACE [[\${_IMPORT_PREFIX}//]] / text \"\${text}\")
        string(REPLACE [[\${_IMPORT_PREFIX}${headers}]] [[${headers}]] text \"\${text}\")
        string(REPLACE [[set(_IMPORT_PREFIX \"${CMAKE_INSTALL_PREFIX}\")]]
            \"set(_IMPORT_PREFIX \\\"\${CMAKE_INSTALL_PREFIX}\\\")\" text \"\${text}\")
        file(WRITE \"\${targets}\" \"\${text}\")" COMPONENT development)
endif()

foreach(directory IN ITEMS LIBDIR INCLUDEDIR)
    set(pc_${directory} ${CMAKE_INSTALL_${directory}})
    if(NOT IS_ABSOLUTE "${pc_${directory}}")
        string(PREPEND pc_${directory} "\${prefix}/")
    endif()
endforeach()
set(pc_prefix @CMAKE_INSTALL_PREFIX@)
configure_file(${PROJECT_SOURCE_DIR}/cmake/zor-common.pc.in ${made}/zor-common.pc.in @ONLY)
install(CODE "configure_file(\"${made}/zor-common.pc.in\" \"${made}/zor-common.pc\" @ONLY)" COMPONENT development)
install(FILES ${made}/zor-common.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# GDB loads the printers by itself together with a shared library, by the library's full name below this directory. A
# static library has no place of its own in a program: those who debug one source the file.
if(BUILD_SHARED_LIBS)
    cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY "\${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE directory)
    install(FILES ${PROJECT_SOURCE_DIR}/gdb/zor-common-gdb.py
        DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${directory}
        RENAME $<TARGET_FILE_NAME:zor-common>-gdb.py COMPONENT runtime)
else()
    install(FILES ${PROJECT_SOURCE_DIR}/gdb/zor-common-gdb.py
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zor-common COMPONENT development)
endif()
