#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""zem-exporter under a fleet: processor time a probe, memory, descriptors, threads, beside its peers.

    bench/exporter_fleet.py BUILD_FOLDER [SECONDS]

SECONDS, 60 without it, is the length of the first run; the others take a minute each. BUILD_FOLDER
holds zem, zem-exporter and, built with -DZEM_BUILD_BENCH=ON, bench/exchange_cost.

One agent answers on 1,000 addresses (127.0.A.B), so that the exporter sees as many targets, each asked
for ten checks every 15 seconds over HTTP connections that stay open, as Prometheus asks. Then the same
exchanges by the client's library alone; then, in turn, without and with 200 more addresses that never
take a connection: their backlog is full. Beside it, where they are installed,
prometheus-blackbox-exporter opens one TCP connection to each of the same addresses, and
prometheus-snmp-exporter walks the interfaces of an snmpd on them. The clients run on the same machine
and are not counted; neither are the agent and snmpd.
"""
import http.client
import os
import pathlib
import queue
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

LIVING, DEAD, PERIOD, CLIENTS = 1000, 200, 15, 64
TAIL = 3  # seconds for the last answers
TICK = os.sysconf("SC_CLK_TCK")
# The tables of interfaces of a host, of which the counters become metrics.
INTERFACES = "interfaces:\n  walk: [1.3.6.1.2.1.2, 1.3.6.1.2.1.31.1.1]\n  metrics:\n" + "".join(
    f"  - {{name: {name}, oid: {oid}, type: counter, help: h, indexes: [{{labelname: ifIndex, type: gauge}}]}}\n"
    for name, oid in [(f"if{column}", f"1.3.6.1.2.1.2.2.1.{column}") for column in (10, 11, 13, 14, 16, 17, 19, 20)] +
    [("ifHCInOctets", "1.3.6.1.2.1.31.1.1.1.6"), ("ifHCOutOctets", "1.3.6.1.2.1.31.1.1.1.10")])


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


def write_files(build, work, port, dead_port):
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

    def __init__(self, port, paths, good="probe_success 1\n"):
        self.port, self.paths, self.good = port, paths, good
        self.wanted, self.times, self.bad = queue.Queue(), [], 0
        for _ in range(CLIENTS):
            threading.Thread(target=self.ask, daemon=True).start()

    def ask(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=30)
        while True:
            path, since = self.wanted.get()
            try:
                connection.request("GET", path, headers={"X-Prometheus-Scrape-Timeout-Seconds": "10"})
                if self.good in connection.getresponse().read().decode():
                    self.times.append(time.monotonic() - since)
                else:
                    self.bad += 1
            except (OSError, http.client.HTTPException):
                self.bad += 1
                connection.close()

    def run(self, seconds):
        self.times, self.bad = [], 0
        start = time.monotonic()
        for turn in range(int(seconds / PERIOD)):
            for number, path in enumerate(self.paths):
                at = start + turn * PERIOD + PERIOD * number / len(self.paths)
                time.sleep(max(0, at - time.monotonic()))
                self.wanted.put((path, time.monotonic()))
        time.sleep(TAIL)
        return sorted(self.times)


def times_text(times):
    return f"median {1000 * statistics.median(times):.1f} ms, 99 % {1000 * times[int(len(times) * 0.99)]:.1f} ms"


def measure(name, pid, fleet, seconds):
    fleet.run(PERIOD)  # the first turn: names, memory, who is dead
    before = usage(pid)
    times = fleet.run(seconds)
    after = usage(pid)
    cpu = after["cpu"] - before["cpu"]
    growth = "  ".join(f"{key} {before[key]:.4g} -> {after[key]:.4g}" for key in ("mib", "threads", "files"))
    print(f"{name}: {len(times)} ok, {fleet.bad} not; {1000 * cpu / max(len(times), 1):.3f} ms CPU a probe,"
          f" {100 * cpu / (seconds + TAIL):.1f} % of a core; {growth}; {times_text(times or [0])}", flush=True)


def with_and_without(living, dead):
    """In turn, since other work on the machine comes and goes."""
    times, gone = {False: [], True: []}, 0
    for number in range(8):
        beside = threading.Thread(target=dead.run, args=(PERIOD,))
        if number % 2:
            beside.start()
        times[bool(number % 2)] += living.run(PERIOD)
        if number % 2:
            beside.join()
            gone += dead.bad
    for is_beside, name in ((False, "without"), (True, "with")):
        print(f"the living, {name} {DEAD} dead ones: {len(times[is_beside])} ok, "
              f"{times_text(sorted(times[is_beside]) or [0])}", flush=True)
    print(f"probes of the dead: {gone}", flush=True)


def peers(work, start, living, snmp):
    """The same addresses, each asked for what its exporter is for."""
    for name, text, path, good in (
            ("blackbox", "modules: {tcp: {prober: tcp, timeout: 5s}}\n", "/probe?module=tcp&target=", "probe_success 1\n"),
            ("snmp", INTERFACES, "/snmp?module=interfaces&target=", "ifHCInOctets{")):
        program, port = f"prometheus-{name}-exporter", free_port()
        if not shutil.which(program) or (name == "snmp" and not shutil.which("snmpd")):
            print(f"{program} is not installed")
            continue
        (work / f"{name}.yml").write_text(text)
        if name == "snmp":
            (work / "snmpd.conf").write_text(f"agentaddress udp:0.0.0.0:{snmp}\nrocommunity public\n")
            start("snmpd", "-f", "-C", "-c", work / "snmpd.conf", "-Lo", "-p", work / "snmpd.pid")
        child = start(program, f"--config.file={work}/{name}.yml", f"--web.listen-address=127.0.0.1:{port}")
        time.sleep(2)
        paths = [path + (each.split(":")[0] + f":{snmp}" if name == "snmp" else each) for each in living]
        measure(program, child.pid, Fleet(port, paths, good), 60)


def main():
    build, seconds = pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2]) if len(sys.argv) > 2 else 60
    children = []

    def start(*command):
        children.append(subprocess.Popen(command, cwd=work, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        return children[-1]

    with tempfile.TemporaryDirectory(prefix="zem-fleet-") as folder:
        work = pathlib.Path(folder)
        port, dead_port, exporter, snmp = free_port(), free_port(), free_port(), free_port()
        write_files(build, work, port, dead_port)
        try:
            start(build / "zem", "-i", work / "zem.cfg")
            probed = start(build / "zem-exporter", "--config", work / "exporter.yml", "--listen", f"127.0.0.1:{exporter}")
            time.sleep(2)
            living = [f"127.0.{1 + n // 250}.{1 + n % 250}:{port}" for n in range(LIVING)]
            fleet = Fleet(exporter, [f"/probe?target={each}" for each in living])
            measure("zem-exporter, 1,000 hosts, 10 checks", probed.pid, fleet, seconds)
            if (build / "bench" / "exchange_cost").exists():
                subprocess.run([build / "bench" / "exchange_cost", work / "exporter.yml", str(port)], check=True)
            kept = dead_listeners(dead_port)
            with_and_without(fleet, Fleet(exporter, [
                f"/probe?target=127.0.{200 + n // 200}.{n % 200 + 1}:{dead_port}" for n in range(DEAD)]))
            for each in kept:
                each.close()
            peers(work, start, living, snmp)
        finally:
            for child in children:
                child.terminate()
            for child in children:
                child.wait()


if __name__ == "__main__":
    main()
