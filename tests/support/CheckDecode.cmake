# Fails unless protoc reads the values that `zor-packets encode` was given from what it writes.
if(NOT PROTOC)
    message("protoc is not installed, so what it decodes is not checked")
    return()
endif()
execute_process(
    COMMAND ${PROGRAM} encode --raw ${SCHEMAS}/port_status.proto PortStatus port=4294967295 name=north skew=-2147483648
        offset=-9223372036854775808 up=true counter=0 counter=18446744073709551615 mac=0001fe
    COMMAND ${PROTOC} --proto_path=${SCHEMAS} --decode=sample.PortStatus ${SCHEMAS}/port_status.proto
    OUTPUT_VARIABLE decoded COMMAND_ERROR_IS_FATAL ANY)
set(expected [[port: 4294967295
name: "north"
skew: -2147483648
offset: -9223372036854775808
up: true
counter: 0
counter: 18446744073709551615
mac: "\000\001\376"
]])
if(NOT decoded STREQUAL expected)
    message(FATAL_ERROR "protoc reads\n${decoded}\nand should read\n${expected}")
endif()
