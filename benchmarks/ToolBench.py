"""Measures zor-packets beside trafgen and dd, which write as many frames and as many bytes to the same place.

Arguments: the program, and a directory that is kept in memory (/dev/shm). Each time is the best of several runs, in
turn, so that all programs meet the same machine.
"""

import os
import shutil
import subprocess
import sys
import tempfile
import time

TOOL = os.path.abspath(sys.argv[1])
SCRATCH = tempfile.mkdtemp(dir=sys.argv[2] if len(sys.argv) > 2 else "/dev/shm")
COUNT = 10_000_000
RUNS = 5
# 64 bytes with an address, a port and a number that count, and with both checksums.
FRAME = ("eth / ipv4(src=10.0.0.1..10.0.0.250, dst=192.168.0.1) / udp(sport=1024..65535, dport=53) / number(4) / "
         "fill(18)")
TRAFGEN = """{
  0x02, 0, 0, 0, 0, 0x02, 0x02, 0, 0, 0, 0, 0x01, 0x08, 0,
  0x45, 0, 0, 50, 0, 0, 0x40, 0, 0x40, 0x11, csumip(14, 33), 10, 0, 0, dinc(1, 250), 192, 168, 0, 1,
  dinc(4, 255), dinc(0, 255), 0, 53, 0, 30, csumudp(14, 34),
  dinc(0, 255), dinc(0, 255), dinc(0, 255), dinc(0, 255), fill(0, 18),
}
"""


def timed(command, written=None):
    """The seconds that a command takes. What it has written goes before the next one, outside of the measured time."""
    start = time.monotonic()
    subprocess.run(command, cwd=SCRATCH, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
    seconds = time.monotonic() - start
    if written:
        os.unlink(os.path.join(SCRATCH, written))
    return seconds


def memory(count):
    """The KiB that a run has had in memory at most."""
    process = subprocess.Popen([TOOL, "make", "--frame", FRAME, "--count", str(count), "-o", "/dev/null", "--format", "pcap"])
    most = 0
    while process.poll() is None:
        with open(f"/proc/{process.pid}/status") as status:
            most = max([most] + [int(line.split()[1]) for line in status if line.startswith("VmHWM")])
    return most


def main():
    with open(os.path.join(SCRATCH, "frames.cfg"), "w") as out:
        out.write(TRAFGEN)
    make = [TOOL, "make", "--frame", FRAME, "--count", str(COUNT)]
    writers = {"zor-packets make": (make + ["-o", "made.pcap"], "made.pcap"),
               "dd bs=1M": (["dd", "if=/dev/zero", "of=zeros", "bs=1M", f"count={80 * COUNT >> 20}"], "zeros")}
    if shutil.which("trafgen"):
        writers["trafgen"] = (["trafgen", "--in", "frames.cfg", "--out", "sent.pcap", "--num", str(COUNT)], "sent.pcap")
    else:
        print("trafgen is not installed")
    best = {}
    for _ in range(RUNS):
        for name, (command, written) in writers.items():
            best[name] = min(best.get(name, 1e9), timed(command, written))
    for name, seconds in best.items():
        ratio = best["zor-packets make"] / seconds
        print(f"{name:28} {COUNT:9} frames of 64 bytes  {seconds:6.2f} s   make takes {ratio:5.2f} of it")

    subprocess.run(make + ["-o", "read.pcap"], cwd=SCRATCH, check=True)
    verify = [TOOL, "verify", "--frame", FRAME, "--count", str(COUNT), "read.pcap"]
    seconds = min(timed(verify) for _ in range(RUNS))
    print(f"{'zor-packets verify':28} {COUNT / seconds / 1e6:9.1f} million packets a second from the page cache")

    start = min(timed([TOOL, "make", "-e", "x", "--count", "1"]) for _ in range(10 * RUNS))
    print(f"{'start-up':28} {1000 * start:9.1f} ms, the program that starts it included")
    print(f"{'memory':28} {memory(COUNT):9} KiB for {COUNT} frames, {memory(10 * COUNT)} KiB for ten times as many")


if __name__ == "__main__":
    try:
        main()
    finally:
        shutil.rmtree(SCRATCH)
