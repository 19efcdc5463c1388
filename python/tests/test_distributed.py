"""The Dask examples: the bytes of the tool with any number of workers, also where one is lost."""

import os
import pathlib
import random
import signal
import struct
import subprocess
import sys
import threading
import time

import pytest
from distributed import Client, LocalCluster

sys.path.insert(0, os.fspath(pathlib.Path(__file__).resolve().parents[2] / "examples"))
import distributed_audit  # noqa: E402
import distributed_capture  # noqa: E402
from zor_common import Audit, Template  # noqa: E402

LAYERS = "eth / ipv4(src=10.0.0.1..10.0.0.250) / udp(sport=1024..65535, dport=53) / number(4)"
COUNT = 200_000


def damage(path, out, template):
    chance, audit = random.Random(5), Audit(template, 0, COUNT)
    with open(path, "rb") as sent, open(out, "wb") as received:
        received.write(sent.read(24))
        while head := sent.read(16):
            packet = sent.read(struct.unpack("<IIII", head)[2])
            fate = chance.random()
            if fate < 0.001:
                continue
            if fate > 0.999:
                packet = chance.randbytes(1000)
                head = head[:8] + struct.pack("<II", 1000, 1000)
            for _ in range(2 if 0.5 < fate < 0.501 else 1):
                received.write(head + packet)
                audit.add(packet)
        received.write(bytes(9))  # cut
    return audit


@pytest.fixture(scope="module")
def files(tmp_path_factory):
    return tmp_path_factory.mktemp("captures")


def kill_one(cluster):
    """Ends a worker that has tasks to do; the cluster's nanny starts another one."""

    def work():
        while not (busy := [worker for worker in list(cluster.scheduler.workers.values()) if worker.processing]):
            time.sleep(0.001)
        os.kill(cluster.workers[busy[0].name].pid, signal.SIGKILL)

    thread = threading.Thread(target=work)
    thread.start()
    return thread


@pytest.mark.parametrize("workers,is_killed", [(1, False), (2, False), (3, False), (2, True)])
def test_captures_and_audits(zor_packets, files, workers, is_killed):
    template = Template.frame(LAYERS)
    made, received = files / f"made-{workers}-{is_killed}.pcap", files / "received.pcap"
    with LocalCluster(
        n_workers=workers, threads_per_worker=1, processes=True, dashboard_address=None
    ) as cluster, Client(cluster) as client:
        client.run(lambda: sys.path.insert(0, os.path.dirname(distributed_capture.__file__)))
        for seed in (None, 7):
            thread = kill_one(cluster) if is_killed and seed is None else None
            distributed_capture.render(client, template, made, count=COUNT, seed=seed, gap=1_000_003, parts=64)
            if thread:
                thread.join()
            expected = files / f"expected-{seed}.pcap"
            if not expected.exists():
                order = [] if seed is None else ["--seed", str(seed)]
                command = [zor_packets, "make", "--frame", LAYERS, "--count", str(COUNT), "--gap", "1000003ns", *order]
                subprocess.run([*command, "-o", expected], check=True)
            assert made.read_bytes() == expected.read_bytes()
            assert not pathlib.Path(f"{made}.part").exists()
        if not received.exists():
            whole = damage(files / "expected-None.pcap", received, template)
            (files / "report").write_text(repr(whole.counts) + repr(whole.missing()))
        thread = kill_one(cluster) if is_killed else None
        audit = distributed_audit.audit_capture(client, template, received, count=COUNT)
        if thread:
            thread.join()
        assert repr(audit.counts) + repr(audit.missing()) == (files / "report").read_text()
