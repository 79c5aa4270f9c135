#!/usr/bin/env python3
"""Makes docs/performance.md out of the JSON of zorf_bench and the memory peak.

report.py JSON PEAK: JSON as --benchmark_out writes it, with all repetitions; PEAK holds what
zorf_bench --peak prints.
"""
import json
import statistics
import sys

FS_BLOCK = 4 << 20
SIZES = {"1GiB": 1 << 30, "64GiB": 1 << 36, "1TiB": 1 << 40, "16TiB": 1 << 44}
POLICIES = ["local", "shared", "rackaware", "rackaware-sort"]
TARGETS = ["getFileStatusNative", "getINum", "getLinkTargetNative", "getAclStatus", "getXAttrs",
           "setPermission"]


class Rows:
    """Medians by (name, how, threads), in ns."""

    def __init__(self, runs):
        cpu, real = {}, {}
        for run in runs:
            if run.get("run_type") != "iteration" or run.get("error_occurred"):
                continue
            parts = run["name"].split("/")
            threads = 1
            if parts[-1].startswith("threads:"):
                threads = int(parts.pop()[8:])
            parts.remove("real_time")
            key = ("/".join(parts[:-1]), parts[-1], threads)
            cpu.setdefault(key, []).append(run["cpu_time"])
            real.setdefault(key, []).append(run["real_time"])
        self.cpu = {key: statistics.median(values) for key, values in cpu.items()}
        self.real = {key: statistics.median(values) for key, values in real.items()}

    def get(self, name, how):
        return self.cpu.get((name, how, 1))

    def beyond(self, policy, size):
        """Per block, without what does not depend on how many there are."""
        native = self.get(f"{policy}/{size}", "native") - self.get(f"shared/{size}", "native")
        return native / (SIZES[size] / FS_BLOCK)

    def rates(self, name, how):
        """Millions of calls per second of 1, 2, 4 and 8 threads."""
        return [1e3 / self.real[(name, how, n)] for n in (1, 2, 4, 8)]

    def threaded(self):
        return sorted({name for name, how, threads in self.real if how == "native" and threads == 8})


def ns(value):
    if value is None:
        return "-"
    for unit, scale in (("ms", 1e6), ("µs", 1e3)):
        if value >= scale * 10:
            return f"{value / scale:,.1f} {unit}"
    return f"{value:,.0f} ns" if value >= 10 else f"{value:.1f} ns"


def ratio(a, b):
    return "-" if a is None or not b else f"{a / b:.2f}"


def table(heads, lines):
    out = ["| " + " | ".join(heads) + " |", "|" + "|".join(["---"] + ["---:"] * (len(heads) - 1)) + "|"]
    out += ["| " + " | ".join(line) + " |" for line in lines]
    return "\n".join(out)


def native_table(rows):
    hows = ("native", "bare", "values", "floor", "java")
    return table(["native", "Java call", "bare calls", "crossing", "floor", "plain Java"],
                 [[f"`{name}`"] + [ns(rows.get(name, how)) for how in hows]
                  for name in TARGETS + ["dumpXAttrs"]])


def block_table(rows):
    lines = []
    for policy in POLICIES:
        for size, size_bytes in SIZES.items():
            name, blocks = f"{policy}/{size}", size_bytes / FS_BLOCK
            native, plain = rows.get(name, "native"), rows.get(name, "plain")
            client = rows.get(name, "client")
            lines.append([policy, size, ns(native),
                          "-" if client is None else f"{rows.beyond(policy, size):.2f} ns",
                          "-" if client is None else f"{client / blocks:.2f} ns",
                          f"{rows.get(name, 'values') / blocks:.2f} ns", ns(plain),
                          ratio(plain, native)])
    return table(["policy", "file", "Java call", "per block", "client library", "crossing",
                  "plain version", "plain / Java call"], lines)


def thread_table(rows):
    lines = []
    for name in rows.threaded():
        for how, text in (("native", "Java call"), ("bare", "bare calls")):
            rates = rows.rates(name, how)
            lines.append([f"`{name}`", text] + [f"{rate:.3f}" for rate in rates] +
                         [f"{max(rates) / rates[0]:.2f}"])
    return table(["native", "", "1 thread", "2", "4", "8", "best / 1 thread"], lines)


def call_targets(rows):
    """What is to be reached, the target, what was measured, and whether that is enough."""
    for name in TARGETS:
        native, floor = rows.get(name, "native"), rows.get(name, "floor")
        total = rows.get(name, "bare") + rows.get(name, "values")
        yield f"`{name}` against bare calls + crossing", "≤ 1.15", ratio(native, total), native <= 1.15 * total
        yield f"`{name}` against its floor", "≤ 1.15", ratio(native, floor), native <= 1.15 * floor
    pairs = [(name, rows.get(name, "java") / rows.get(name, "native")) for name, how, _ in rows.cpu
             if how == "java" and rows.get(name, "native")]
    slower = ", ".join(f"`{name}` {times:.2f}" for name, times in pairs if times <= 1)
    yield (f"natives not faster than plain Java, of {len(pairs)} (its time / theirs)", "none", slower or "none",
           not slower)
    status = rows.get("getFileStatusNative", "native")
    for row, of in (("posixFileAttributesOfString", "a String"), ("posixFileAttributes", "a ready Path")):
        attributes = rows.get(row, "java")
        yield (f"status record against `PosixFileAttributes` of {of}", "≤ 1", ratio(status, attributes),
               status <= attributes)
    lstat = rows.get("getFileStatusNative", "bare")
    floor = ns(rows.get("getFileStatusNative", "floor") - lstat)
    yield (f"status record beyond `lstat` (its floor: {floor})", "≤ 250 ns", ns(status - lstat),
           status - lstat <= 250)
    native, bare = rows.get("getAclStatus", "native"), rows.get("getAclStatus", "bare")
    acl = (native - rows.get("getAclStatus", "values")) / bare
    yield (f"`getAclStatus` less its crossing against libacl from C (with it: {ratio(native, bare)})", "≤ 1.3",
           f"{acl:.2f}", acl <= 1.3)
    dump = rows.get("dumpXAttrs", "native") / (
        rows.get("dumpXAttrs", "bare") + rows.get("hashMapOf20", "java"))
    yield ("`dumpXAttrs` of 20 against bare calls and the HashMap made in Java", "≤ 1.3",
           f"{dump:.2f}", dump <= 1.3)


def block_targets(rows):
    for policy, wanted in (("rackaware-sort", 10), ("local", 3)):
        name = f"{policy}/1TiB"
        times = rows.get(name, "plain") / rows.get(name, "native")
        yield (f"{policy}, 1 TiB, against the plain version", f"≥ {wanted} times", f"{times:.1f}",
               times >= wanted)
    name = "local/1TiB"
    array = rows.get(name, "values")
    beyond = (rows.get(name, "plain") - array) / max(
        rows.get(name, "native") - array, rows.get(name, "client"))
    yield "the same without making the Java array", "≥ 3 times", f"{beyond:.1f}", beyond >= 3
    # A local stream above 32 MiB waits in native memory before Java is asked for an array.
    for policy, last, text in (("local", "1TiB", "1 TiB"), ("rackaware-sort", "16TiB", "16 TiB")):
        growth = rows.beyond(policy, last) / rows.beyond(policy, "1GiB")
        yield f"{policy}, time per block, {text} against 1 GiB", "≤ 1.2", f"{growth:.2f}", growth <= 1.2


def thread_target(rows, cores):
    gains = {}
    for name in rows.threaded():
        rates = rows.rates(name, "native")
        gains[name] = max(rates[1:]) / rates[0]
    least = min(gains, key=gains.get)
    wanted = 0.9 * min(cores, 8)
    yield (f"throughput of several threads against one, on {cores} cores (least: `{least}`)",
           f"≥ {wanted:.1f} times", f"{gains[least]:.2f}", gains[least] >= wanted)


def target_table(rows, stream, peak, cores):
    memory = ("native memory for a 1 TiB local stream", "≤ 2.2 times the stream", ratio(peak, stream),
              peak <= 2.2 * stream)
    targets = [*call_targets(rows), *block_targets(rows), *thread_target(rows, cores), memory]
    return table(["", "wanted", "measured", "reached"],
                 [[*texts, "yes" if reached else "**no**"] for *texts, reached in targets])


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        data = json.load(file)
    with open(sys.argv[2], encoding="utf-8") as file:
        stream, peak = (int(word) for word in file.read().split())
    rows, context = Rows(data["benchmarks"]), data["context"]
    load = ", ".join(f"{value:.1f}" for value in context["load_avg"])
    print(f"""# Performance

Made by `./dev bench` on {context["date"][:10]}: {context["num_cpus"]} cores of {context["cpu"]},
{context["kernel"]}, files on {context["file_system"]}, JDK {context["jdk"]}, load average {load} at the
start. [How to read it](#how-to-read-it) is below.

## Targets

{target_table(rows, stream, peak, context["num_cpus"])}

{native_table(rows)}

## Block locations

{block_table(rows)}

## Threads

Millions of calls per second, each thread on files of its own.

{thread_table(rows)}

## How to read it

All of this is measured in one process, in random turns, as medians. Times are of the calling thread's
processor time, which other programs on the machine hardly change, but for threads, which are by the clock
on the wall. Between runs of one day the ratios moved by some 3 % on a machine that has neighbours: what is
that near to its target came out on either side.

- **Java call**: the native, in a loop in Java, with the log off.
- **bare calls**: the system and libacl calls that it must make, in a loop in C++.
- **crossing**: a native that takes the same arguments apart and makes such a result, and nothing else.
- **floor**: a native written for this benchmark that does both and nothing else. Where it is above the sum
  of the two, system calls and the virtual machine push each other out of the processor's caches, and no
  native can do better.
- **plain Java**: what a Java program would use instead, from the same String: `Files.readAttributes`,
  `Files.readSymbolicLink`, `UserDefinedFileAttributeView`, `PosixFileAttributeView`,
  `UserPrincipalLookupService`. What it could only have from a program that it starts, such as ACLs, is not
  compared.
- **Block locations**: blocks of 4 MiB with 3 replicas over 200 locations, HDFS blocks of 128 MiB. The client
  library answers from memory, with one copy, and has other locations for every request, so that the
  processor can't learn the blocks of a small file by heart. "Per block" is per block of the file system,
  beyond what "shared" costs: the switch of identity, open, close and one question. "Client library" and
  "crossing" are parts of it. The plain version counts in a `std::map` and selects from a `std::vector`.

`./dev bench --quick` prints this page for the machine at hand. `./dev bench --check` counts instructions per
call, which no neighbour changes, and fails where they rose by more than 5 %.""")


if __name__ == "__main__":
    main()
