# Builds find-package/ by CXX as C++ of STANDARD, with what is installed below PREFIX, and runs it.
include(${CMAKE_CURRENT_LIST_DIR}/Check.cmake)
if(NOT CXX)
    message("the compiler is not installed")
    return()
endif()
file(REMOVE_RECURSE ${SCRATCH})
run(${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR}/find-package -B ${SCRATCH} -DCMAKE_CXX_COMPILER=${CXX}
    -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_STANDARD=${STANDARD} -DCMAKE_CXX_EXTENSIONS=OFF)
run(${CMAKE_COMMAND} --build ${SCRATCH})
check_consumer(${SCRATCH}/consumer)
file(READ ${SCRATCH}/version version)
check_equal("version of the package" "${version}" "${VERSION}")
