# Builds SOURCE a second time, in a directory of another name, and packs it under another umask: the library, the packages
# and the static library must be byte for byte those of the build trees SHARED_BUILD and STATIC_BUILD.
include(${CMAKE_CURRENT_LIST_DIR}/Check.cmake)
set(copy ${SCRATCH}/the-same-sources-elsewhere)
fresh_directory(${copy})
file(COPY ${SOURCE}/ DESTINATION ${copy} PATTERN build EXCLUDE PATTERN .git EXCLUDE)

function(check_same first second)
    file(GLOB files RELATIVE ${first} ${first}/${ARGN})
    if(NOT files)
        message(SEND_ERROR "${first}/${ARGN} is missing")
    endif()
    foreach(file IN LISTS files)
        foreach(directory IN ITEMS first second)
            file(SHA256 ${${directory}}/${file} hash_of_${directory})
        endforeach()
        check_equal("hash of ${file}" ${hash_of_second} ${hash_of_first})
    endforeach()
endfunction()

set(build ${copy}/build/package)
run(${CMAKE_COMMAND} -E chdir ${copy} ${CMAKE_COMMAND} --preset package -DCMAKE_CXX_COMPILER=${CXX})
run(${CMAKE_COMMAND} --build ${build} -j2)
check_same(${SHARED_BUILD} ${build} libzor-common.so.${VERSION})
run(sh -c "umask 077 && exec \"$@\"" sh ${CMAKE_CPACK_COMMAND} --config ${build}/CPackConfig.cmake -B ${build}/packages)
check_same(${SHARED_BUILD}/packages ${build}/packages *_${VERSION}-*.deb)

run(${CMAKE_COMMAND} -DSOURCE=${copy} -DBUILD=${copy}/static -DOPTIONS=${STATIC_OPTIONS}
    -P ${CMAKE_CURRENT_LIST_DIR}/Build.cmake)
check_same(${STATIC_BUILD} ${copy}/static libzor-common.a)
