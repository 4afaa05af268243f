#!/usr/bin/env python3
"""Runs the benchmarks and prints them as tables.

Every figure of an unload stands beside the limit measured in the same minute: copying the same datafile with cat on the
same file system. They take turns, and the medians are compared. cat leaves the copying to the kernel, which moves the
bytes once; dd shows what reading them into memory and writing them out costs before anything is decoded.
"""

import os
import re
import resource
import shutil
import statistics
import subprocess
import time

from common import Programs, parser_of, print_table

KINDS = [  # kind, table, checksum, most the unload may cost in copies
    ("ordinary", "ORDINARY", False, 1.5),
    ("ordinary", "ORDINARY", True, 1.7),
    ("narrow", "NARROW", False, 3.0),
    ("wide", "WIDE", False, 2.0),
    ("clustered", "CLUSTERED", False, 2.0),
    ("pieces", "PIECES", False, None),
    ("partitioned", "PARTITIONED", False, None),
]
DICTIONARY_SIZES = [10_000, 100_000, 1_000_000]
DATAFILES = 5000


class Bench(Programs):
    def __init__(self, arguments):
        super().__init__(arguments)
        self.interposer = self.find(self.build, "libvexlo_interposer.so")

    @staticmethod
    def find(folder, name):
        return next((os.path.join(at, name) for at, _, files in os.walk(folder) if name in files), None)

    def config(self, path, checksum):
        """A configuration beside the database's own, with checking as asked for."""
        with open(os.path.join(path, "config.ini")) as file:
            lines = [line for line in file if not line.startswith("checksum")]
        name = os.path.join(path, "bench.ini")
        with open(name, "w") as file:
            file.writelines(lines + [f"checksum = {'YES' if checksum else 'NO'}\n"])
        return name

    def console(self, config, commands, **options):
        script = os.path.join(self.work, "commands.txt")
        with open(script, "w") as file:
            file.write("\n".join(commands + ["exit"]) + "\n")
        with open(script) as stdin:
            return self.timed([self.vexlo, f"config={config}"], stdin=stdin, **options)

    def count_calls(self, config, commands):
        """Read and write calls on data and dump files, or None without the interposer."""
        if self.interposer is None:
            return None
        log = os.path.join(self.work, "calls.log")
        env = {**os.environ, "LD_PRELOAD": self.interposer, "VEXLO_IO_LOG": log,
               "VEXLO_IO_RULES": "call=pread;call=pwrite"}
        subprocess.run([self.vexlo, f"config={config}"], input="\n".join(commands + ["exit", ""]), text=True, env=env,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
        with open(log) as file:
            return [int(n) for n in re.findall(r"calls=(\d+)", file.read())]


def copy_time(bench, command, copy):
    """Seconds of a shell command that makes a copy, which is removed."""
    seconds, _, _ = bench.timed(["sh", "-c", command])
    os.remove(copy)
    return seconds


def unload_row(bench, kind, table, checksum, most):
    path = bench.database(kind, bench.mib)
    config = bench.config(path, checksum)
    datafile = os.path.join(path, "bench_data01.dbf")
    dump = os.path.join(path, "data", f"BENCH_{table}.dat")
    copy = os.path.join(path, "data", "copy")
    commands = ["load dict", f"unload table bench.{table}"]
    bench.console(config, ["export dict"])
    copies, transfers, unloads, peak, size_out = [], [], [], 0, 0
    for turn in range(bench.runs + 1):  # the first turn warms up
        seconds = copy_time(bench, f"exec cat '{datafile}' > '{copy}'", copy)
        transfer = copy_time(bench, f"exec dd if='{datafile}' of='{copy}' bs=64K status=none", copy)
        unload, _, memory = bench.console(config, commands)
        size_out = os.path.getsize(dump)
        os.remove(dump)
        if turn > 0:
            copies.append(seconds)
            transfers.append(transfer)
            unloads.append(unload)
            peak = max(peak, memory)
    calls = bench.count_calls(config, commands)
    if calls:
        os.remove(dump)
    copy_median, transfer_median, median = (statistics.median(runs) for runs in (copies, transfers, unloads))
    return [kind + (" + checksum" if checksum else ""), f"{os.path.getsize(datafile) / 2**20:.0f}",
            f"{size_out / 2**20:.0f}", f"{copy_median:.2f}", f"{transfer_median:.2f}", f"{median:.2f}",
            f"{median / copy_median:.2f}", f"{most:.1f}" if most else "", f"{median / transfer_median:.2f}",
            f"{peak:.1f}", *(map(str, calls) if calls else ("", ""))]


def against(bench, label, command, limit_command, most, clean):
    """One row: a command beside its limit, taking turns; `clean` lists the files removed before each."""
    ours, limits, peak = [], [], 0
    for turn in range(bench.runs + 1):  # the first turn warms up
        for name in clean:
            if os.path.exists(name):
                os.remove(name)
        limit, _, _ = bench.timed(["sh", "-c", limit_command])
        for name in clean:
            if os.path.exists(name):
                os.remove(name)
        seconds, _, memory = bench.timed(command)
        if turn > 0:
            limits.append(limit)
            ours.append(seconds)
            peak = max(peak, memory)
    ratio = statistics.median(ours) / statistics.median(limits)
    return [label, f"{statistics.median(limits):.2f}", f"{statistics.median(ours):.2f}", f"{ratio:.2f}", f"{most:.1f}",
            f"{peak:.1f}"]


def convert_rows(bench):
    """The dump of the ordinary table as CSV against copying the dump, and into SQLite against importing the CSV."""
    path = bench.database("ordinary", bench.mib)
    bench.console(bench.config(path, False), ["export dict", "load dict", "unload table bench.ordinary"])
    dump = os.path.join(path, "data", "BENCH_ORDINARY.dat")
    out = os.path.join(path, "data", "out")
    os.makedirs(out, exist_ok=True)
    csv, database, copy = (os.path.join(out, name) for name in ("BENCH.ORDINARY.csv", "BENCH_ORDINARY.sqlite", "copy"))
    rows = [against(bench, "CSV, limit: cat of the dump",
                    [bench.convert, "--quiet", "--to", "csv", "--output", out, dump],
                    f"exec cat '{dump}' > '{copy}'", 4.0, [csv, copy])]
    subprocess.run([bench.convert, "--quiet", "--to", "csv", "--output", out, dump], check=True)
    imported = os.path.join(out, "imported.db")
    rows.append(against(bench, "SQLite, limit: sqlite3 .import of the CSV",
                        [bench.convert, "--quiet", "--to", "sqlite", "--output", out, dump],
                        f"exec sqlite3 '{imported}' '.mode csv' \".import '{csv}' ordinary\"", 2.0,
                        [database, imported]))
    shutil.rmtree(out)
    os.remove(dump)
    return rows


def step_times(bench, config, command):
    """Seconds of each step of a dictionary command: from the end of the line before to the end of its own."""
    child = subprocess.Popen([bench.vexlo, f"config={config}"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                             stderr=subprocess.PIPE, text=True)
    child.stdin.write(f"{command}\nexit\n")
    child.stdin.close()
    steps, last = [], time.monotonic()
    for line in child.stderr:
        now = time.monotonic()
        step = re.search(r"\. \. (\S+ +\S+?)\$ *\.*\s+(\d+) rows done", line)
        if step:
            steps.append((re.sub(" +", " ", step.group(1)), int(step.group(2)), now - last))
        last = now
    child.wait()
    return steps


def dictionary_rows(bench):
    """One row a step: seconds and, for the largest, microseconds a record at each size."""
    columns = []
    for size in DICTIONARY_SIZES:
        config = bench.config(bench.database("dictionary", size), False)
        runs = [step_times(bench, config, "export dict") + step_times(bench, config, "load dict")
                for _ in range(bench.runs)]
        columns.append([(name, rows, statistics.median(run[i][2] for run in runs))
                        for i, (name, rows, _) in enumerate(runs[0])])
    rows = [[steps[0][0]] + [f"{seconds * 1000:.1f}" for _, _, seconds in steps]
            + [f"{seconds * 1e6 / count:.3f}" if count >= 1000 else "" for _, count, seconds in steps]
            for steps in zip(*columns)]
    totals = [sum(seconds for _, _, seconds in column) for column in columns]
    rows.append(["all steps"] + [f"{total * 1000:.1f}" for total in totals]
                + [f"{total * 1e6 / size:.3f}" for total, size in zip(totals, DICTIONARY_SIZES)])
    return rows


def many_files_row(bench):
    """Start-up with thousands of datafiles: the list names the SYSTEM datafile and links to a small one."""
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    if hard != resource.RLIM_INFINITY and hard < DATAFILES + 100:
        return ["start-up, 5,000 datafiles", "", f"(descriptor limit {hard})"]
    path = bench.database("narrow", 1)
    links = os.path.join(bench.work, "links")
    os.makedirs(links, exist_ok=True)
    names = [os.path.join(path, "system01.dbf")]
    for i in range(DATAFILES - 1):
        name = os.path.join(links, f"file{i}.dbf")
        if not os.path.lexists(name):
            os.symlink(os.path.join(path, "bench_data01.dbf"), name)
        names.append(name)
    listing = os.path.join(bench.work, "many.txt")
    with open(listing, "w") as file:
        file.writelines(name + "\n" for name in names)
    config = os.path.join(bench.work, "many.ini")
    with open(config, "w") as file:
        file.write(f"dictdir = {path}/dict\ndatadir = {path}/data\ndatafiles = {listing}\n")
    return command_row(bench, "start-up, 5,000 datafiles", config, [])


def command_row(bench, label, config, commands):
    runs = [bench.console(config, commands) for _ in range(bench.runs)]
    return [label, f"{statistics.median(run[0] for run in runs) * 1000:.0f}", f"{max(run[2] for run in runs):.1f}"]


def command_rows(bench):
    large = bench.config(bench.database("dictionary", DICTIONARY_SIZES[-1]), False)
    last = DICTIONARY_SIZES[-1] // 10 - 1
    return [many_files_row(bench),
            command_row(bench, "export dict, 1,000,000 columns", large, ["export dict"]),
            command_row(bench, "load dict, 1,000,000 columns", large, ["load dict"]),
            command_row(bench, "load + desc of one table in 100,000", large, ["load dict", f"desc bench.t{last}"]),
            command_row(bench, "load + unload of one table in 100,000", large,
                        ["load dict", f"unload table bench.t{last}"])]


def main():
    args = parser_of(__doc__).parse_args()
    bench = Bench(args)

    print_table("Unload against copying the datafile (median seconds)",
                ["table", "MiB in", "MiB out", "cat", "dd", "unload", "to cat", "at most", "to dd", "peak MiB", "preads",
                 "pwrites"],
                [unload_row(bench, *kind) for kind in KINDS])
    print_table("vexlo-convert against its limits (median seconds)",
                ["conversion", "limit", "convert", "ratio", "at most", "peak MiB"], convert_rows(bench))
    sizes = [f"{size:,}" for size in DICTIONARY_SIZES]
    print_table("Dictionary by number of columns: milliseconds, then microseconds a record",
                ["step"] + sizes + [f"{size} each" for size in sizes], dictionary_rows(bench))
    print_table("Single commands", ["command", "ms", "peak MiB"], command_rows(bench))
    print("\nInner loops\n", flush=True)
    subprocess.run([bench.loops], check=True, stderr=subprocess.DEVNULL)


main()
