# Functions of the scripts beside this one. A command that fails ends the script with what it printed.
function(run)
    execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(capture variable)
    execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    set(${variable} "${output}" PARENT_SCOPE)
endfunction()

function(check_equal what value expected)
    if(NOT value STREQUAL expected)
        message(SEND_ERROR "${what}: \"${value}\" in place of \"${expected}\"")
    endif()
endfunction()

# Runs consumer.cpp's program.
function(check_consumer)
    capture(output ${ARGV})
    check_equal("output of the consumer" "${output}" "version ${VERSION}\n10.0.1.0\ncaught")
endfunction()

function(fresh_directory directory)
    file(REMOVE_RECURSE ${directory})
    file(MAKE_DIRECTORY ${directory})
endfunction()
