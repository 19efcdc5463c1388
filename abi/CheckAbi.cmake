# Fails when a program built with the library of the baseline would not run with LIBRARY, while the soname is the same.
# What is added is no break. With REFRESH, makes LIBRARY the baseline and shows what that changes.
set(baseline ${CMAKE_CURRENT_LIST_DIR}/libzor-common.abi)
set(suppressions --suppressions ${CMAKE_CURRENT_LIST_DIR}/suppressions.ini)
execute_process(
    COMMAND abidw ${suppressions} --exported-interfaces-only --type-id-style hash --no-architecture --no-comp-dir-path
        --no-corpus-path --no-elf-needed --no-parameter-names --no-show-locs --no-write-default-sizes
        --out-file ${CURRENT} ${LIBRARY}
    COMMAND_ERROR_IS_FATAL ANY)
if(REFRESH)
    if(EXISTS ${baseline})
        execute_process(COMMAND abidiff ${suppressions} ${baseline} ${CURRENT})
    endif()
    file(COPY_FILE ${CURRENT} ${baseline})
    return()
endif()

foreach(file IN ITEMS baseline CURRENT)
    file(STRINGS ${${file}} soname LIMIT_COUNT 1 REGEX "soname=")
    string(REGEX MATCH "soname='([^']+)'" soname "${soname}")
    set(soname_of_${file} "${CMAKE_MATCH_1}")
endforeach()
if(NOT soname_of_baseline STREQUAL soname_of_CURRENT)
    message(FATAL_ERROR
        "the baseline is that of ${soname_of_baseline}: refresh it by cmake --workflow --preset abi-baseline")
endif()
execute_process(COMMAND abidiff ${suppressions} --no-added-syms ${baseline} ${CURRENT} RESULT_VARIABLE status)
if(status)
    message(FATAL_ERROR "the library breaks the ABI of ${soname_of_CURRENT}: CONTRIBUTING.md says what to do")
endif()
