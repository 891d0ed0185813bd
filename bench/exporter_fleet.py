#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""zem-exporter under a fleet: processor time a probe, memory, descriptors, threads, beside a peer.

    bench/exporter_fleet.py BUILD_FOLDER [SECONDS]

One agent answers on 1,000 addresses (127.0.A.B), so that the exporter sees as many targets, each asked
for ten checks every 15 seconds over HTTP connections that stay open, as Prometheus asks. 200 more
addresses take connections never: their backlog is full. Beside it, where it is installed,
prometheus-blackbox-exporter opens one TCP connection to each of the same addresses, in the same run.
The clients run on the same machine and are not counted.
"""
import http.client
import os
import pathlib
import queue
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

LIVING, DEAD, PERIOD, CLIENTS = 1000, 200, 15, 64
TICK = os.sysconf("SC_CLK_TCK")


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def usage(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    figure = {line.split(":")[0]: line.split()[1] for line in status.splitlines() if ":" in line and line.split()[1:]}
    return {"cpu": (int(fields[11]) + int(fields[12])) / TICK, "mib": int(figure["VmRSS"]) / 1024,
            "threads": int(figure["Threads"]), "files": len(os.listdir(f"/proc/{pid}/fd"))}


def dead_listeners(port):
    """Sockets whose backlog is full: the system drops what else would connect."""
    kept = []
    for number in range(DEAD):
        address = (f"127.0.{200 + number // 200}.{number % 200 + 1}", port)
        listener = socket.socket()
        listener.bind(address)
        listener.listen(0)
        kept.append(listener)
        for _ in range(2):
            filler = socket.socket()
            filler.setblocking(False)
            filler.connect_ex(address)
            kept.append(filler)
    return kept


class Fleet:
    """Asks for every path once a period, spread evenly, as a server that scrapes does."""

    def __init__(self, port, paths):
        self.port, self.paths = port, paths
        self.wanted, self.times, self.bad = queue.Queue(), [], 0
        self.own = []  # what the exporter says it took
        for _ in range(CLIENTS):
            threading.Thread(target=self.ask, daemon=True).start()

    def ask(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=30)
        while True:
            path, since = self.wanted.get()
            try:
                connection.request("GET", path, headers={"X-Prometheus-Scrape-Timeout-Seconds": "10"})
                body = connection.getresponse().read().decode()
                if "probe_success 1\n" in body:
                    self.own.append(float(body.split("\nprobe_duration_seconds ")[1].split("\n")[0]))
                    self.times.append(time.monotonic() - since)
                else:
                    self.bad += 1
            except (OSError, http.client.HTTPException):
                self.bad += 1
                connection.close()

    def run(self, seconds):
        self.times, self.bad, self.own = [], 0, []
        start = time.monotonic()
        for turn in range(int(seconds / PERIOD)):
            for number, path in enumerate(self.paths):
                at = start + turn * PERIOD + PERIOD * number / len(self.paths)
                time.sleep(max(0, at - time.monotonic()))
                self.wanted.put((path, time.monotonic()))
        time.sleep(3)


def measure(name, pid, port, paths, seconds, checks):
    fleet = Fleet(port, paths)
    fleet.run(PERIOD)  # the first turn: names, memory, who is dead
    before = usage(pid)
    fleet.run(seconds)
    after = usage(pid)
    done = len(fleet.times)
    cpu = after["cpu"] - before["cpu"]
    slow = sorted(fleet.own)[int(done * 0.99)] if done else 0
    print(f"{name:44} {done:6} ok {fleet.bad:5} not  {1000 * cpu / max(done + fleet.bad, 1):7.3f} ms CPU a probe"
          f" ({checks} connections)  {100 * cpu / (seconds + 3):5.1f} % of a core  {after['mib']:6.1f} MiB"
          f"  threads {before['threads']} -> {after['threads']}  files {before['files']} -> {after['files']}"
          f"  probe median {1000 * statistics.median(fleet.own or [0]):.1f} ms, 99 % {1000 * slow:.1f} ms", flush=True)


def main():
    build, seconds = pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2]) if len(sys.argv) > 2 else 60
    children = []
    with tempfile.TemporaryDirectory(prefix="zem-fleet-") as folder:
        work = pathlib.Path(folder)
        port, dead_port, exporter, peer = free_port(), free_port(), free_port(), free_port()
        (work / "tmp").mkdir()
        (work / "file").write_text("hello world\n")
        (work / "zem.cfg").write_text(
            f"zempath={build}/zem\nport={port}\npassword=fleet\ntmpdir={work}/tmp\npidfile={work}/pid\n"
            "filteractive=1\nfiltermarks=1\nfilterlist=127.0.0.1\nunc=1\nfileexists=1\ncountfiles=1\n"
            "foldersize=1\ncomparefiles=1\nfilecrc=1\n")
        (work / "pw").write_text("fleet\n")
        for each in ("zem.cfg", "pw"):
            (work / each).chmod(0o600)
        (work / "exporter.yml").write_text(f"""
auths: {{a: {work}/pw}}
targets: [{{match: 127.0.0.0/16, auth: a, ports: [{port}, {dead_port}]}}]
modules:
  default:
    - disk: {{paths: [/, /usr, /tmp, {work}]}}
    - exists: {{paths: [/etc/passwd, /etc/hosts]}}
    - count: {{folder: {work}}}
    - du: {{paths: [{work}]}}
    - contains: {{path: {work}/file, text: world}}
    - hash: {{path: {work}/file, algorithm: md5, expect: 6f5902ac237024bdd0c176cb93063dc4}}
""")
        quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        try:
            children.append(subprocess.Popen([build / "zem", "-i", work / "zem.cfg"], cwd=work, **quiet))
            children.append(subprocess.Popen([build / "zem-exporter", "--config", work / "exporter.yml",
                                              "--listen", f"127.0.0.1:{exporter}"], **quiet))
            time.sleep(2)
            living = [f"127.0.{1 + n // 250}.{1 + n % 250}:{port}" for n in range(LIVING)]
            paths = [f"/probe?target={each}" for each in living]
            measure("zem-exporter, 1,000 hosts, 10 checks", children[1].pid, exporter, paths, seconds, 11)
            kept = dead_listeners(dead_port)
            mixed = paths[:]
            for n in range(DEAD):
                mixed.insert(n * 6, f"/probe?target=127.0.{200 + n // 200}.{n % 200 + 1}:{dead_port}")
            measure("the same and 200 dead ones", children[1].pid, exporter, mixed, seconds, 11)
            for each in kept:
                each.close()
            try:
                (work / "blackbox.yml").write_text("modules: {tcp: {prober: tcp, timeout: 5s}}\n")
                children.append(subprocess.Popen(["prometheus-blackbox-exporter", f"--config.file={work}/blackbox.yml",
                                                  f"--web.listen-address=127.0.0.1:{peer}"], **quiet))
                time.sleep(2)
                measure("prometheus-blackbox-exporter, one connection", children[2].pid, peer,
                        [f"/probe?module=tcp&target={each}" for each in living], seconds, 1)
            except FileNotFoundError:
                print("prometheus-blackbox-exporter is not installed")
        finally:
            for child in children:
                child.terminate()
            for child in children:
                child.wait()


if __name__ == "__main__":
    main()
