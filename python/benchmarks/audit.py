"""How long two Dask workers take to audit a capture beside one. The exit status is 1 where that is above 0.7.

The examples are found by PYTHONPATH. Both cores have to be free.
"""

import os
import sys
import tempfile
import time

from distributed import Client, LocalCluster

import distributed_audit
import distributed_capture
from zor_common import Template

LAYERS = "eth / ipv4(src=10.0.0.1..10.0.0.250) / udp(sport=1024..65535, dport=53) / number(4)"
COUNT, TURNS, MOST = 4_000_000, 5, 0.7


def main():
    template = Template.frame(LAYERS)
    clusters = [LocalCluster(n_workers=n, threads_per_worker=1, dashboard_address=None) for n in (1, 2)]
    clients = [Client(cluster) for cluster in clusters]
    fastest = [float("inf")] * 2
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "sent.pcap")
        distributed_capture.render(clients[1], template, path, count=COUNT)
        for _ in range(TURNS):
            for k, client in enumerate(clients):
                start = time.perf_counter()
                audit = distributed_audit.audit_capture(client, template, path, count=COUNT)
                fastest[k] = min(fastest[k], time.perf_counter() - start)
                assert audit.counts.in_order == COUNT
    for client, cluster in zip(clients, clusters):
        client.close()
        cluster.close()
    ratio = fastest[1] / fastest[0]
    print(f"{'audit by two Dask workers':52} {ratio:5.2f} of the time of one, at most {MOST}")
    return int(ratio > MOST)


if __name__ == "__main__":
    sys.exit(main())
