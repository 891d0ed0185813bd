#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""zemctl beside many hosts: wall time until all have answered, and what a stopped one costs.

    bench/client_fleet.py BUILD_FOLDER [AGENTS]

As many agents as asked for (500), each a process on an address of its own (127.1.A.B), on this machine:
their time is in the figures. Every agent is asked for the disk of /, 64 at a time. Then one of them is
stopped, then one more address takes no connection; both have a time limit of one second.
"""
import json
import pathlib
import resource
import signal
import statistics
import subprocess
import sys
import tempfile
import time

import exporter_fleet

ROUNDS = 7


def start(build, work, address, port):
    folder = work / address
    folder.mkdir()
    (folder / "zem.cfg").write_text(f"zempath={build}/zem\nhost={address}\nport={port}\npassword=fleet\n"
                                    f"tmpdir={folder}\npidfile={folder}/pid\nunc=1\n")
    (folder / "zem.cfg").chmod(0o600)
    return subprocess.Popen([build / "zem", "-i", folder / "zem.cfg"], cwd=folder, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL)


def ask(command):
    """Milliseconds from the start of zemctl to its end, its own processor time, its output."""
    before, since = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    done = subprocess.run(command, capture_output=True, text=True)
    took, after = time.monotonic() - since, resource.getrusage(resource.RUSAGE_CHILDREN)
    own = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    return 1000 * took, 1000 * own, done


def measure(name, command, failures=0):
    runs = [ask(command) for _ in range(ROUNDS)]
    hosts = json.loads(ask(command + ["-o", "json"])[2].stdout)["hosts"]
    good = [host["elapsed_ms"] for host in hosts if host["ok"]]
    assert len(hosts) - len(good) == failures, f"{len(good)} of {len(hosts)} answered"
    assert all(run[2].stderr.splitlines()[-1].startswith(f"{len(good)} ok") for run in runs)
    walls = [run[0] for run in runs]
    print(f"{name:36} {statistics.median(walls):7.0f} ms wall (most {max(walls):.0f}),"
          f" {statistics.median(run[1] for run in runs):5.0f} ms own CPU,"
          f" slowest answer {max(good):.0f} ms", flush=True)


def main():
    build, agents = pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2]) if len(sys.argv) > 2 else 500
    children = []
    with tempfile.TemporaryDirectory(prefix="zem-fleet-") as folder:
        work = pathlib.Path(folder)
        port = exporter_fleet.free_port()
        addresses = [f"127.1.{1 + n // 250}.{1 + n % 250}" for n in range(agents)]
        (work / "pw").write_text("fleet\n")
        (work / "pw").chmod(0o600)
        (work / "hosts").write_text("".join(f"{address}\n" for address in addresses))
        command = [build / "zemctl", "--password-file", work / "pw", "-p", str(port), "--hosts", work / "hosts",
                   "--parallel", "64", "-t", "1", "disk", "/"]
        try:
            children = [start(build, work, address, port) for address in addresses]
            for _ in range(100):
                if ask(command)[2].returncode == 0:
                    break
                time.sleep(0.1)
            measure(f"{agents} agents", command)
            children[agents // 2].send_signal(signal.SIGSTOP)
            measure("one of them stopped", command, 1)
            dead_port = exporter_fleet.free_port()
            kept = exporter_fleet.dead_listeners(dead_port)
            with open(work / "hosts", "a", encoding="ascii") as hosts:
                hosts.write(f"127.0.200.1:{dead_port}\n")
            measure("and one that takes no connection", command, 2)
            for each in kept:
                each.close()
        finally:
            for child in children:
                child.send_signal(signal.SIGCONT)
                child.terminate()
            for child in children:
                child.wait()


if __name__ == "__main__":
    main()
