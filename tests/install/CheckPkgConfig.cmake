# Builds consumer.cpp by one line of CXX and pkg-config, with what is installed below PREFIX, and runs it.
# PKG_CONFIG_SYSROOT is the root of what is unpacked there and not installed.
include(${CMAKE_CURRENT_LIST_DIR}/Check.cmake)
fresh_directory(${SCRATCH})
cmake_path(ABSOLUTE_PATH LIBDIR BASE_DIRECTORY ${PREFIX})
set(ENV{PKG_CONFIG_LIBDIR} ${LIBDIR}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${PKG_CONFIG_SYSROOT})
set(ENV{PKG_CONFIG_ALLOW_SYSTEM_LIBS} 1)
capture(version pkg-config --modversion zor-common)
check_equal("version of the package" "${version}" "${VERSION}")
capture(libdir pkg-config --variable=libdir zor-common)
check_equal("directory of the library" "${libdir}" "${LIBDIR}")

# `eval`, as `make` does it, because pkg-config puts a backslash before each blank.
run(sh -c "eval ${CXX} -std=c++17 ${CMAKE_CURRENT_LIST_DIR}/consumer.cpp $(pkg-config --cflags --libs zor-common) -o consumer"
    WORKING_DIRECTORY ${SCRATCH})
set(ENV{LD_LIBRARY_PATH} ${LIBDIR})
check_consumer(${SCRATCH}/consumer)
