"""Renders one capture over a Dask cluster, part by part.

A task is a function of template, seed and index range, and writes its own bytes into a file that all workers share. So
the file is the same with any number of workers, and if a worker is lost, others do its tasks again.
"""

import argparse
import os
import struct

import numpy
from distributed import Client, LocalCluster, as_completed

from zor_common import Order, Template

HEADER = struct.pack("<IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, 262144, 1)  # pcap with nanoseconds, Ethernet
BLOCK = 65536  # frames that are rendered at once


def render_part(template, seed, count, gap, path, first, size):
    """Writes the frames at positions first to first + size - 1 of a capture, each with the time of its position."""
    packets = template if seed is None else template.shuffled(Order(count, seed))
    record = numpy.dtype([("head", "<u4", 4), ("frame", "u1", template.max_size)])
    for start in range(first, first + size, BLOCK):
        positions = numpy.arange(start, min(start + BLOCK, first + size), dtype="uint64")
        records = numpy.empty(len(positions), record)
        times = positions * numpy.uint64(gap)
        records["head"] = template.max_size
        records["head"][:, 0] = times // 10**9
        records["head"][:, 1] = times % 10**9
        packets.render_into(records["frame"], start)
        with open(path, "r+b") as file:
            file.seek(len(HEADER) + start * record.itemsize)
            file.write(records)
    return first


def render(client, template, path, *, count, seed=None, gap=1000, parts=16):
    """Renders a capture. The file gets its name when it is complete."""
    if not template.is_fixed_size:
        raise ValueError("a capture in parts needs a template whose values all have one size")
    unfinished = f"{path}.part"
    with open(unfinished, "wb") as file:
        file.write(HEADER)
        file.truncate(len(HEADER) + count * (16 + template.max_size))
    edges = [count * k // parts for k in range(parts + 1)]
    tasks = [
        client.submit(render_part, template, seed, count, gap, os.path.abspath(unfinished), a, b - a, pure=False)
        for a, b in zip(edges, edges[1:])
    ]
    for task in as_completed(tasks):
        task.result()
    os.replace(unfinished, path)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("layers", help="such as eth / ipv4(src=10.0.0.1..10.0.0.250) / udp(dport=53) / number(4)")
    parser.add_argument("path", help="the capture")
    parser.add_argument("--count", type=int, default=1000000, help="how many frames (1000000)")
    parser.add_argument("--seed", type=int, help="of their order")
    parser.add_argument("--workers", type=int, default=2, help="processes on this machine (2)")
    parser.add_argument("--scheduler", help="address of a cluster that runs, in place of processes on this machine")
    arguments = parser.parse_args()
    cluster = arguments.scheduler or LocalCluster(
        n_workers=arguments.workers, threads_per_worker=1, processes=True, dashboard_address=None
    )
    with Client(cluster) as client:
        template = Template.frame(arguments.layers)
        render(client, template, arguments.path, count=arguments.count, seed=arguments.seed)
    print(f"{arguments.count} frames of {template.max_size} bytes are in {arguments.path}")
    if not arguments.scheduler:
        cluster.close()


if __name__ == "__main__":
    main()
