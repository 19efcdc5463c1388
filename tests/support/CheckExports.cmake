# Fails when the shared library exports, as a symbol of any kind, something that is not part of zor::common's interface,
# or without the version of the soname.
execute_process(COMMAND ${NM} -DC --defined-only ${LIBRARY} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE ";" "," symbols "${symbols}")
string(REGEX MATCHALL "[^\n]+" symbols "${symbols}")
set(exported 0)
foreach(symbol IN LISTS symbols)
    if(NOT symbol MATCHES "^[0-9a-f]+ [A-Za-z] (.*)$")
        message(SEND_ERROR "not understood: ${symbol}")
    endif()
    set(name "${CMAKE_MATCH_1}")
    if(name STREQUAL "ZOR_COMMON_${MAJOR}")
        continue() # the version itself
    endif()
    if(NOT name MATCHES "^(typeinfo for |typeinfo name for |vtable for )?zor::common::" OR
            name MATCHES "^[^(]*zor::common::detail::" OR NOT name MATCHES "@@ZOR_COMMON_${MAJOR}$")
        message(SEND_ERROR "exported, but not part of the interface: ${name}")
    endif()
    math(EXPR exported "${exported} + 1")
endforeach()
if(exported EQUAL 0)
    message(FATAL_ERROR "no exported symbol found in ${LIBRARY}")
endif()
message(STATUS "${exported} exported symbols, all of zor::common")
