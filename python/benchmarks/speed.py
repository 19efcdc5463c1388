"""How fast the module is beside the library without Python and beside Scapy, in one run.

Each row takes turns with what it is compared with, and the fastest turns of both are compared. The exit status is 1 where
a ratio is beyond its mark. Both cores have to be free for the threads.
"""

import statistics
import subprocess
import sys
import threading
import time

import numpy

from zor_common import Template

LAYERS = (
    "eth(src=02:00:00:00:00:01..02:00:00:ff:ff:ff) / ipv4(src=10.0.0.1..10.0.0.250) / udp(sport=1024..65535, dport=53)"
    " / number(4) / pad(64)"
)
FRAMES, BATCH, TURNS, ROUNDS = 1_000_000, 16384, 10, 5
template = Template.frame(LAYERS)


def fastest(work):
    seconds = []
    for turn in range(ROUNDS):
        start = time.perf_counter()
        work(turn)
        seconds.append(time.perf_counter() - start)
    return min(seconds)


def without_python(threads, memory):
    return float(subprocess.run([sys.argv[1], LAYERS, str(threads), memory, str(ROUNDS)], capture_output=True, check=True).stdout)


array = numpy.empty((FRAMES, 64), "uint8")
rings = [numpy.asarray(template.frames(0, BATCH)) for _ in range(2)]


def into_array(turn):
    template.render_into(array, turn)


def into_fresh(turn):
    numpy.asarray(template.frames(turn, FRAMES))


def by_two_threads(turn):
    def work(ring):
        for first in range(0, 16 * FRAMES, BATCH):
            template.render_into(ring, first)

    threads = [threading.Thread(target=work, args=(ring,)) for ring in rings]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()


def compare(name, work, threads, memory, most):
    turns = [(fastest(work), without_python(threads, memory)) for _ in range(TURNS)]
    ratio = min(own for own, _ in turns) / min(other for _, other in turns)
    print(f"{name:52} {ratio:5.2f} of the C++ time, at most {most}")
    return ratio <= most


def beside_scapy():
    try:
        from scapy.layers.inet import IP, UDP
        from scapy.layers.l2 import Ether
        from scapy.packet import Raw
    except ImportError:
        print("Scapy is not installed, so nothing is compared with it")
        return True
    packet = Ether(dst=template[0][:6], src="02:00:00:00:00:01") / IP(dst="192.168.0.1") / UDP(dport=53) / Raw(bytes(4))
    count = 2000
    ratios = []
    for _ in range(3):
        start = time.perf_counter()
        for k in range(count):
            packet.src = f"02:00:00:00:{k >> 8:02x}:{k & 255:02x}"
            packet[IP].src = f"10.0.0.{k % 250 + 1}"
            packet[UDP].sport = 1024 + k
            packet[Raw].load = k.to_bytes(4, "big")
            bytes(packet)
        scapy = (time.perf_counter() - start) / count
        ratios.append(scapy / (fastest(into_fresh) / FRAMES))
    ratio = statistics.median(ratios)
    print(f"{'frames a second, beside bytes(packet) of Scapy':52} {ratio:5.0f} times as many, at least 500")
    return ratio >= 500


results = [
    compare("a million 64-byte frames into an array that is there", into_array, 1, "there", 1.2),
    compare("a million 64-byte frames as a new array", into_fresh, 1, "fresh", 1.2),
    compare("two threads, 16,384 frames a call", by_two_threads, 2, "there", round(1 / 0.95, 3)),
    beside_scapy(),
]
sys.exit(0 if all(results) else 1)
