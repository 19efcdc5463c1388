# Fails when the library runs code of its own as it is loaded: nothing is set up then, so nothing can be too late. The
# entries of a shared library are the compiler's own. One of them finds out which instructions the processor has; code
# that runs before it is told of plain x86-64. An object file of a static library has none.
execute_process(COMMAND ${READELF} -SW ${LIBRARY} OUTPUT_VARIABLE sections COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "\\.(init_array|ctors)[.0-9]* +[A-Z_]+ +[0-9a-f]+ +[0-9a-f]+ +[0-9a-f]+" sections "${sections}")
list(TRANSFORM sections REPLACE " +.* 0*" " ")
execute_process(COMMAND ${NM} ${LIBRARY} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]*(_GLOBAL__sub_I_|_GLOBAL__I_|__cxx_global_var_init)[^\n]*" initialisers "${symbols}")
if(LIBRARY MATCHES "\\.a$")
    set(expected "")
else()
    set(expected ".init_array 8")
    if("${symbols}" MATCHES " t __cpu_indicator_init\n")
        set(expected ".init_array 10")
    endif()
endif()
if(NOT "${sections}" STREQUAL expected OR NOT "${initialisers}" STREQUAL "")
    message(FATAL_ERROR "initialisers: ${sections}\n${initialisers}")
endif()
