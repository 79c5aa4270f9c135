#!/usr/bin/env python3
"""Makes docs/performance.md out of the JSON of zorf_bench, the memory peaks and the profile.

report.py JSON PEAKS [PROFILE]: JSON as --benchmark_out writes it, with all repetitions; PEAKS holds
lines "policy size streamBytes peakBytes", PROFILE what profile.sh prints.
"""
import json
import statistics
import sys

FS_BLOCK = 4 << 20
SIZES = {"1GiB": 1 << 30, "64GiB": 1 << 36, "1TiB": 1 << 40, "16TiB": 1 << 44}
POLICIES = ["local", "shared", "rackaware", "rackaware-sort"]
TARGETS = ["getFileStatusNative", "getINum", "getLinkTargetNative", "getAclStatus", "getXAttrs",
           "setPermission"]
FORKS = {"getAclStatus", "setAcl", "modifyAclEntries", "removeAclEntries", "removeDefaultAcl",
         "removeAcl", "getLocatedFileStatusNative", "getBlockSizeNative"}


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

    def get(self, name, how, threads=1):
        # The time of a forked program is not the caller's: by the clock on the wall.
        forked = how == "java" and name in FORKS
        return (self.real if forked else self.cpu).get((name, how, threads))

    def names(self):
        return sorted({name for name, how, _ in self.cpu if how == "native" and "/" not in name})


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


def verdict(reached):
    return "yes" if reached else "**no**"


def native_table(rows):
    lines = []
    for name in rows.names():
        native, bare = rows.get(name, "native"), rows.get(name, "bare")
        values, java = rows.get(name, "values"), rows.get(name, "java")
        lines.append([f"`{name}`", ns(native), ns(bare), ns(rows.get(name, "empty")), ns(values),
                      ratio(native, (bare or 0) + values), ns(java),
                      ratio(java, native)])
    return table(["native", "Java call", "(a) bare calls", "(b) empty native", "(b') arguments taken",
                  "Java call / (a + b')", "(c) plain Java", "(c) / Java call"], lines)


def floor_table(rows):
    lines = []
    for name in TARGETS + ["dumpXAttrs"]:
        native, floor = rows.get(name, "native"), rows.get(name, "floor")
        total = rows.get(name, "bare") + rows.get(name, "values")
        lines.append([f"`{name}`", ns(native), ns(total), ratio(native, total), ns(floor),
                      ratio(native, floor), ratio(floor, total)])
    return table(["native", "Java call", "(a) + (b')", "ratio", "floor", "Java call / floor",
                  "floor / (a + b')"], lines)


def block_table(rows):
    lines = []
    for policy in POLICIES:
        for size, size_bytes in SIZES.items():
            name, blocks = f"{policy}/{size}", size_bytes / FS_BLOCK
            native, client = rows.get(name, "native"), rows.get(name, "client")
            plain, values = rows.get(name, "plain"), rows.get(name, "values")
            own = native - (client or 0)
            beyond = native - rows.get(f"shared/{size}", "native")
            lines.append([policy, size, ns(native), f"{native / blocks:.2f} ns",
                          "-" if policy == "shared" else f"{beyond / blocks:.2f} ns",
                          "-" if client is None else f"{client / blocks:.2f} ns",
                          f"{values / blocks:.2f} ns", ns(plain),
                          ratio(plain, native),
                          "-" if plain is None else ratio(plain - client, own)])
    return table(["policy", "file", "Java call", "per block", "per block beyond open and close",
                  "of it client library",
                  "of it crossing", "plain version", "plain / Java call",
                  "the same beyond the client's share"], lines)


def thread_table(rows):
    lines = []
    for name in rows.names():
        for how in ("native", "bare"):
            if ("%s" % name, how, 8) not in rows.real:
                continue
            rates = [1e3 / rows.real[(name, how, n)] for n in (1, 2, 4, 8)]
            lines.append([f"`{name}`", "Java call" if how == "native" else "bare calls"] +
                         [f"{rate:.3f}" for rate in rates] + [f"{max(rates) / rates[0]:.2f}"])
    return table(["native", "", "1 thread", "2", "4", "8", "best / 1 thread"], lines)


def level_table(rows):
    lines = []
    for name in rows.names():
        if rows.get(name, "trace") is None:
            continue
        lines.append([f"`{name}`"] + [ns(rows.get(name, how)) for how in ("native", "debug", "trace")])
    return table(["native", "off", "debug", "trace"], lines)


def peak_table(peaks):
    lines = []
    for policy, size, stream, peak in peaks:
        lines.append([policy, size, f"{stream:,}", f"{peak:,}", ratio(peak, stream)])
    return table(["policy", "file", "stream, bytes", "native peak, bytes", "ratio"], lines)


PROFILE_TEXT = """Shares of samples (`perf record -e cpu-clock`), times of the table above. What keeps a target from being
reached, or a time from being shorter, stands in the columns that are not this library's:

- **(a) + (b') and 15 %.** The kernel's share is larger in the Java call than in the loop of bare calls, and
  as large in the floor: it is the same system call, in caches and branch predictors that the virtual
  machine has used meanwhile. The virtual machine's share is larger than in (b') for the same reason.
- **Faster than plain Java.** What both must do takes most of the time: to look up a user or group is the
  C library's reading of its files, to change a mode the kernel's work, to find a mount the kernel's writing
  of its table.
- **local, 1 TiB.** Not sampled: "of it crossing" below is the time of a native that only makes the array
  of the result, and beside it nearly nothing is left. JNI has no array that is not zeroed first."""


def profile_text(rows, profile):
    if not profile:
        return "No profile: perf could not sample on this machine."
    return PROFILE_TEXT + "\n\n" + profile_table(rows, profile)


PLACES = ["kernel", "libacl", "libc", "jvm", "library", "benchmark"]
HOWS = {"bare": "bare calls", "values": "(b')", "floor": "floor", "native": "Java call",
        "java": "plain Java"}


def profile_table(rows, profile):
    lines = []
    for (name, how), shares in profile.items():
        total = rows.get(name, how)
        lines.append([f"`{name}`", HOWS[how], ns(total)] +
                     [ns(shares[place] / 100 * total) if shares.get(place, 0) >= 0.1 else "-"
                      for place in PLACES])
    return table(["native", "", "in all", "kernel", "libacl", "C library", "virtual machine",
                  "`libzorfhadoop`", "benchmark"], lines)


def target_table(rows, peaks, cores):
    lines = []

    def add(what, wanted, value, reached):
        lines.append([what, wanted, value, verdict(reached)])

    for name in TARGETS:
        native = rows.get(name, "native")
        total, floor = rows.get(name, "bare") + rows.get(name, "values"), rows.get(name, "floor")
        add(f"`{name}` against (a) + (b')", "≤ 1.15", ratio(native, total), native <= 1.15 * total)
        add(f"`{name}` against its floor", "≤ 1.15", ratio(native, floor), native <= 1.15 * floor)
    slower = {name: rows.get(name, "java") / rows.get(name, "native") for name in rows.names()
              if rows.get(name, "java") and rows.get(name, "java") <= rows.get(name, "native")}
    add("natives not faster than plain Java (its time / theirs)", "none",
        ", ".join(f"`{n}` {times:.2f}" for n, times in slower.items()) or "none", not slower)
    status = rows.get("getFileStatusNative", "native")
    for row, of in (("posixFileAttributesOfString", "a String"), ("posixFileAttributes", "a ready Path")):
        attributes = rows.get(row, "java")
        add(f"status record against `PosixFileAttributes` of {of}", "≤ 1", ratio(status, attributes),
            status <= attributes)
    lstat = rows.get("getFileStatusNative", "bare")
    floor = ns(rows.get("getFileStatusNative", "floor") - lstat)
    add(f"status record beyond `lstat` (its floor: {floor})", "≤ 250 ns", ns(status - lstat),
        status - lstat <= 250)
    acl = (rows.get("getAclStatus", "native") - rows.get("getAclStatus", "values")) / rows.get(
        "getAclStatus", "bare")
    whole = ratio(rows.get("getAclStatus", "native"), rows.get("getAclStatus", "bare"))
    add(f"`getAclStatus` less its crossing against libacl from C (with it: {whole})", "≤ 1.3",
        f"{acl:.2f}", acl <= 1.3)
    dump = rows.get("dumpXAttrs", "native") / (
        rows.get("dumpXAttrs", "bare") + rows.get("hashMapOf20", "java"))
    add("`dumpXAttrs` of 20 against bare calls and the HashMap made in Java", "≤ 1.3",
        f"{dump:.2f}", dump <= 1.3)
    for policy, wanted in (("rackaware-sort", 10), ("local", 3)):
        name = f"{policy}/1TiB"
        times = rows.get(name, "plain") / rows.get(name, "native")
        add(f"{policy}, 1 TiB, against the plain version", f"≥ {wanted} times", f"{times:.1f}",
            times >= wanted)
    name = "local/1TiB"
    array = rows.get(name, "values")
    beyond = (rows.get(name, "plain") - array) / max(
        rows.get(name, "native") - array, rows.get(name, "client"))
    add("the same without making the Java array", "≥ 3 times", f"{beyond:.1f}", beyond >= 3)
    for policy in ("local", "rackaware-sort"):
        per_block = [(rows.get(f"{policy}/{size}", "native") - rows.get(f"shared/{size}", "native")) /
                     (size_bytes / FS_BLOCK) for size, size_bytes in SIZES.items()]
        # A local stream above 32 MiB waits in native memory before Java is asked for an array.
        last, name = (2, "1 TiB") if policy == "local" else (3, "16 TiB")
        add(f"{policy}, time per block beyond open and close, {name} against 1 GiB", "≤ 1.2",
            f"{per_block[last] / per_block[0]:.2f}", per_block[last] <= 1.2 * per_block[0])
    gains = {name: max(rows.real[(name, "native", n)] ** -1 for n in (2, 4, 8)) *
             rows.real[(name, "native", 1)] for name in rows.names()
             if (name, "native", 8) in rows.real}
    least = min(gains, key=gains.get)
    wanted = 0.9 * min(cores, 8)
    add(f"throughput of several threads against one, on {cores} cores (least: `{least}`)",
        f"≥ {wanted:.1f} times", f"{gains[least]:.2f}", gains[least] >= wanted)
    for policy, size, stream, peak in peaks:
        if (policy, size) == ("local", "1TiB"):
            add("native memory for a 1 TiB local stream", "≤ 2.2 times the stream",
                ratio(peak, stream), peak <= 2.2 * stream)
    return table(["", "wanted", "measured", "reached"], lines)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        data = json.load(file)
    peaks, profile = [], {}
    with open(sys.argv[2], encoding="utf-8") as file:
        for line in file:
            policy, size, stream, peak = line.split()
            peaks.append((policy, size, int(stream), int(peak)))
    if len(sys.argv) > 3:
        with open(sys.argv[3], encoding="utf-8") as file:
            for line in file:
                name, how, place, share = line.split()
                profile.setdefault((name, how), {})[place] = float(share)
    rows, context = Rows(data["benchmarks"]), data["context"]
    load = ", ".join(f"{value:.1f}" for value in context["load_avg"])
    print(f"""# Performance

Made by `./dev bench` on {context["date"][:10]}: {context["num_cpus"]} cores of {context["cpu"]},
{context["kernel"]}, files on {context["file_system"]}, JDK {context["jdk"]}, load average {load} at the
start.

A Java call of a native is set beside (a) the system and libacl calls it must make, in a C++ loop, (b) a
native of the same arguments and result that does nothing, once leaving its arguments alone and once taking
them apart as (b'), and (c) what a Java program would use instead; all of them in one process, in random
turns, as medians. Times are of the calling thread's processor time, which other programs on the machine
hardly change, but for threads and for forked programs, which are by the clock on the wall. The floor is a
native written for this benchmark that does nothing but (b') and (a): where it is above their sum, system
calls and the virtual machine push each other out of the processor's caches, and no native can do better.

## Targets

{target_table(rows, peaks, context["num_cpus"])}

Between runs of one day these ratios moved by some 3 % on this machine, which has neighbours: what is that
near to its target came out on either side.

## Every native

{native_table(rows)}

In pairs: `setFsUid` is the switch and its end, `removeXAttr` sets an attribute first. (c) is
`Files.readAttributes(path, "unix:*")` and its kin, `Files.readSymbolicLink`,
`UserDefinedFileAttributeView`, `PosixFileAttributeView`, `UserPrincipalLookupService`, or a forked
`getfacl`, `setfacl` or `stat`, from the same String as the native; "-" where there is none.

## The floor

{floor_table(rows)}

## Where the time goes

{profile_text(rows, profile)}

## Block locations

Blocks of 4 MiB with 3 replicas over 200 locations, HDFS blocks of 128 MiB; "per block" is per block of
the file system. The client library answers from memory, with one copy, and has other locations for every
request, so that the processor can't learn the blocks of a small file by heart. What does not
depend on the size, the switch of identity, open, close and one question, is what "shared" costs: beyond
it time grows with the blocks alone.

{block_table(rows)}

Native memory at its highest, beyond what was there before the call and without the Java heap:

{peak_table(peaks)}

## Threads

Millions of calls per second, each thread on files of its own.

{thread_table(rows)}

## Log levels

The log drops every line: this is what building and delivering them costs.

{level_table(rows)}""")


if __name__ == "__main__":
    main()
