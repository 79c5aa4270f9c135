"""Makes docs/performance-datanode.md out of what run.py measured."""
import statistics

GB = 1e9
PLACES = {"tmpfs": "tmpfs", "page cache": "a disk's page cache"}
OURS, THEIRS = "zorf", "apache"
# What is compared in all, of files large and small.
PARTS = (("read", ("read", "pread", "get", "-cat")), ("write", ("write", "put", "-put")))
NAMES = {OURS: "`zorf-datanode`", THEIRS: "Apache's"}


def table(heads, lines):
    out = ["| " + " | ".join(heads) + " |", "|" + "|".join(["---"] * 2 + ["---:"] * (len(heads) - 2)) + "|"]
    return "\n".join(out + ["| " + " | ".join(line) + " |" for line in lines])


class Rows:
    """Medians of all rounds, by (part, streams, service)."""

    def __init__(self, rows):
        self.runs = {}
        for row in rows:
            self.runs.setdefault((row["part"], int(row["streams"]), row["service"]), []).append(row)

    def keys(self, part):
        return [key for key in self.runs if key[0] == part]

    def median(self, key, value):
        return statistics.median(value(row) for row in self.runs[key])

    def speed(self, key):
        return self.median(key, lambda row: row["bytes"] / GB / row["seconds"])

    def cpu(self, key, side="datanode"):
        return self.median(key, lambda row: row[side] / (row["bytes"] / GB))

    def ratios(self, parts, value):
        """Ours by theirs, of each part and number of streams."""
        return {f"{part}, {streams}": value((part, streams, OURS)) / value((part, streams, THEIRS))
                for part in parts for _, streams, service in self.keys(part) if service == OURS}


def sequential(rows, limits, floor):
    lines = []
    for part in ("write", "read", "pread"):
        for key in sorted(rows.keys(part), key=lambda key: (key[1], key[2] != OURS)):
            speed, cpu = rows.speed(key), rows.cpu(key)
            lines.append([{"pread": "read anywhere"}.get(part, part), f"{NAMES[key[2]]}, {key[1]}", f"{speed:.2f}",
                          f"{100 * speed / limits[key[1]]:.0f} %", f"{cpu:.2f}",
                          f"{100 * floor(*key[:2]) / cpu:.0f} %", f"{rows.cpu(key, 'client'):.2f}",
                          f"{rows.median(key, lambda row: row['median']):.2f}",
                          f"{rows.median(key, lambda row: row['p99']):.2f}"])
    return table(["", "service, streams", "GB/s", "of the socket", "DataNode, s/GB", "of it socket and file",
                  "client, s/GB", "median, ms", "p99, ms"], lines)


def small(rows):
    lines = []
    for part in ("put", "get"):
        for key in rows.keys(part):
            each = {side: rows.median(key, lambda row: 1e3 * row[side] / row["operations"])
                    for side in ("datanode", "namenode", "client")}
            lines.append([part, NAMES[key[2]],
                          f"{rows.median(key, lambda row: row['operations'] / row['seconds']):,.0f}",
                          *(f"{value:.2f}" for value in each.values()),
                          f"{rows.median(key, lambda row: row['median']):.2f}",
                          f"{rows.median(key, lambda row: row['p99']):.2f}"])
    return table(["", "service", "files/s", "DataNode, ms", "NameNode, ms", "client, ms", "median, ms", "p99, ms"], lines)


def commands(rows):
    lines = [[f"`hdfs dfs {key[0]}`", NAMES[key[2]], f"{rows.median(key, lambda row: row['seconds']):.1f}",
              f"{rows.speed(key):.2f}", f"{rows.cpu(key):.2f}", f"{rows.cpu(key, 'client'):.2f}"]
             for part in ("-put", "-cat") for key in sorted(rows.keys(part), key=lambda key: key[2] != OURS)]
    return table(["", "service", "seconds", "GB/s", "DataNode, s/GB", "client, s/GB"], lines)


def memory(places):
    return table(["", "service", "idle, MiB", "most, MiB"],
                 [[place, NAMES[service], *(f"{value / 2**20:,.0f}" for value in places[place]["memory"][service])]
                  for place in PLACES for service in (OURS, THEIRS)])


def targets(result):
    lines = []

    def add(what, wanted, ratios, good, worst):
        name = worst(ratios, key=ratios.get)
        typical = statistics.median(ratios.values())
        lines.append([what, wanted, f"{typical:.2f}", f"{ratios[name]:.2f} ({name})",
                      "yes" if good(ratios[name]) else "**no**"])

    def both(value):
        ratios = {}
        for place in PLACES:
            rows = Rows(result[place]["rows"] + result[place].get("commands", []))
            ratios.update({f"{place}: {name}": ratio for name, ratio in value(rows).items()})
        return ratios

    def present(rows, parts):
        return [part for part in parts if rows.keys(part)]

    for what, parts in PARTS:
        add(f"{what}s, speed by Apache's", "≥ 1",
            both(lambda rows: rows.ratios(present(rows, parts), rows.speed)), lambda x: x >= 1, min)
    for what, parts in PARTS:
        add(f"{what}s, processor time of the DataNode by Apache's", "≤ 0.5",
            both(lambda rows: rows.ratios(present(rows, parts), rows.cpu)), lambda x: x <= 0.5, max)
    add("memory of the DataNode by Apache's", "≤ 0.1",
        {place: result[place]["memory"][OURS][1] / result[place]["memory"][THEIRS][1] for place in PLACES},
        lambda x: x <= 0.1, max)
    return table(["", "wanted", "median", "worst", "reached"], lines)


def place(name, result, sockets):
    rows = Rows(result["rows"])
    limits = {streams: row["bytes"] / GB / row["seconds"] for streams, row in sockets.items()}
    file = {part: result["file"][part] / result["file"]["bytes"] * GB for part in ("write", "read")}

    def floor(part, streams):
        """Processor seconds per GB of the socket alone and of the file alone."""
        row = sockets[streams]
        return row["receiver" if part == "write" else "sender"] / row["bytes"] * GB + file[
            "write" if part == "write" else "read"]

    return f"""## On {PLACES[name]}

{result["size"] / 2**30:g} GiB, medians of {result["rounds"]} rounds; the file alone takes who writes it
{file["write"]:.2f} s/GB of the processor, and who reads it {file["read"]:.2f}:

{sequential(rows, limits, floor)}

{result["files"]:,} files of 10 KiB, by four threads, the processor time of each file:

{small(rows)}"""


def page(result):
    by_streams = {int(row["streams"]): row for row in result["socket"]}
    sockets = table(["", "streams", "GB/s", "sender, s/GB", "receiver, s/GB"],
                    [["socket", f"{row['streams']:.0f}", f"{row['bytes'] / GB / row['seconds']:.2f}",
                      f"{row['sender'] / row['bytes'] * GB:.2f}", f"{row['receiver'] / row['bytes'] * GB:.2f}"]
                     for row in result["socket"]])
    before, after = ("{:.1f}".format(load[0]) for load in (result["load"], result["load_after"]))
    places = "\n\n".join(place(name, result[name], by_streams) for name in PLACES)
    return f"""# Performance of the DataNode

Made by `./dev datanode bench` on {result["date"]}: {result["cores"]} cores of {result["processor"]},
{result["memory"] / 2**30:.0f} GiB of memory, {result["kernel"]}, Java {result["java"]}, Hadoop 3.4.3; load average
{before} before and {after} after. [How to read it](#how-to-read-it) is below.

## Targets

{targets(result)}

{places}

## hdfs dfs

{result["tmpfs"]["size"] / 2**30:g} GiB on tmpfs, a virtual machine for each command, its start included:

{commands(Rows(result["tmpfs"]["commands"]))}

## Memory

Resident, after the start and at most:

{memory(result)}

## The socket

{sockets}

## How to read it

Services, clients and sockets share one machine and its loopback device: all of them want the same
processors, and what one side saves makes the other one faster. GB are 10⁹ bytes. Times of the processor
are those of the process, in the kernel too. Of Apache's pair, NameNode and DataNode are virtual machines of
their own with `-Xmx1000m`, replication is 1 and short-circuit reads are off. Neither service nor client has
Hadoop's native library, which Maven's jars come without.

- **write**, **read**: Apache's client in one virtual machine, which takes the services in turn and has
  warmed up with both; the file is as long for many streams as for one, a part of it for each. Reads verify
  checksums. An operation is 1 MiB.
- **read anywhere**: positional reads of 64 KiB from places by chance, a fourth of the file's size in all.
- **of the socket**: of what a loop of `send` and `recv` reaches in the same run with as many connections
  ([below](#the-socket): from memory, with neither files nor checksums).
- **of it socket and file**: what of this time such a loop takes on the DataNode's side, and a loop that does
  nothing but write a file, or read it. What is above that is a service's own, and the price of taking turns
  with others. Where this is more than half of what Apache's takes, half of it can't be reached. More than
  100 % is memory again: the loop came before the services, and found less of it ready.
- Before each write memory for it is used once: what nobody has used for some seconds may have to come from
  the host of a virtual machine, which can take longer than the writing itself. Of several GiB some is gone
  again by the time that it is written.
- Clients ask again after 2 ms, and not 400, whether a file is complete: Apache's NameNode may hear of it from
  the client before it does from the DataNode.
- **put**, **get**: small files, the NameNode's part included.
- On a disk the files fit into memory and are read from there.
- Apache's DataNode has the checksums of its blocks in files beside them and sends both from the page cache
  to the socket, untouched. There are none on zorf: `zorf-datanode` reads the data, computes their checksums,
  and sends a copy, so that data which somebody changes meanwhile never disagree with them.

`./dev datanode bench --quick` prints this page for the machine at hand after some minutes, of smaller files."""
