#!/bin/sh
# Measures how many packets a second dpdk-sender sends to DPDK's null port on one core, beside the same loop without
# writing a byte and beside DPDK's own generator, testpmd in the mode flowgen, which has a checksum of IP and none of UDP.
#   Sender.sh <dpdk-sender> <dpdk-testpmd>
for program in "$1" "$2"; do
    case $program in *-NOTFOUND | "")
        echo "Sender: not measured, as ${program%-NOTFOUND} is not installed"
        exit
        ;;
    esac
done

core=$(sed -nE 's/^Cpus_allowed_list:.*[^0-9]([0-9]+)$/\1/p' /proc/self/status) # the last one that may be used
sent() {
    taskset -c "$core" "$1" --seconds 1 $2 4294967295 | sed -E 's/.* ([0-9.e+]+) million.*/\1/'
}
flowgen() { # whose other thread waits for commands
    (sleep 1 && echo 'show port stats 0' && sleep 1 && echo 'show port stats 0' && echo quit) |
        "$1" --no-huge --no-pci --no-shconf -m 256 "--lcores=0@$core,1@$core" --vdev=net_null0,no-rx=1 -- \
            --interactive --auto-start --forward-mode=flowgen --total-num-mbufs=16384 2> /dev/null |
        awk '/Tx-pps/ { rate = $2 } END { print rate / 1e6 }'
}

ours= empty= peer=
for round in 1 2 3 4 5; do
    ours="$ours $(sent "$1")"
    empty="$empty $(sent "$1" --empty)"
    peer="$peer $(flowgen "$2")"
done
median() {
    printf '%s\n' "$@" | sort -g | sed -n 3p
}
row() { # <name> <median of the peer> <ratio at least>
    echo "$1|$(median $ours)|$2|$3" | awk -F '|' '{
        printf "| %s | %.1f | %.1f | %.2f | %.2f%s |\n", $1, $2, $3, $2 / $3, $4, $2 / $3 < $4 ? " (below)" : "" }'
}
printf '\n| sender, million packets a second on one core | ours | peer | ratio | at least |\n|---|---|---|---|---|\n'
row "the same loop without writing a byte" "$(median $empty)" 0.75
row "dpdk-testpmd, flowgen" "$(median $peer)" 1.6
