#!/bin/sh
# Has tcpdump read the capture of the README's second program: a million frames, as many different flows, and each
# checksum right. The Ethernet header is in the line before the addresses.
#   CheckFlows.sh <tcpdump> <capture>
case $1 in
*-NOTFOUND | "")
    echo "tcpdump is not installed"
    exit
    ;;
esac
"$1" -tnvvr "$2" 2> "$2.log" | awk '
    / id 0, offset 0, flags \[DF\], proto UDP \(17\), length 32\)$/ { ++headers }
    / > 192\.168\.0\.1\.53: \[udp sum ok\]/ { ++sums; if (!seen[$1]++) ++flows }
    END {
        print headers " headers, " sums " right checksums, " flows " flows"
        exit !(NR == 2000000 && headers == 1000000 && sums == 1000000 && flows == 1000000)
    }'
