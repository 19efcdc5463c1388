# The tests of zor-packets as it is called from a shell.
include(${PROJECT_SOURCE_DIR}/tests/support/RunTest.cmake)
function(zor_common_tool_test name)
    zor_common_run_test(tool/${name} zor-packets ${ARGN})
endfunction()
function(zor_common_tool_failure name error)
    zor_common_tool_test(${name} STATUS 2 ERROR "${said_before}zor-packets: ${error}\n" ARGUMENTS ${ARGN})
endfunction()
set(data ${PROJECT_SOURCE_DIR}/tests/data)
set(templates ${PROJECT_SOURCE_DIR}/examples/templates)
set(schema ${PROJECT_SOURCE_DIR}/examples/schemas/port_status.proto)

# make
zor_common_tool_test(ipv4
    ARGUMENTS make -e "@$(0A000001,4,00000001,ipv4)" --count 5
    OUTPUT "10.0.0.1\n10.0.0.2\n10.0.0.3\n10.0.0.4\n10.0.0.1\n")
zor_common_tool_test(options
    ARGUMENTS make --from 4294967295 "--marker=#" -e "#x(0,0,1)-#=(Name)-#p-@x" --count 2 --set name=a=b --set PORT=7
    OUTPUT "4294967295-a=b-7-@x\n0-a=b-7-@x\n")
zor_common_tool_test(context
    ARGUMENTS make --count 3 --every 2 --mac 02:00:00:00:00:01,256,00:00:00:00:ff:ff --vlan 100,2 --vlan 7,9,5
        --vpi 1,3,10,1 --vci 9,4 --base 42 --second-base 6 -e "@m(0) @v(1) @v(2) @v(vpi) @v(vci) @b @s"
    OUTPUT "02-00-00-00-00-01 100 7 1 9 42 6\n02-00-00-00-02-01 100 17 11 11 42 8\n\
02-00-00-00-04-01 100 27 21 9 42 10\n")
zor_common_tool_test(hex-file
    ARGUMENTS make ${templates}/vlan-arp.hex --count 1
    OUTPUT "ffffffffffff020000000001810000640806000108000604000102000000000\
10a0000010000000000000a0100010000000000000000000000000000\n")
zor_common_tool_test(dashes ARGUMENTS make --count 1 -e "-i@x(3,1)" OUTPUT "-i3\n")
zor_common_tool_test(doubtful
    ARGUMENTS make --count 1 -e "@$(10.0.0.1,5,00000001,ipv4)"
    OUTPUT "0.1.0.1\n"
    ERROR "template:1:4: warning ZT129: The start \"10.0.0.1\" is read as the hex digits \"010001\", and its other \
characters are ignored.\n  @$(10.0.0.1,5,00000001,ipv4)\n     ^^^^^^^^\n  instead: 0a000001\n")
set(said_before "template:1:1: error ZT001: The list ends in two delimiters, so every use of the template raises an \
exception.\n  @x(1,,)\n  ^^^^^^^\n  instead: @x(1)\n")
zor_common_tool_failure(bad-list "an argument list in the template ends in delimiters" make -e "@x(1,,)")
zor_common_tool_failure(bad-list-verify "an argument list in the template ends in delimiters"
    verify -e "@x(1,,)" --count 1 x.pcap)
set(said_before)

# Each bad value is one line and status 2, before anything is written: the file is not made.
set(number "must be a number from 0 to 18446744073709551615")
foreach(bad IN ITEMS
        "--from;1x;--from ${number}, not \"1x\"" "--from;-1;--from ${number}, not \"-1\""
        "--count;1\n2;--count ${number}, not \"1?2\"" "--count;18446744073709551616;--count ${number}, not \"18446744073709551616\""
        "--count;18446744073709552k;--count ${number}, not \"18446744073709552k\""
        "--every;;--every: 1 required K missing (see --help)" "--seed;x;--seed ${number}, not \"x\""
        "--gap;1;--gap must be a duration of whole nanoseconds such as 1us, 2.5s or 10m, not \"1\""
        "--gap;1.5ns;--gap must be a duration of whole nanoseconds such as 1us, 2.5s or 10m, not \"1.5ns\""
        "--start;2026-02-30T00:00:00;--start must be seconds since 1970 or a time such as 2026-01-31T23:59:59Z, not \"2026-02-30T00:00:00\""
        "--start;4294967296;the last packet would have a time that the format cannot say"
        "--gap;100d;the last packet would have a time that the format cannot say"
        "--shard;0/2;--shard must be K/N with K from 1 to N, not \"0/2\"" "--shard;3/2;--shard must be K/N with K from 1 to N, not \"3/2\""
        "--shard;1;--shard must be K/N, not \"1\"" "--shard;1/0;--shard must be K/N with K from 1 to N, not \"1/0\""
        "--format;pcpa;--format must be pcap, pcapng, hex, raw or lines, not \"pcpa\""
        "--marker;;--marker: 1 required C missing (see --help)" "--marker;ab;--marker must be one character, not \"ab\""
        "--set;name;--set must be of the form NAME=VALUE, not \"name\"" "--set;=x;--set must be of the form NAME=VALUE, not \"=x\""
        "--mac;02:00:00:00:00;--mac: the address must be a MAC address, not \"02:00:00:00:00\""
        "--mac;1,2,3,4,5;--mac takes ADDRESS,STEP,MASK,REPEAT" "--vlan;1,x;--vlan: the count must be a number from 0 to 4294967295, not \"x\""
        "--vpi;65536;--vpi: the start must be a number from 0 to 65535, not \"65536\""
        "--base;4294967296;--base must be a number from 0 to 4294967295, not \"4294967296\""
        "--link;wifi;--link must be ethernet or ip, not \"wifi\"" "--progress;always;--progress must be auto|never, not \"always\"")
    list(GET bad 0 option)
    list(GET bad 1 value)
    list(GET bad 2 error)
    string(MAKE_C_IDENTIFIER "${option}${value}" name)
    set(made ${CMAKE_CURRENT_BINARY_DIR}/bad${name}.pcap)
    zor_common_tool_failure(bad${name} "${error}" make -e @x -o ${made} "${option}=${value}")
    add_test(NAME tool/bad${name}-unmade COMMAND sh -c "test ! -e '${made}' && test ! -e '${made}.part'")
    set_tests_properties(tool/bad${name} PROPERTIES FIXTURES_SETUP bad${name})
    set_tests_properties(tool/bad${name}-unmade PROPERTIES FIXTURES_REQUIRED bad${name})
endforeach()
zor_common_tool_failure(bad-option "The following argument was not expected: --first (see --help)" make --first -e @x)
zor_common_tool_failure(bad-command "\"mkae\" is no sub-command (see --help)" mkae)
zor_common_tool_failure(no-command "A subcommand is required (see --help)")
zor_common_tool_failure(bad-file "cannot read \"/nonexistent\": No such file or directory" make /nonexistent)
zor_common_tool_failure(directory "cannot read \"/\": Is a directory" make /)
zor_common_tool_failure(no-template "no template is given: a file, -e TEXT or --frame LAYERS" make)
zor_common_tool_failure(two-templates "packets are given in two ways, where one is enough" make -e x --frame eth)
zor_common_tool_failure(two-files "\"y\" is one template too many" make -e x y)
zor_common_tool_failure(no-directory
    "cannot write \"/nonexistent/x.pcap\": No such file or directory" make -e x -o /nonexistent/x.pcap)
zor_common_tool_failure(no-checksums "--checksums: the first value has no header with a checksum" make -e x --checksums)
zor_common_tool_failure(varied-shards
    "shards can share a file only if all packets have one size: write them to standard output"
    make -e "@x(9,2)" --shard 1/2 -o ${CMAKE_CURRENT_BINARY_DIR}/varied.pcap)

# A place in the layers is shown.
foreach(bad IN ITEMS
        "eth / ipv4 / udp(dport=70000)|Udp: dport 70000 is above 65535|               ^^^^^^^^^^^^^^^^"
        "eth / ipv4(src=10.0.0.1..x)|ipv4: \"x\" does not end a range from 10.0.0.1|             ^^^^^^^^^^^^^^^"
        "eth(smac=1)|eth: there is no \"smac\", but src, dst, type|      ^^^^^^")
    string(REPLACE "|" ";" bad "${bad}")
    list(GET bad 0 layers)
    list(GET bad 1 error)
    list(GET bad 2 carets)
    string(MAKE_C_IDENTIFIER "${layers}" name)
    zor_common_tool_failure(bad-layers-${name} "${error}\n  ${layers}\n${carets}" make --frame "${layers}")
endforeach()

# check
zor_common_tool_test(check ARGUMENTS check -e "@x(1,5)@z" --strict STATUS 1
    OUTPUT "template:1:8: warning ZT101: No kind of expression is called \"z\", so \"@z\" stays as literal \
text.\n  @x(1,5)@z\n\
         ^^\n  instead: @@z\n")
zor_common_tool_test(check-rate
    ARGUMENTS check --frame "eth / ipv4(src=10.0.0.1..10.0.0.250) / udp(sport=1024..65535)" --rate 10G --for 1m --strict
    STATUS 1
    OUTPUT "no findings\nat 10G: 14.9 Mpackets/s, the counters start again after 8064000 packets, 542 ms\n\
for 1m: 892857142 packets, they repeat, each one up to 111 times\n")
zor_common_tool_test(check-json
    ARGUMENTS check -e "@x(1,5,1,1)" --rate 5pps --for 1s --json
    OUTPUT "{\"diagnostics\": [], \"packetsPerSecond\": 5, \"period\": 5, \"packets\": 5, \"repeats\": false, \
\"certain\": true}\n")
zor_common_tool_failure(check-no-rate "--for needs --rate" check -e x --for 1s)
zor_common_tool_failure(check-bad-rate
    "--rate must be bits a second such as 100G or packets a second such as 14.88Mpps, not \"fast\"" check -e x --rate fast)

# find
zor_common_tool_test(find
    ARGUMENTS find -e "@h 08 06 @$(0064,0,0001,big)" ${data}/find-packets.txt STATUS 1
    OUTPUT "packet  index\n1       3\n2       -\n3       65535\n")
zor_common_tool_failure(find-unreadable "the index of a packet cannot be told: check --verbose says why"
    find -e "@x(1,0)@x(1,90)" x)

# inspect, whose captures libpcap judges
zor_common_tool_test(inspect HEX ${data}/arp.hex INPUT arp.pcap ARGUMENTS inspect arp.pcap
    OUTPUT_FILE ${data}/inspect-packet.txt)
function(zor_common_inspect_failure name file error)
    zor_common_tool_test(inspect-${name}
        ARGUMENTS inspect ${file} INPUT ${file} ${ARGN} STATUS 2 ERROR "zor-packets: ${error}\n")
endfunction()
set(header d4c3b2a1020004000000000000000000ffff0000)
zor_common_inspect_failure(other-link link.pcap
    "link.pcap has packets of link type IEEE802_11 and not of EN10MB" DIGITS ${header}69000000)
zor_common_inspect_failure(huge-packet huge.pcap
    "huge.pcap is damaged after packet 0: invalid packet capture length 4294967295, bigger than snaplen of 65535"
    DIGITS ${header}010000000000000000000000ffffffffffffffff)
zor_common_inspect_failure(no-file missing.pcap "cannot read \"missing.pcap\": No such file or directory")
zor_common_inspect_failure(directory . ". is no capture: error reading dump file: Is a directory")
zor_common_inspect_failure(other-file cmake_install.cmake "cmake_install.cmake is no capture: unknown file format")
zor_common_tool_failure(inspect-no-arguments "one capture is expected" inspect)
zor_common_tool_failure(inspect-bad-count "--count ${number}, not \"2x\"" inspect x.pcap --count 2x)
zor_common_tool_test(inspect-count # what follows the counted packets is not looked at
    HEX ${data}/arp.hex SIZE 101 INPUT count.pcap ARGUMENTS inspect count.pcap --count 1
    OUTPUT_FILE ${data}/inspect-first.txt)
zor_common_tool_test(inspect-nanoseconds
    DIGITS 4d3cb2a1020004000000000000000000ffff000001000000 INPUT nanoseconds.pcap ARGUMENTS inspect nanoseconds.pcap)

# encode
zor_common_tool_test(message
    ARGUMENTS encode ${schema} PortStatus counter=0 mac= name=a= port=300 up=0 skew=-1 counter=1
    OUTPUT "TLV type: 17\nbytes: 08 ac 02 12 02 61 3d 18 01 28 00 30 00 30 01 3a 00\n")
string(ASCII 8 33 raw)
zor_common_tool_test(message-raw ARGUMENTS encode ${schema} PortReset port=33 --raw OUTPUT ${raw})
function(zor_common_encode_failure name error)
    zor_common_tool_failure(${name} "${error}" encode ${ARGN})
endfunction()
zor_common_encode_failure(no-schema "cannot open schema file \"no.proto\"" no.proto PortReset)
set(said_before "/:1:1: error: The file cannot be read.\n")
zor_common_encode_failure(schema-directory "schema file \"/\" has no message \"A\" that can be read" / A)
set(said_before)
zor_common_encode_failure(no-such-message
    "schema file \"${schema}\" has no message \"Port\" that can be read" ${schema} Port port=1)
zor_common_encode_failure(no-such-field
    "message \"PortReset\" has no field for \"ports=1\"" ${schema} PortReset ports=1 port=1)
set(said_before "${data}/twice.proto:9:22: warning: The field number \"0\" is not one from 1 to 536870911.\n")
zor_common_encode_failure(one-name "two fields of message \"Twice\" have one name" ${data}/twice.proto Twice x=1 zzz=2)
zor_common_encode_failure(one-name-and-none
    "message \"Twice\" has no field for \"zzz=2\"" ${data}/twice.proto Twice zzz=2 x=1)
zor_common_encode_failure(no-number
    "field \"x\" has the number 0, which no message can carry" ${data}/twice.proto Numberless x=1)
set(said_before)
zor_common_encode_failure(no-value "message \"PortReset\" has no field for \"port\"" ${schema} PortReset port=1 port)
zor_common_encode_failure(no-required-field "required field \"name\" is missing" --raw ${schema} PortStatus port=1)
zor_common_encode_failure(field-twice "field \"port\" is given twice" ${schema} PortReset port=1 port=2)
zor_common_encode_failure(bad-encode-option
    "The following argument was not expected: --rwa (see --help)" --rwa ${schema} PortReset port=1)
zor_common_encode_failure(no-message "a schema file and a message name are needed" ${schema})
foreach(bad IN ITEMS "uint32 port=4294967296" "uint32 port=-1" "uint32 port=" "uint32 port=1x" "sint32 skew=2147483648"
        "int64 offset=9223372036854775808" "bool up=yes" "uint64 counter=-1" "bytes mac=0" "bytes mac=0g")
    string(REGEX MATCH "^(.*) (.*)=(.*)$" whole "${bad}")
    zor_common_encode_failure("bad-${CMAKE_MATCH_1}-${CMAKE_MATCH_3}"
        "\"${CMAKE_MATCH_3}\" does not fit field \"${CMAKE_MATCH_2}\" of type ${CMAKE_MATCH_1}"
        ${schema} PortStatus "${CMAKE_MATCH_2}=${CMAKE_MATCH_3}" port=1 name=n)
endforeach()

# The protocol-buffer compiler is the judge of the bytes.
find_program(PROTOC protoc)
add_test(NAME tool/message-decode
    COMMAND ${CMAKE_COMMAND} -DPROTOC=${PROTOC} -DPROGRAM=$<TARGET_FILE:zor-packets>
        -DSCHEMAS=${PROJECT_SOURCE_DIR}/examples/schemas -P ${PROJECT_SOURCE_DIR}/tests/support/CheckDecode.cmake)
set_tests_properties(tool/message-decode PROPERTIES SKIP_REGULAR_EXPRESSION "protoc is not installed")

# macro
set(variables --set host=10.0.0.1 --set port=80 --set n=7 --set "file name=index.html")
foreach(each IN ITEMS
        "http://$(host):$port /|http://10.0.0.1:80 /" "GET /$(file name)|GET /index.html" "cost 5$|cost 5$"
        "$(n) of $n|7 of 7" "$$$|$$")
    string(REPLACE "|" ";" each "${each}")
    list(GET each 0 expression)
    list(GET each 1 value)
    string(MAKE_C_IDENTIFIER "${expression}" name)
    zor_common_tool_test(macro-${name} ARGUMENTS macro ${variables} -e "${expression}" OUTPUT "${value}\n")
endforeach()
zor_common_tool_test(macro-run
    ARGUMENTS macro -e "packet $number of $(total), $(left) to go" --count 3
    OUTPUT "packet 1 of 3, 2 to go\npacket 2 of 3, 1 to go\npacket 3 of 3, 0 to go\n")
set(fails "zor-packets: the expression cannot be expanded\n")
foreach(each IN ITEMS
        "$(host|Missing closing parenthesis.|^^^^^^|$(host)" "$host)|Mismatched closing parenthesis before opening parenthesis.|     ^"
        "$(user)|Variable \"user\" is not supported.|^^^^^^^")
    string(REPLACE "|" ";" each "${each}")
    list(GET each 0 expression)
    list(GET each 1 error)
    list(GET each 2 carets)
    list(LENGTH each length)
    set(instead)
    if(length EQUAL 4)
        list(GET each 3 instead)
        string(CONCAT instead "  instead: " "${instead}" "\n")
    endif()
    string(MAKE_C_IDENTIFIER "${expression}" name)
    zor_common_tool_test(macro-fails-${name} ARGUMENTS macro ${variables} -e "${expression}" STATUS 2
        ERROR "expression: ${error}\n  ${expression}\n  ${carets}\n${instead}${fails}")
endforeach()

# tcpdump reads a capture of a template.
find_program(TCPDUMP tcpdump)
set(capture ${CMAKE_CURRENT_BINARY_DIR}/capture.pcap)
zor_common_tool_test(capture ARGUMENTS make ${templates}/vlan-arp.hex -o ${capture})
add_test(NAME tool/capture-read
    COMMAND ${CMAKE_COMMAND} -DTCPDUMP=${TCPDUMP} -DCAPTURE=${capture}
        -P ${PROJECT_SOURCE_DIR}/tests/support/CheckCapture.cmake)
set_tests_properties(tool/capture PROPERTIES FIXTURES_SETUP tool-capture)
set_tests_properties(tool/capture-read PROPERTIES
    FIXTURES_REQUIRED tool-capture SKIP_REGULAR_EXPRESSION "tcpdump is not installed")

# What takes several commands, and other programs as judges.
find_program(ZOR_COMMON_DEBIAN_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH)
if(NOT ZOR_COMMON_DEBIAN_PYTHON)
    message(STATUS "Debian's python3 is not installed: zor-packets is tested in part")
    return()
endif()
set(check_tool ${ZOR_COMMON_DEBIAN_PYTHON} ${PROJECT_SOURCE_DIR}/tests/support/CheckTool.py $<TARGET_FILE:zor-packets>
    ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_BINARY_DIR})
foreach(group IN ITEMS Errors Help Recipes Shards Terminal Verify)
    add_test(NAME tool/${group} COMMAND ${check_tool} ${group})
endforeach()
foreach(group IN ITEMS Captures Manual Replay)
    add_test(NAME judges/tool-${group} COMMAND ${check_tool} ${group})
    set_tests_properties(judges/tool-${group} PROPERTIES LABELS judges SKIP_REGULAR_EXPRESSION "is not installed")
endforeach()
