# Runs a program and compares its standard output, its standard error and its exit status to the byte; CheckRun.cmake
# says what the values are.
function(zor_common_run_test name program)
    set(values STATUS OUTPUT OUTPUT_FILE ERROR HEX DIGITS SIZE INPUT)
    cmake_parse_arguments(PARSE_ARGV 2 test "" "${values}" "ARGUMENTS")
    if(NOT DEFINED test_STATUS)
        set(test_STATUS 0)
    endif()
    set(definitions)
    foreach(value IN LISTS values)
        list(APPEND definitions "-D${value}=${test_${value}}")
    endforeach()
    add_test(NAME ${name}
        COMMAND ${CMAKE_COMMAND} "-DPROGRAM=$<TARGET_FILE:${program}>" "-DARGUMENTS=${test_ARGUMENTS}" ${definitions}
            -P ${PROJECT_SOURCE_DIR}/tests/support/CheckRun.cmake)
endfunction()
