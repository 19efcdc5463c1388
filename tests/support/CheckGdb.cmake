# Fails unless GDB shows the values of PROGRAM as the program says before it ends, with the printers of SCRIPT or,
# without one, those that GDB finds by itself below AUTO_LOAD for the library in LIBRARIES.
cmake_minimum_required(VERSION 3.25)

if(SCRIPT)
    set(lines ${PROGRAM}.sourced)
    set(printers -ex "source ${SCRIPT}")
else()
    set(lines ${PROGRAM}.auto-loaded)
    set(printers -iex "add-auto-load-scripts-directory ${AUTO_LOAD}" -iex "add-auto-load-safe-path ${AUTO_LOAD}"
        -ex "set environment LD_LIBRARY_PATH ${LIBRARIES}")
endif()
set(show)
foreach(values IN ITEMS ips ipv6s fields macs names fresh hosts "*(zor::common::Wildcards*)garbage")
    list(APPEND show -ex "output ${values}" -ex "echo \\n")
endforeach()
execute_process(
    COMMAND ${GDB} -nx -batch -iex "set debuginfod enabled off" ${printers} -ex "set print elements 0"
        -ex "set breakpoint pending on" -ex "break quick_exit" -ex "run > ${lines}.expected" -ex up
        -ex "set logging file ${lines}.shown" -ex "set logging overwrite on" -ex "set logging redirect on"
        -ex "set logging enabled on" ${show} -ex "set print elements 4" -ex "output fields[2]" -ex "echo \\n"
        -ex "set logging enabled off" -ex kill ${PROGRAM}
    OUTPUT_VARIABLE messages ERROR_VARIABLE messages)
file(READ ${lines}.shown shown)
if(shown MATCHES "Wildcards <not shown: Couldn't write extended state status") # by GDB before 14 on a CPU with AMX
    message(STATUS "this GDB cannot call functions here, so the lines of Wildcards are left out")
    foreach(file IN ITEMS ${lines}.expected ${lines}.shown)
        file(READ ${file} text)
        string(REGEX REPLACE "zor::common::Wildcards (<not shown|not yet parsed|at index)[^\n]*\n" "" text "${text}")
        file(WRITE ${file} "${text}")
    endforeach()
endif()
execute_process(COMMAND diff -u ${lines}.expected ${lines}.shown RESULT_VARIABLE status OUTPUT_VARIABLE difference)
if(NOT status EQUAL 0)
    string(SUBSTRING "${difference}" 0 2000 difference)
    message(FATAL_ERROR "${messages}\nGDB does not show what the program says:\n${difference}")
endif()
