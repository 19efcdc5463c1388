# Runs PROGRAM under callgrind and fails unless each of its steps takes at most 2.2 times as many instructions on a text
# of twice the size: 2 for linear work and some for a logarithm. One that takes hardly more on twice the text has stopped
# before it got to it, and so checks nothing. Counts do not depend on what else the machine does.
#
# The C library copies long stretches with an instruction that counts once a byte and short ones in vectors, a jump that
# is no growth. Without ERMS it copies all of them in vectors.
execute_process(
    COMMAND ${CMAKE_COMMAND} -E env GLIBC_TUNABLES=glibc.cpu.hwcaps=-ERMS
        valgrind --tool=callgrind --collect-atstart=no --combine-dumps=yes --callgrind-out-file=${COUNTS} ${PROGRAM}
    ERROR_VARIABLE error RESULT_VARIABLE status TIMEOUT 300)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "valgrind ends with ${status}:\n${error}")
endif()

# In turn, what has run with the size of its text, and how many instructions that took.
file(STRINGS ${COUNTS} lines REGEX "^(desc: Trigger: Client Request|totals): ")
set(shapes 0)
set(before "")
foreach(line IN LISTS lines)
    if(line MATCHES "Request: (.*) ([0-9]+)$")
        set(shape "${CMAKE_MATCH_1}")
        set(size ${CMAKE_MATCH_2})
        continue()
    endif()
    string(REGEX MATCH "[0-9]+" count "${line}")
    if(shape STREQUAL before)
        math(EXPR shapes "${shapes} + 1")
        math(EXPR percent "100 * ${count} / ${before_count}")
        if(percent GREATER 220 OR percent LESS 120)
            message(SEND_ERROR "${shape}: ${before_count} instructions for ${before_size} characters, "
                "${count} for ${size}: ${percent} %")
        elseif(VERBOSE)
            message("${shape}: ${before_count} ${count} ${percent} %")
        endif()
    endif()
    set(before "${shape}")
    set(shape "")
    set(before_count ${count})
    set(before_size ${size})
endforeach()
if(shapes LESS 100)
    message(FATAL_ERROR "only ${shapes} shapes were counted")
endif()
message("growth: ${shapes} shapes compared")
