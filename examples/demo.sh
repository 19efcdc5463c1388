#!/bin/sh
# The demo: says what each command does, shows the command, and then what it prints. The programs have to be in PATH.
# EXAMPLES is the directory of this script; files are written into the current directory. With PYTHON, the Python that
# the module zor_common was built for, the module is shown too.
set -eu
templates=$EXAMPLES/templates
schemas=$EXAMPLES/schemas

say() {
    printf '\n'
    cat
}

run() {
    printf '\n$ %s\n' "$1"
    eval "$1"
}

cp "$templates/udp.hex" "$schemas/port_status.proto" .

say <<'END'
1. From a template to packets

A template is a frame in hex digits, in which some fields count. This frame has an Ethernet header, an IPv4 header, a UDP
header and a sequence number of 4 bytes:
END
run 'cat udp.hex'
say <<'END'
"@h" says that the rest is hex digits. "@$(0A000001,250,00000001,big)" is a counter: it starts at 10.0.0.1, has 250
values, its step is 1, and it is written with the most significant byte first. The source port has 60,000 values from
1024 on. The count of the sequence number is 0: it counts until it wraps.

"make" prints packets. --checksums fills in the checksums of IPv4 and UDP, which are 0000 above, and --count is the number
of packets:
END
run 'zor-packets make udp.hex --checksums --count 3'
say <<'END'
With -o, the same packets are a capture file. tcpdump reads three of them (-c 3) from the file (-r), checks their checksums
(-vv), and prints addresses as numbers (-n) and no times (-t):
END
run 'zor-packets make udp.hex --checksums --count 100k -o udp.pcap'
run 'tcpdump -c 3 -vvntr udp.pcap'
say <<'END'
2. From a packet back to its number

Packet n follows from n alone, so any packet can be made without the packets before it. --from is the first number:
END
run 'zor-packets make udp.hex --checksums --from 9000000000 --count 1'
say <<'END'
"find" reads a packet and works out its number. Nothing was stored, and the packet has no tag:
END
run 'zor-packets make udp.hex --checksums --from 9000000000 --count 1 | zor-packets find udp.hex --checksums'
say <<'END'
3. The same without hex digits

--frame takes the headers by name, from the outside in. A range counts, 10.0.0.1..10.0.0.250; "number(4)" is the sequence
number. Lengths and checksums are filled in. A capture in the pcapng format also holds the recipe of its packets, which
"show" reads. "readable: each index" says that "find" gets every number back:
END
run "zor-packets make --frame 'eth / ipv4(src=10.0.0.1..10.0.0.250, dst=192.168.0.1) / udp(sport=1024..65535) / number(4)' --count 100k -o sent.pcapng"
run 'zor-packets show sent.pcapng'
say <<'END'
4. What is missing?

--like takes the recipe of another capture. "damage-capture" then does to it what a network may do: it loses, duplicates,
delays, cuts and changes packets, and adds packets of its own. The 1 is the seed of its random numbers, and done.txt lists
what it did:
END
run 'zor-packets make --like sent.pcapng -o sent.pcap'
run 'damage-capture sent.pcap received.pcap done.txt 1'
say <<'END'
"verify" compares what was received with the recipe in sent.pcapng, and --missing writes the numbers of the missing
packets. Foreign packets match no number: they were cut, their counters contradict each other, or they came from
elsewhere. A packet that does not arrive as it was sent is missing. The exit status is 1, as there are differences:
END
run 'zor-packets verify sent.pcapng received.pcap --missing missing.txt || echo "exit status $?"'
run 'head -n 3 missing.txt'
say <<'END'
5. What is wrong with this template?

"check" explains what a template does that its writer probably does not mean, and what to write instead. Here the address
has dots where hex digits are expected. -e takes a template, or another text, from the command line:
END
run "zor-packets check -e '@\$(10.0.0.1,250,00000001,ipv4)'"
say <<'END'
6. Also in the box

Two threads render parts of one range, without locks:
END
run 'render-in-parts'
say <<'END'
A template can be text. "@x(1,3,1,2)" is a decimal counter: it starts at 1, has 3 values, its step is 1, and it has 2 digits:
END
run "zor-packets make -e 'host-@x(1,3,1,2) @\$(0A0000FE,0,00000001,ipv4)' --count 4"
say <<'END'
A message of a protocol-buffer schema, by the name of the message and the values of its fields:
END
run 'zor-packets encode port_status.proto PortStatus port=300 name=uplink up=1'
say <<'END'
Variables in a text:
END
run "zor-packets macro -e 'packet \$number of \$(total)' --count 2"

if [ -z "${PYTHON-}" ]; then
    echo 'The Python module is not built, so its part is left out.' >&2
    exit
fi
cp "$EXAMPLES/distributed_capture.py" "$EXAMPLES/distributed_audit.py" .
python3() {
    "$PYTHON" "$@"
}
say <<'END'
7. The same from Python, and over a Dask cluster

Frames are a NumPy array. Two processes then render one capture together, which is the same file to the byte, and audit
the received capture together:
END
run "python3 -c '
import numpy, zor_common
packets = zor_common.Template.frame(\"eth / ipv4(src=10.0.0.1..10.0.0.250, dst=192.168.0.1) / udp(sport=1024..65535) / number(4)\")
print(numpy.asarray(packets.frames(0, 100000)).shape, packets.index(packets[99999]))'"
run "frame='eth / ipv4(src=10.0.0.1..10.0.0.250, dst=192.168.0.1) / udp(sport=1024..65535) / number(4)'"
run 'python3 distributed_capture.py "$frame" parts.pcap --count 100000'
run 'cmp parts.pcap sent.pcap && echo "the same bytes"'
run 'python3 distributed_audit.py "$frame" received.pcap --count 100000'
