#!/bin/sh
# Compares the report on a damaged capture, and the packets that it misses, with the list of what was done to it.
# Arguments: the programs udp-frames-to-pcap, damage-capture and who-is-missing, a scratch directory, how many packets.
set -e
mkdir -p "$4"
cd "$4"
"$1" sent.pcap "$5"
"$2" sent.pcap received.pcap done.txt 1
"$3" received.pcap "$5" missing.txt | tee report.txt
awk '$1 ~ /^(lost|changed|broken|cut)$/ { print $2 }' done.txt > lost.txt
cmp lost.txt missing.txt
awk -v sent="$5" '
    { done[$1]++ }
    END {
        missing = done["lost"] + done["changed"] + done["broken"] + done["cut"]
        print "in order " sent - missing - done["late"]
        print "late " done["late"]
        print "duplicate " done["doubled"]
        print "changed " done["changed"]
        print "foreign " done["broken"] + done["cut"] + done["foreign"]
        print "missing " missing
    }' done.txt > expected.txt
sed -nE 's/^(in order|late|duplicate|changed|foreign|missing) *([0-9]+).*/\1 \2/p' report.txt | diff expected.txt -
grep -q 'is certain' report.txt
awk '/^late/ { exit !($6 <= 50 && $2 > 0) }' report.txt
