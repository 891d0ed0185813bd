#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Server processor time of a small enciphered request: this agent beside a packaged one with TLS and a
pre-shared key (Debian's zabbix-agent), both on loopback, in turn.

    bench/packaged_peer.py BUILD_FOLDER [REQUESTS]

Each request is a connection of its own, as monitoring servers make them. Needs zabbix_agentd and openssl.
"""
import os
import pathlib
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time


TURNS = 5  # of each server, so that what else the machine does meets all of them


def free_port():
    """Below those that connections get by themselves, as some agents ask for."""
    for port in range(20_000, 30_000):
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", port)) != 0:
                return port
    sys.exit("no free port")


def wait_for(port):
    while True:
        try:
            socket.create_connection(("127.0.0.1", port), 1).close()
            return
        except OSError:
            time.sleep(0.05)


def cpu_seconds(pid):
    """Of a process and its direct children, threads that have ended included."""
    children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
    ticks = 0
    for each in [str(pid), *children]:
        fields = pathlib.Path(f"/proc/{each}/stat").read_text().rsplit(")", 1)[1].split()
        ticks += int(fields[11]) + int(fields[12])
    return ticks / os.sysconf("SC_CLK_TCK")


def write_private(path, text):
    path.touch(0o600)
    path.write_text(text)


class Zem:
    def __init__(self, build, folder, name, request, expected):
        self.name = name
        self.expected = expected
        port = free_port()
        self.config = folder / f"{request[0]}.cfg"
        write_private(self.config, f"zempath={build / 'zem'}\nhost=127.0.0.1\nport={port}\n"
                      f"password={os.urandom(16).hex()}\nfilteractive=1\nfiltermarks=1\nfilterlist=127.0.0.1\n"
                      f"tmpdir={folder}\nlogsuccess=0\nfileexists=1\n"
                      f"pidfile={folder}/{request[0]}.pid\n")
        self.client = [build / "zemctl", "--agent-config", self.config, "raw", *request]
        # A daemon, as the other is silent on its console too.
        subprocess.run([build / "zem", "-d", self.config], stdout=subprocess.DEVNULL, check=True)
        wait_for(port)
        self.pid = int((folder / f"{request[0]}.pid").read_text())

    def end(self):
        os.kill(self.pid, signal.SIGTERM)

    def ask(self):
        reply = subprocess.run(self.client, capture_output=True, check=True).stdout
        assert self.expected in reply, reply


class Tls:
    name = "zabbix_agentd: agent.ping, TLS with a pre-shared key"

    def __init__(self, folder):
        port = free_port()
        key = os.urandom(32).hex()
        write_private(folder / "psk", key + "\n")
        config = folder / "agentd.conf"
        write_private(config, f"LogFile={folder}/agentd.log\nPidFile={folder}/agentd.pid\nServer=127.0.0.1\n"
                      f"ListenIP=127.0.0.1\nListenPort={port}\nAllowRoot=1\nStartAgents=3\nTLSConnect=psk\n"
                      f"TLSAccept=psk\nTLSPSKIdentity=bench\nTLSPSKFile={folder}/psk\n")
        query = b"agent.ping"
        self.request = b"ZBXD\x01" + struct.pack("<Q", len(query)) + query
        self.client = ["openssl", "s_client", "-connect", f"127.0.0.1:{port}", "-psk_identity", "bench", "-psk",
                       key, "-quiet", "-no_ign_eof"]
        self.process = subprocess.Popen(["zabbix_agentd", "-f", "-c", config], stdout=subprocess.DEVNULL)
        wait_for(port)
        self.pid = self.process.pid

    def end(self):
        self.process.terminate()
        self.process.wait()

    def ask(self):
        with subprocess.Popen(self.client, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL) as client:
            client.stdin.write(self.request)
            client.stdin.flush()  # and left open: an end of input would close the connection too soon
            reply = client.stdout.read()
        assert reply.startswith(b"ZBXD\x01") and reply.endswith(b"1"), reply


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    requests = int(sys.argv[2]) if len(sys.argv) > 2 else 1500
    if not shutil.which("zabbix_agentd") or not shutil.which("openssl"):
        sys.exit("zabbix_agentd and openssl are needed for the comparison")
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        servers = [Zem(build, folder, "zem: a file's size and age", ["TEST-FileExists", "/etc/passwd"], b"\nmin\n"),
                   Zem(build, folder, "zem: GetInfo, a reply of 600 bytes", ["GetInfo"], b"AgentName="),
                   Tls(folder)]
        try:
            used = {server.name: 0.0 for server in servers}
            for _ in range(TURNS):
                for server in servers:
                    server.ask()
                    before = cpu_seconds(server.pid)
                    for _ in range(requests // TURNS):
                        server.ask()
                    used[server.name] += cpu_seconds(server.pid) - before
        finally:
            for server in servers:
                server.end()
    costs = {server: seconds / (requests // TURNS * TURNS) * 1e6 for server, seconds in used.items()}
    for server, cost in costs.items():
        print(f"{server:56} {cost:8.0f} us of server processor time a request")
    *mine, other = costs.values()
    if other == 0:
        sys.exit("too few requests to measure")
    print("ratios to the last", *(f"{cost / other:.2f}" for cost in mine))


if __name__ == "__main__":
    main()
