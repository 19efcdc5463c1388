#!/bin/sh
# Sends frames by DPDK, 32 at a time and a rest, to its null port and into a capture, which tshark reads: each checksum
# is right, and the packets are numbered in order.
#   CheckSender.sh <dpdk-sender> <tshark> <scratch directory>
set -e
for program in "$1" "$2"; do
    case $program in *-NOTFOUND)
        name=${program%-NOTFOUND}
        echo "${name##*/} is not installed"
        exit
        ;;
    esac
done
mkdir -p "$3"
cd "$3"
"$1" 70001 | tee null.txt
"$1" --capture sent.pcap 70001 | tee captured.txt
for report in null.txt captured.txt; do grep -q '^70001 frames of 60 bytes sent,' "$report"; done
"$2" -r sent.pcap -o ip.check_checksum:TRUE -o udp.check_checksum:TRUE \
    -T fields -e frame.len -e ip.checksum.status -e udp.checksum.status -e udp.srcport -e udp.payload 2> tshark.txt |
    awk '
        { right += $0 == sprintf("60\t1\t1\t%d\t%016x", 1024 + (NR - 1) % 60000, NR - 1) }
        END {
            print right " of " NR " packets are right"
            exit !(NR == 70001 && right == NR)
        }'
