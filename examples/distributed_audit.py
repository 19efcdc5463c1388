"""Audits a capture over a Dask cluster: parts of it in parallel, merged at the end.

Each task reads its own part of the file and returns an Audit of it. The counts of lost, duplicated, changed and foreign
packets are the same as without parts. A late packet counts as in order if the packets that overtook it are in an earlier
part.
"""

import argparse
import mmap
import os
import struct

import numpy
from distributed import Client, LocalCluster

from zor_common import Audit, Template

MAGICS = {0xA1B23C4D: "<", 0xA1B2C3D4: "<", 0x4D3CB2A1: ">", 0xD4C3B2A1: ">"}
BLOCK = 1 << 16  # packets that are audited at once
START = 24  # of the first packet, behind the header of the file
CHAIN = 16  # packets in a row that tell where one begins


def find_packet(data, record, border):
    """The first packet at or after a border: where its header, and those of the packets after it, are plausible."""
    longest = max(262144, struct.unpack_from(record.format[0] + "I", data, 16)[0])
    for start in range(border, min(border + 16 + longest, len(data))):
        at = start
        for _ in range(CHAIN):
            if at + 16 > len(data):
                break
            _, fraction, size, whole = record.unpack_from(data, at)
            if fraction >= 10**9 or size > whole or whole > longest:
                break
            at += 16 + size
        else:
            return start
        if at == len(data):
            return start
    return len(data)


def audit_part(template, first, count, path, border, end, start=None):
    """An Audit of the packets between two borders, the start of the first packet and the end of the last one."""
    audit = Audit(template, first, count)
    with open(path, "rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as data:
        record = struct.Struct(MAGICS[struct.unpack_from("<I", data)[0]] + "IIII")
        at = start = find_packet(data, record, border) if start is None else start
        unpack = record.unpack_from
        while at < end:
            offsets, sizes = [], []
            while at < end and len(offsets) < BLOCK:
                size = unpack(data, at)[2] if at + 16 <= len(data) else len(data)
                if at + 16 + size > len(data):  # the file was cut
                    at = len(data)
                    break
                offsets.append(at + 16)
                sizes.append(size)
                at += 16 + size
            audit.add_at(data, numpy.array(offsets, "uint64"), numpy.array(sizes, "uint64"))
    return audit, start, at


def audit_capture(client, template, path, *, first=0, count, parts=16):
    """The Audit of a whole capture."""
    path = os.path.abspath(path)
    with open(path, "rb") as file:
        magic = file.read(4)
    if len(magic) < 4 or struct.unpack("<I", magic)[0] not in MAGICS:
        raise ValueError(f"{path} is no pcap file")
    size = os.path.getsize(path)
    edges = [START + (size - START) * k // parts for k in range(parts + 1)]
    tasks = [
        client.submit(audit_part, template, first, count, path, a, b, START if a == START else None, pure=False)
        for a, b in zip(edges, edges[1:])
    ]
    merged, expected = Audit(template, first, count), START
    for end, task in zip(edges[1:], tasks):
        audit, start, behind = task.result()
        if start != expected:  # bytes of a packet looked like headers, or one packet is longer than a part
            audit, _, behind = client.submit(
                audit_part, template, first, count, path, expected, end, expected, pure=False
            ).result()
        merged.merge(audit)
        expected = behind
    return merged


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("layers", help="of the packets that were sent")
    parser.add_argument("path", help="the capture, a pcap file")
    parser.add_argument("--count", type=int, required=True, help="how many packets were sent")
    parser.add_argument("--workers", type=int, default=2, help="processes on this machine (2)")
    parser.add_argument("--scheduler", help="address of a cluster that runs, in place of processes on this machine")
    arguments = parser.parse_args()
    cluster = arguments.scheduler or LocalCluster(
        n_workers=arguments.workers, threads_per_worker=1, processes=True, dashboard_address=None
    )
    with Client(cluster) as client:
        audit = audit_capture(client, Template.frame(arguments.layers), arguments.path, count=arguments.count)
    for name, number in audit.counts.as_dict().items():
        print(f"{name.replace('_', ' '):13} {number}")
    for run in audit.missing(5):
        print(f"from {run.start}, {len(run)} missing")
    if not arguments.scheduler:
        cluster.close()


if __name__ == "__main__":
    main()
