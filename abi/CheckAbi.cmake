# Fails when a program built with the library of the baseline would not run with LIBRARY, while the soname is the same.
# What is added is no break. With REFRESH, makes LIBRARY the baseline and shows what that changes. BASELINE is another
# baseline than the one beside this file. With PUBLIC_HEADERS, types that are defined outside of that directory are only
# known by name: what an object merely points at may change.
if(NOT BASELINE)
    set(BASELINE ${CMAKE_CURRENT_LIST_DIR}/libzor-common.abi)
endif()
if(PUBLIC_HEADERS)
    set(public_types_only --headers-dir ${PUBLIC_HEADERS} --drop-private-types)
endif()
set(suppressions --suppressions ${CMAKE_CURRENT_LIST_DIR}/suppressions.ini)
execute_process(
    COMMAND abidw ${suppressions} --exported-interfaces-only --type-id-style hash --no-architecture --no-comp-dir-path
        --no-corpus-path ${public_types_only} --no-elf-needed --no-parameter-names --no-show-locs --no-write-default-sizes
        --out-file ${CURRENT} ${LIBRARY}
    COMMAND_ERROR_IS_FATAL ANY)
# The members of these containers do not name the type of a node, so abidiff would pass whatever happened to elements.
file(STRINGS ${CURRENT} blind REGEX "class-decl name='[a-z_]*(map|set|list|deque)&lt;[^']*zor::common::")
if(blind)
    message(FATAL_ERROR "abidiff does not see what this container holds; a vector would do:\n${blind}")
endif()
if(REFRESH)
    if(EXISTS ${BASELINE})
        execute_process(COMMAND abidiff ${suppressions} ${BASELINE} ${CURRENT})
    endif()
    file(COPY_FILE ${CURRENT} ${BASELINE})
    return()
endif()

foreach(file IN ITEMS BASELINE CURRENT)
    file(STRINGS ${${file}} soname LIMIT_COUNT 1 REGEX "soname=")
    string(REGEX MATCH "soname='([^']+)'" soname "${soname}")
    set(soname_of_${file} "${CMAKE_MATCH_1}")
endforeach()
if(NOT soname_of_BASELINE STREQUAL soname_of_CURRENT)
    message(FATAL_ERROR
        "the baseline is that of ${soname_of_BASELINE}: refresh it by cmake --workflow --preset abi-baseline")
endif()
execute_process(COMMAND abidiff ${suppressions} --no-added-syms ${BASELINE} ${CURRENT} RESULT_VARIABLE status)
if(status)
    message(FATAL_ERROR "the library breaks the ABI of ${soname_of_CURRENT}: CONTRIBUTING.md says what to do")
endif()
