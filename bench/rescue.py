#!/usr/bin/env python3
"""Measures vexlo-rescue beside its limits, LOBs among them, and tries it on a million rows with lost blocks.

The limits are measured in the same minute, taking turns, and medians are compared: vexlo and vexlo-convert together for
unloading, cat for checking, and PostgreSQL's COPY TO of the same rows where its server is installed.
"""

import glob
import json
import os
import random
import shutil
import statistics
import subprocess
import time

from common import Programs, parser_of, print_table

BLOCK_SIZE = 8192
TABLE_BLOCK = 6  # type
EXTRA_AREA = 8   # of automatic space management, in front of the data header


class Bench(Programs):
    def __init__(self, arguments):
        super().__init__(arguments)
        self.out = os.path.join(self.work, "out")

    def measure(self, commands):
        """Runs the commands in turns; returns of each the median seconds, the least processor seconds, and the peak
        memory."""
        seconds, processor = {name: [] for name in commands}, {name: [] for name in commands}
        memory = dict.fromkeys(commands, 0)
        for turn in range(self.runs + 1):  # the first turn warms up
            for name, command in commands.items():
                shutil.rmtree(self.out, ignore_errors=True)
                os.makedirs(self.out)
                took, worked, peak = self.timed(command, check=False)
                if turn > 0:
                    seconds[name].append(took)
                    processor[name].append(worked)
                    memory[name] = max(memory[name], peak)
        return {name: (statistics.median(seconds[name]), min(processor[name]), memory[name]) for name in commands}


RATIO_HEAD = ["what", "seconds", "ratio", "at most", "CPU", "ratio", "peak MiB"]


def beside_first(results, most):
    """Rows of a table: what was measured beside the first of it, and the most that the ratio of the seconds may be."""
    limit, work, _ = next(iter(results.values()))
    return [[name, f"{seconds:.2f}", f"{seconds / limit:.2f}", most.get(name, ""), f"{worked:.2f}",
             f"{worked / work:.2f}", f"{memory:.0f}"] for name, (seconds, worked, memory) in results.items()]


def unload_rows(bench):
    path = bench.database("ordinary", bench.mib)
    files = os.path.join(path, "*.dbf")
    script = os.path.join(bench.work, "commands.txt")
    with open(script, "w") as file:
        file.write("export dict\nload dict\nunload table bench.ordinary\nexit\n")
    dump = os.path.join(path, "data", "BENCH_ORDINARY.dat")
    two = (f"'{bench.vexlo}' config='{path}/config.ini' < '{script}' && "
           f"exec '{bench.convert}' --quiet --to csv --output '{bench.out}' '{dump}'")
    rescue = [bench.rescue, "unload", "--files", files, "--quiet", "--to", "csv", "--output", bench.out]
    results = bench.measure({"vexlo + vexlo-convert": ["sh", "-c", two], "one job": rescue + ["--jobs", "1"],
                             "two jobs": rescue + ["--jobs", "2"]})
    return beside_first(results, {"one job": "0.80", "two jobs": "0.45"})


def check_rows(bench):
    path = os.path.join(bench.database("ordinary", bench.mib), "bench_data01.dbf")
    check = [bench.rescue, "check", "--quiet", "--files", path, "--jobs"]
    results = bench.measure({"cat": ["sh", "-c", f"cat '{path}' > /dev/null"], "check, one job": check + ["1"],
                             "check, two jobs": check + ["2"]})
    rate = {name: os.path.getsize(path) / 2**20 / seconds for name, (seconds, _, _) in results.items()}
    return [[name, f"{results[name][0]:.2f}", f"{rate[name]:.0f}", f"{rate[name] / rate['cat']:.2f}"]
            for name in results]


def large_lob_rows(bench):
    """BLOBs of 1 MB into a SQLite database beside copying their datafile with cat."""
    path = os.path.join(bench.database("large-lobs", bench.mib), "*.dbf")
    unload = [bench.rescue, "unload", "--files", path, "--quiet", "--to", "sqlite", "--output", bench.out, "--jobs"]
    results = bench.measure({"cat": ["sh", "-c", f"cat {path} > '{bench.out}/copy'"], "one job": unload + ["1"],
                             "two jobs": unload + ["2"]})
    return beside_first(results, {"one job": "2.00", "two jobs": "2.00"})


def small_lob_rows(bench):
    """CLOBs in the row beside the same texts as VARCHAR2."""
    path = os.path.join(bench.database("small-lobs", bench.mib), "*.dbf")
    unload = [bench.rescue, "unload", "--files", path, "--quiet", "--jobs", "1", "--to", "csv", "--output", bench.out]
    results = bench.measure({"texts": unload + ["BENCH.SMALL_TEXTS"], "LOBs": unload + ["BENCH.SMALL_LOBS"]})
    return beside_first(results, {"LOBs": "1.00"})


def dictionary_rows(bench, columns=1_000_000):
    """The time to read the dictionary: the run ends behind that, since no table is selected."""
    path = bench.database("dictionary", columns)
    results = bench.measure({"read": [bench.rescue, "list", "--files", os.path.join(path, "*.dbf"), "nobody.nothing"]})
    seconds, _, memory = results["read"]
    return [[f"{columns} columns", f"{seconds:.2f}", "2.00", f"{memory:.0f}"]]


def copy_rows(bench):
    """COPY TO of the ordinary table's rows by a PostgreSQL server of our own; none where it is not installed."""
    programs = sorted(glob.glob("/usr/lib/postgresql/*/bin"))
    if not programs:
        return []
    folder = os.path.join(bench.work, "postgresql")
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    as_user = []
    if os.getuid() == 0:  # the server does not run as root
        shutil.chown(folder, "postgres")
        as_user = ["runuser", "-u", "postgres", "--"]

    def server(program, *arguments, **options):
        subprocess.run(as_user + [os.path.join(programs[-1], program), *arguments], check=True,
                       stdout=subprocess.DEVNULL, cwd=folder, **options)

    def psql(command, **options):
        server("psql", "-h", folder, "-d", "postgres", "-q", "-v", "ON_ERROR_STOP=1", "-c", command, **options)

    data = os.path.join(folder, "data")
    server("initdb", "-D", data, "-A", "trust", "--locale=C.UTF-8")
    server("pg_ctl", "-D", data, "-w", "-o", f"-k {folder} -c listen_addresses= -c shared_buffers=1GB", "start")
    try:
        path = bench.database("ordinary", bench.mib)
        shutil.rmtree(bench.out, ignore_errors=True)
        subprocess.run([bench.rescue, "unload", "--files", os.path.join(path, "*.dbf"), "--quiet", "--to", "csv",
                        "--output", bench.out], check=True)
        psql("CREATE TABLE ordinary (id numeric, name varchar(40), city varchar(30), amount numeric, "
             "created timestamp, status varchar(10), remark varchar(60), parent_id numeric)")
        with open(os.path.join(bench.out, "BENCH.ORDINARY.csv")) as rows:
            psql("COPY ordinary FROM STDIN (FORMAT csv, HEADER)", stdin=rows)
        psql("VACUUM ANALYZE ordinary")
        times = []
        for turn in range(bench.runs + 1):
            start = time.monotonic()
            psql(f"COPY ordinary TO '{folder}/out.csv' (FORMAT csv, HEADER)")
            if turn > 0:
                times.append(time.monotonic() - start)
    finally:
        server("pg_ctl", "-D", data, "-m", "immediate", "stop")
        shutil.rmtree(folder)
    return [["COPY TO", f"{statistics.median(times):.2f}", "", "", "", "", ""]]


def overwrite_blocks(path, share, seed):
    """Overwrites a share of the blocks of a file; returns their numbers."""
    rng = random.Random(seed)
    lost = set()
    with open(path, "r+b") as file:
        for block in range(1, os.path.getsize(path) // BLOCK_SIZE):
            if rng.random() < share:
                file.seek(block * BLOCK_SIZE)
                file.write(rng.randbytes(BLOCK_SIZE))
                lost.add(block)
    return lost


def lost_block_rows(bench, seeds):
    """A million rows, five of a hundred blocks overwritten: rows of the other blocks that did not come out, rows that
    are none, and lost blocks that the record does not name."""
    sound = bench.database("ordinary", 115)
    files = lambda path: os.path.join(path, "*.dbf")
    unload = lambda path, out: subprocess.run(
        [bench.rescue, "unload", "--files", files(path), "--quiet", "--to", "jsonl", "--output", out],
        stderr=subprocess.DEVNULL, check=False)
    shutil.rmtree(bench.out, ignore_errors=True)
    unload(sound, os.path.join(bench.out, "sound"))
    with open(os.path.join(bench.out, "sound", "BENCH.ORDINARY.jsonl"), "rb") as file:
        rows = file.read().splitlines()
    counts = rows_by_block(sound)
    assert sum(counts.values()) == len(rows)
    damaged = os.path.join(bench.work, "damaged")
    results = []
    for seed in range(1, seeds + 1):
        shutil.rmtree(damaged, ignore_errors=True)
        shutil.copytree(sound, damaged)
        lost = overwrite_blocks(os.path.join(damaged, "bench_data01.dbf"), 0.05, seed)
        out = os.path.join(bench.out, str(seed))
        unload(damaged, out)
        with open(os.path.join(out, "BENCH.ORDINARY.jsonl"), "rb") as file:
            came = set(file.read().splitlines())
        with open(os.path.join(out, "rescue.json")) as file:
            entry = json.load(file)["tables"][0]
        told = {loss["block"] + i for loss in entry["losses"] for i in range(loss["blocks"])}
        missing, at = 0, 0
        for block, count in counts.items():
            if block not in lost:
                missing += sum(row not in came for row in rows[at:at + count])
            at += count
        results.append([seed, len(rows), len(lost), len(came), missing, len(came - set(rows)),
                        len((lost & counts.keys()) - told)])
        shutil.rmtree(out)
    shutil.rmtree(damaged)
    return results


def rows_by_block(path):
    """How many rows each table block of the datafile holds, in their order: the count stands in the data header."""
    rows = {}
    with open(os.path.join(path, "bench_data01.dbf"), "rb") as file:
        for number in range(os.path.getsize(file.name) // BLOCK_SIZE):
            block = file.read(BLOCK_SIZE)
            if block[0] == TABLE_BLOCK:
                header = 44 + 24 * block[36] + EXTRA_AREA
                rows[number] = int.from_bytes(block[header + 2:header + 4], "little")
    return rows


def main():
    parser = parser_of(__doc__)
    parser.add_argument("--seeds", type=int, default=3, help="databases with lost blocks")
    arguments = parser.parse_args()
    bench = Bench(arguments)
    print_table("unload --to csv (median seconds, least processor seconds)",
                RATIO_HEAD,
                unload_rows(bench) + copy_rows(bench))
    print_table("check (median seconds)", ["what", "seconds", "MiB/s", "ratio"], check_rows(bench))
    print_table("BLOBs of 1 MB, unload --to sqlite (median seconds, least processor seconds)", RATIO_HEAD,
                large_lob_rows(bench))
    print_table("Small CLOBs, unload --to csv (median seconds, least processor seconds)", RATIO_HEAD,
                small_lob_rows(bench))
    print_table("Reading a dictionary (median seconds)", ["size", "seconds", "at most", "peak MiB"],
                dictionary_rows(bench))
    print_table("Overwritten blocks", ["seed", "rows", "blocks overwritten", "rows that came", "of other blocks did not",
                                       "rows that are none", "lost blocks not told"],
                lost_block_rows(bench, arguments.seeds))
    shutil.rmtree(bench.out, ignore_errors=True)


main()
