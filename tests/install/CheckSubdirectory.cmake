# Builds subdirectory/, a project that holds the library's sources SOURCE, by CXX and runs it. Only what the project has
# of its own may be seen in it, and with SHARED off it leaves BUILD_SHARED_LIBS unset.
include(${CMAKE_CURRENT_LIST_DIR}/Check.cmake)
file(REMOVE_RECURSE ${SCRATCH})
set(kind)
if(SHARED)
    set(kind -DBUILD_SHARED_LIBS=ON)
endif()
execute_process(
    COMMAND ${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR}/subdirectory -B ${SCRATCH}
        -DCMAKE_CXX_COMPILER=${CXX} -DZOR_COMMON_SOURCE=${SOURCE} -DCMAKE_UNITY_BUILD=ON ${kind}
    ERROR_VARIABLE warnings COMMAND_ERROR_IS_FATAL ANY)
check_equal("warnings of CMake" "${warnings}" "")
run(${CMAKE_COMMAND} --build ${SCRATCH} -j1)
file(GLOB libraries RELATIVE ${SCRATCH}/zor-common ${SCRATCH}/zor-common/libzor-common.*)
if(SHARED AND NOT libraries MATCHES "\\.so" OR NOT SHARED AND NOT libraries STREQUAL "libzor-common.a")
    message(SEND_ERROR "the library is of another kind than the project's: ${libraries}")
endif()
check_consumer(${SCRATCH}/consumer)

capture(tests ${CMAKE_CTEST_COMMAND} -N --test-dir ${SCRATCH})
if(NOT tests MATCHES "Total Tests: 1$")
    message(SEND_ERROR "the project has tests that are not its own:\n${tests}")
endif()
run(${CMAKE_COMMAND} --install ${SCRATCH} --prefix ${SCRATCH}/prefix)
file(GLOB_RECURSE installed RELATIVE ${SCRATCH}/prefix ${SCRATCH}/prefix/*)
check_equal("installed files" "${installed}" "bin/consumer")
