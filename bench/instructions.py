#!/usr/bin/env python3
"""Counts instructions per call with callgrind and compares them with a baseline.

instructions.py PROGRAM BASELINE [--update]. A rise of more than 5 % fails.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

ALLOWED = 1.05


def count(program):
    with tempfile.TemporaryDirectory() as scratch:
        subprocess.run(
            ["valgrind", "--tool=callgrind", "--collect-atstart=no",
             f"--callgrind-out-file={scratch}/out", program],
            check=True, stderr=subprocess.DEVNULL)
        calls = {}
        for path in pathlib.Path(scratch).glob("out.*"):
            text = path.read_text()
            named = re.search(r"^desc: Trigger: Client Request: (\S+) (\d+)$", text, re.M)
            totals = re.search(r"^(?:totals|summary): (\d+)", text, re.M)
            if named and totals:
                calls[named[1]] = int(totals[1]) // int(named[2])
        return calls


def main():
    program, baseline = sys.argv[1], pathlib.Path(sys.argv[2])
    counted = count(program)
    if "--update" in sys.argv:
        lines = [f"{name} {calls}" for name, calls in sorted(counted.items())]
        baseline.write_text("\n".join(lines) + "\n")
        print(baseline.read_text(), end="")
        return 0
    failed = False
    for line in baseline.read_text().splitlines():
        name, before = line.split()
        now = counted.get(name)
        risen = now is None or now > int(before) * ALLOWED
        failed |= risen
        change = "not counted" if now is None else f"{now:>12,}  {100 * now / int(before) - 100:+6.1f} %"
        print(f"{name:<42}{int(before):>12,}  {change}{'  TOO MANY' if risen else ''}")
    if failed:
        print("more than 5 % above the baseline; if that is meant: bench/run.sh --check --update")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
