# Builds the library of SOURCE in BUILD, with OPTIONS, between which there are commas.
include(${CMAKE_CURRENT_LIST_DIR}/Check.cmake)
file(REMOVE_RECURSE ${BUILD})
string(REPLACE "," ";" OPTIONS "${OPTIONS}")
run(${CMAKE_COMMAND} -G Ninja -S ${SOURCE} -B ${BUILD} -DZOR_COMMON_BUILD_TESTS=OFF -DZOR_COMMON_BUILD_EXAMPLES=OFF
    -DZOR_COMMON_BUILD_TOOLS=OFF
    ${OPTIONS})
run(${CMAKE_COMMAND} --build ${BUILD} -j1)
