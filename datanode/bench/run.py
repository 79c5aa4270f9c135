#!/usr/bin/env -S python3 -B
"""Measures the DataNode beside Apache's, both with their NameNodes, and writes docs/performance-datanode.md.

run.py [--size GIB] [--rounds N]: a large file of so many GiB (4), and so many rounds (3).
run.py --quick: takes some minutes, prints the page and writes no file. Called as ./dev datanode bench.
"""
import argparse
import json
import os
import pathlib
import platform
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import report
from services import TREE, Apaches, Ours, classpath, hdfs, java

GIB = 1 << 30
PIECE = 128 << 10
STREAMS = (1, 4, 16)


def load(scratch, pairs, size, files, rounds):
    command = [java(), "-cp", f"{TREE}/namenode/conf:{classpath()}", TREE / "datanode/bench/Load.java",
               scratch, str(size), str(files), str(rounds), *(pair.for_load() for pair in pairs)]
    with open(scratch / "load.log", "wb") as log:
        run = subprocess.run(command, stdout=subprocess.PIPE, stderr=log, text=True)
    if run.returncode:
        sys.exit((scratch / "load.log").read_text())
    names = ("round", "part", "streams", "service", "operations", "bytes", "seconds", "datanode", "namenode",
             "client", "median", "p99")
    rows = [dict(zip(names, line.split("\t"))) for line in run.stdout.splitlines()]
    return [{name: value if name in ("part", "service") else float(value) for name, value in row.items()}
            for row in rows]


def processor_seconds(process):
    stat = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rpartition(")")[2].split()
    return (int(stat[11]) + int(stat[12])) / os.sysconf("SC_CLK_TCK")


def commands(scratch, pairs, size, rounds):
    """hdfs dfs -put and -cat, a virtual machine for each."""
    source = scratch / "source"
    with open(source, "wb") as file:
        file.truncate(size)  # holes: reading them costs next to nothing
    rows = []

    def measure(number, pair, part, *arguments, **options):
        server, client = processor_seconds(pair.datanode), resource.getrusage(resource.RUSAGE_CHILDREN)
        start = time.monotonic()
        hdfs(pair.uri, "dfs", "-D", "dfs.client.block.write.locateFollowingBlock.initial.delay.ms=2", *arguments,
             **options)
        seconds = time.monotonic() - start
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        rows.append({
            "round": number, "part": part, "streams": 1, "service": pair.name, "operations": 1, "bytes": size,
            "seconds": seconds, "datanode": processor_seconds(pair.datanode) - server,
            "client": after.ru_utime + after.ru_stime - client.ru_utime - client.ru_stime})

    for number in range(rounds):
        for pair in pairs if number % 2 == 0 else pairs[::-1]:
            free = shutil.disk_usage(scratch).free
            measure(number, pair, "-put", "-put", str(source), "/bench/large")
            measure(number, pair, "-cat", "-cat", "/bench/large", stdout=subprocess.DEVNULL)
            hdfs(pair.uri, "dfs", "-rm", "-skipTrash", "/bench/large", stdout=subprocess.DEVNULL)
            for _ in range(300):
                if shutil.disk_usage(scratch).free > free - size // 20:
                    break
                time.sleep(0.1)
    return rows


def socket_limit(size):
    run = subprocess.run([sys.executable, TREE / "datanode/bench/socket_limit.py", str(size),
                          *map(str, STREAMS)], stdout=subprocess.PIPE, text=True, check=True)
    names = ("streams", "bytes", "seconds", "sender", "receiver")
    return [dict(zip(names, map(float, line.split("\t")))) for line in run.stdout.splitlines()]


def file_limit(directory, size):
    """Processor seconds of writing a new file and of reading it, without anybody to send it to."""
    piece = os.urandom(PIECE)
    buffer = bytearray(PIECE)
    times = []
    with tempfile.TemporaryFile(dir=directory) as file:

        def timed(call):
            start = time.process_time()
            for at in range(0, size, PIECE):
                call(at)
            times.append(time.process_time() - start)

        # Twice: the memory may have to come from the host of a virtual machine, the first time.
        for _ in range(2):
            file.truncate(0)
            timed(lambda at: os.pwrite(file.fileno(), piece, at))
        timed(lambda at: os.preadv(file.fileno(), [buffer], at))
    return {"bytes": size, "write": times[1], "read": times[2]}


def memory(pair):
    """Resident bytes of the DataNode: now, and the most so far."""
    status = pathlib.Path(f"/proc/{pair.datanode.pid}/status").read_text()
    return [int(re.search(rf"{name}:\s+(\d+)", status).group(1)) * 1024 for name in ("VmRSS", "VmHWM")]


def machine():
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    memory_total = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES")
    version = subprocess.run([java(), "-version"], stderr=subprocess.PIPE, text=True).stderr.split('"')[1]
    return {"date": time.strftime("%Y-%m-%d", time.gmtime()), "cores": os.cpu_count(),
            "processor": model.group(1) if model else platform.machine(), "memory": memory_total,
            "kernel": f"Linux {platform.release()}", "java": version, "load": os.getloadavg()}


def measure_at(directory, size, files, rounds, with_commands):
    """The services on a file system, and what is measured of them there."""
    free = shutil.disk_usage(directory).free
    if free < 2.5 * size:
        sys.exit(f"bench: {directory} has {free / GIB:.1f} GiB free, and takes {2.5 * size / GIB:.1f}; see --size")
    file = file_limit(directory, size)
    scratch = pathlib.Path(tempfile.mkdtemp(prefix="zorf-bench-", dir=directory))
    scratch.chmod(0o755)
    pairs = [Ours(scratch), Apaches(scratch)]
    try:
        for pair in pairs:
            pair.start()
        idle = {pair.name: memory(pair)[0] for pair in pairs}
        rows = load(scratch, pairs, size, files, rounds)
        result = {"rows": rows, "size": size, "files": files, "rounds": rounds, "file": file,
                  "memory": {pair.name: [idle[pair.name], memory(pair)[1]] for pair in pairs}}
        if with_commands:
            result["commands"] = commands(scratch, pairs, size, (rounds + 1) // 2)
        return result
    finally:
        for pair in pairs:
            pair.stop()
        shutil.rmtree(scratch)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--size", type=float, default=4)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--json", type=pathlib.Path, help="keeps the raw figures")
    options = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended"))  # and the services with it
    size, files, rounds = int(options.size * GIB), 1000, options.rounds
    if options.quick:
        size, files, rounds = GIB // 4, 500, 1
    result = machine()
    result["socket"] = socket_limit(size)
    result["tmpfs"] = measure_at("/dev/shm", size, files, rounds, True)
    result["page cache"] = measure_at("/var/tmp", size // 8, files, rounds, False)
    result["load_after"] = os.getloadavg()
    if options.json:
        options.json.write_text(json.dumps(result))
    page = report.page(result)
    if options.quick:
        print(page)
    else:
        (TREE / "docs/performance-datanode.md").write_text(page + "\n")
        print("written: docs/performance-datanode.md")


if __name__ == "__main__":
    main()
