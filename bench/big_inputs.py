#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""The file checks on big inputs: time, peak memory and descriptors of the agent while it works.

    bench/big_inputs.py BUILD_FOLDER [WORK_FOLDER]

Makes, in WORK_FOLDER (one that is named is kept and used again; a temporary one is removed), a folder of 1,000,000 files, one of
100,000, a tree 1,000 levels deep and a file of 4 GiB; starts BUILD_FOLDER/zem on them; asks every file
check with BUILD_FOLDER/zemctl; and prints a row a request. It takes about 6 GiB and three minutes on Linux.
"""
import contextlib
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time

GIB = 1 << 30


def make_files(folder, count, name):
    folder.mkdir(parents=True)
    handle = os.open(folder, os.O_RDONLY)
    for i in range(count):
        os.close(os.open(name % i, os.O_CREAT | os.O_WRONLY, 0o644, dir_fd=handle))
    os.close(handle)


def make_deep(folder, levels):
    """Each level by the descriptor of the one above it: the whole path is longer than a path may be."""
    folder.mkdir()
    here = os.open(folder, os.O_RDONLY)
    for _ in range(levels):
        with os.fdopen(os.open("file", os.O_CREAT | os.O_WRONLY, 0o644, dir_fd=here), "wb") as file:
            file.write(b"x" * 100)
        os.mkdir("d", dir_fd=here)
        below = os.open("d", os.O_RDONLY, dir_fd=here)
        os.close(here)
        here = below
    os.close(here)


def make_big(path):
    block = b"".join(b"line %010d of a log that says nothing\n" % i for i in range(100_000))
    with open(path, "wb") as file:
        written = 0
        while written < 4 * GIB:
            written += file.write(block)


def remove_deep(folder):
    """Level by level from the top: a plain recursive removal meets the limit of a path."""
    while (folder / "d").is_dir():
        (folder / "file").unlink(missing_ok=True)
        os.rename(folder / "d", folder.parent / "deep.next")
        folder.rmdir()
        os.rename(folder.parent / "deep.next", folder)


class Agent:
    def __init__(self, build, work):
        self.client = build / "zemctl"
        self.config = work / "zem.cfg"
        with contextlib.closing(socket.socket()) as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        checks = ("foldersize", "countfiles", "fileexists", "filecrc", "comparefiles")
        self.config.touch(0o600)
        self.config.write_text(
            f"zempath={build / 'zem'}\nhost=127.0.0.1\nport={port}\npassword={os.urandom(12).hex()}\n"
            f"tmpdir={work}\nfilteractive=1\nfilterlist=127.0.0.1\nfiltermarks=1\n"
            + "".join(f"{check}=1\n" for check in checks))
        self.process = subprocess.Popen([build / "zem", "-i", self.config], stdout=subprocess.DEVNULL)
        while self.ask("GetInfo")[0] != 0:
            if self.process.poll() is not None:
                sys.exit("the agent did not start")
            time.sleep(0.05)

    def ask(self, command, *lines):
        done = subprocess.run([self.client, "--agent-config", self.config, "-t", "600", "raw", command, *lines],
                              capture_output=True, check=False)
        return done.returncode, done.stdout

    def figure(self, name):
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith(name + ":"):
                return int(line.split()[1])
        return -1

    def measure(self, title, command, *lines):
        pathlib.Path(f"/proc/{self.process.pid}/clear_refs").write_text("5")  # the peak starts anew
        before = self.figure("VmRSS")
        descriptors = 0
        done = threading.Event()

        def watch():
            nonlocal descriptors
            while not done.wait(0.002):
                descriptors = max(descriptors, len(os.listdir(f"/proc/{self.process.pid}/fd")))

        watcher = threading.Thread(target=watch)
        watcher.start()
        start = time.monotonic()
        code, reply = self.ask(command, *lines)
        seconds = time.monotonic() - start
        done.set()
        watcher.join()
        first = b" ".join(reply.split(b"\n")[:3])[:40].decode(errors="replace")
        print(f"{title:44} {seconds:8.2f} s  peak +{(self.figure('VmHWM') - before) / 1024:7.1f} MiB  "
              f"{descriptors:4} descriptors  {len(reply):9} bytes: {first}"
              + (f" (exit {code})" if code else ""), flush=True)


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    given = len(sys.argv) > 2
    work = pathlib.Path(sys.argv[2]).resolve() if given else pathlib.Path(tempfile.mkdtemp())
    million, hundred, deep, big = (work / name for name in ("million", "hundred", "deep", "big"))
    if not million.exists():
        make_files(million, 1_000_000, "f%07d")
        make_files(hundred, 100_000, "some_file_name_%06d.txt")
        make_deep(deep, 1000)
        make_big(big)
    agent = Agent(build, work)
    try:
        agent.measure("folder size, 1,000,000 files", "TEST-FolderSize", million, "1")
        agent.measure("count of all, 1,000,000 files", "TEST-CountFiles", million, "*", "1", "0", "0")
        agent.measure("count by mask and size, 1,000,000 files", "TEST-CountFiles", million, "*7", "1", "4", "1")
        agent.measure("newest of 1,000,000 files", "TEST-FileExists", f"{million}/%newestfile%",
                      "", "", "", "", "", "1")
        agent.measure("file by wildcards among 1,000,000", "TEST-FileExists", f"{million}/*999999")
        # No longer: the client takes no reply of more than 2,000,000 lines, and these are five a file.
        agent.measure("list of 300,000 files among 1,000,000", "GetFilesList", million, "f0[0-2]*", "1", "1", "1", "1", "1", "1", "1")
        agent.measure("list of 100,000 files", "GetFilesList", hundred, "*", "1", "1", "1", "1", "1", "1", "1")
        agent.measure("folder size, 1,000 levels", "TEST-FolderSize", deep, "1")
        agent.measure("count, 1,000 levels", "TEST-CountFiles", deep, "*", "1", "0", "0")
        agent.measure("count of folders, 1,000 levels", "TEST-CountFiles", deep, "*", "1", "5", "0")
        for number, name in enumerate(("CRC-32", "MD5", "SHA-256", "SHA-512")):
            agent.measure(f"{name} of 4 GiB", "TEST-FileHash", big, str(number), "0")
        agent.measure("search of a rare word in 4 GiB", "TEST-FileCompare", "3", big, "never there", "1")
        agent.measure("comparison of 4 GiB with itself", "TEST-FileCompare", "1", big, big, "0", "0", "1")
    finally:
        agent.process.kill()
        agent.process.wait()
        if not given:
            remove_deep(deep)
            shutil.rmtree(work)


if __name__ == "__main__":
    main()
