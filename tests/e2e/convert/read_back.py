"""Reads an output of vexlo-convert with a reader of its format and prints each row as a JSON array of texts."""

import csv
import json
import os
import re
import sqlite3
import sys


def from_csv(path, _table):
    with open(path, newline="", encoding="utf-8") as file:
        rows = csv.reader(file, strict=True)
        yield next(rows)
        for row in rows:
            yield [value if value != "" else None for value in row]


def from_jsonl(path, _table):
    first = True
    with open(path, encoding="utf-8", newline="\n") as file:
        for line in file:
            row = json.loads(line, parse_float=str, parse_int=str)
            if first:
                yield list(row)
                first = False
            yield list(row.values())


def sqlite_rows(connection, table):
    cursor = connection.execute('SELECT * FROM "%s"' % table)
    yield [column[0] for column in cursor.description]
    for row in cursor:
        yield [
            value.hex().upper() if isinstance(value, bytes) else None if value is None else str(value)
            for value in row
        ]


def from_sqlite(path, table):
    return sqlite_rows(sqlite3.connect(path), table)


def from_sqlite_script(path, table):
    connection = sqlite3.connect(":memory:")
    with open(path, encoding="utf-8", newline="") as file:
        connection.executescript(file.read())
    return sqlite_rows(connection, table)


def from_sqlldr(path, _table):
    """Records are VAR n, fields VARCHARC or VARRAWC: every one starts with its length in digits."""
    with open(path, encoding="utf-8") as file:
        control = file.read()
    name, record_digits = re.search(r"INFILE '([^']+)' \"VAR (\d+)\"", control).groups()
    fields = re.findall(r'^  "((?:[^"]|"")*)" VAR(CHAR|RAW)C\((\d+),(\d+)\)', control, re.M)
    yield [field[0].replace('""', '"') for field in fields]
    with open(os.path.join(os.path.dirname(path), name), "rb") as file:
        data = file.read()
    at = 0
    while at < len(data):
        end = at + int(record_digits) + int(data[at : at + int(record_digits)])
        at += int(record_digits)
        row = []
        for _, kind, digits, longest in fields:
            size = int(data[at : at + int(digits)])
            assert size <= int(longest), "a value is longer than its field"
            at += int(digits)
            value = data[at : at + size]
            at += size
            row.append(None if size == 0 else value.hex().upper() if kind == "RAW" else value.decode("utf-8"))
        assert at == end, "fields do not fill the record"
        yield row


READERS = {
    "csv": from_csv,
    "jsonl": from_jsonl,
    "sqlite": from_sqlite,
    "sqlite-sql": from_sqlite_script,
    "sqlldr": from_sqlldr,
}

csv.field_size_limit(sys.maxsize)
for values in READERS[sys.argv[1]](sys.argv[2], sys.argv[3]):
    sys.stdout.buffer.write(json.dumps(values, ensure_ascii=False, separators=(",", ":")).encode("utf-8") + b"\n")
