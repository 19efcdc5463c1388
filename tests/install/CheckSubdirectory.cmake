# Builds subdirectory/, a project that holds the library's sources SOURCE, by CXX and runs it. Only what the project has
# of its own may be seen in it.
include(${CMAKE_CURRENT_LIST_DIR}/Check.cmake)
file(REMOVE_RECURSE ${SCRATCH})
execute_process(
    COMMAND ${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR}/subdirectory -B ${SCRATCH}
        -DCMAKE_CXX_COMPILER=${CXX} -DZOR_COMMON_SOURCE=${SOURCE} -DBUILD_SHARED_LIBS=${SHARED}
    ERROR_VARIABLE warnings COMMAND_ERROR_IS_FATAL ANY)
check_equal("warnings of CMake" "${warnings}" "")
run(${CMAKE_COMMAND} --build ${SCRATCH} -j1)
check_consumer(${SCRATCH}/consumer)

capture(tests ${CMAKE_CTEST_COMMAND} -N --test-dir ${SCRATCH})
if(NOT tests MATCHES "Total Tests: 1$")
    message(SEND_ERROR "the project has tests that are not its own:\n${tests}")
endif()
run(${CMAKE_COMMAND} --install ${SCRATCH} --prefix ${SCRATCH}/prefix)
file(GLOB_RECURSE installed RELATIVE ${SCRATCH}/prefix ${SCRATCH}/prefix/*)
check_equal("installed files" "${installed}" "bin/consumer")
