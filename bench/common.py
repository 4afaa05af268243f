"""What the benchmarks share: the programs of a build, databases to try them on, timing, and tables."""

import argparse
import os
import shutil
import subprocess
import sys
import time


def timed(command, log, check=True, **options):
    """Runs a command; returns its wall seconds, its processor seconds, and its peak memory in MiB."""
    start = time.monotonic()
    subprocess.run(["/usr/bin/time", "-f", "%U %S %M", "-o", log] + command, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL, check=check, **options)
    seconds = time.monotonic() - start
    with open(log) as file:
        user, system, memory = file.read().split()[-3:]
    return seconds, float(user) + float(system), int(memory) / 1024


class Programs:
    """The programs of a build, and the directory that databases and outputs go to."""

    def __init__(self, arguments):
        self.build, self.work = arguments.build, os.path.abspath(arguments.work)
        self.mib, self.runs = arguments.mib, arguments.runs
        self.vexlo, self.convert, self.rescue, self.data, self.loops = (
            os.path.join(self.build, "bin", name)
            for name in ("vexlo", "vexlo-convert", "vexlo-rescue", "vexlo-bench-data", "vexlo-bench-loops"))
        self.log = os.path.join(self.work, "time.log")
        os.makedirs(self.work, exist_ok=True)

    def timed(self, command, **options):
        return timed(command, self.log, **options)

    def database(self, kind, n):
        """Directory of the database of that kind, written when it is not there yet."""
        path = os.path.join(self.work, f"{kind}-{n}")
        if not os.path.exists(os.path.join(path, "config.ini")):
            shutil.rmtree(path, ignore_errors=True)
            subprocess.run([self.data, path, kind, str(n)], check=True)
        return path


def parser_of(description):
    parser = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build/bench", help="build directory")
    parser.add_argument("--work", default="build/bench/data", help="where the databases are written")
    parser.add_argument("--mib", type=int, default=1024, help="size of the tables")
    parser.add_argument("--runs", type=int, default=5, help="counted runs of each")
    return parser


def print_table(title, head, rows):
    widths = [max(len(str(row[i])) for row in [head] + rows) for i in range(len(head))]
    print(f"\n{title}\n")
    for row in [head] + rows:
        print("  ".join(str(cell).ljust(width) if i == 0 else str(cell).rjust(width)
                        for i, (cell, width) in enumerate(zip(row, widths))))
    sys.stdout.flush()
