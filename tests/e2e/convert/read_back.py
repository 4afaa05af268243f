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


def sqlldr_fields(control):
    """Of each field of a record: its kind, the digits of its length, its greatest length, the column, the mark of NULL."""
    fields = []
    for line in control[control.index("(\n") :].split("\n"):
        filler = re.match(r"  (\w+) FILLER (?:CHAR\(1\)|VARCHARC\((\d+),(\d+)\)),$", line)
        if filler:
            fields.append(("FILE" if filler[2] else "MARK", filler[2], filler[3], filler[1]))
            continue
        column = re.match(r'  "((?:[^"]|"")*)" (?:VAR(CHAR|RAW)C\((\d+),(\d+)\)|LOBFILE\((\w+))', line)
        if column and column[5]:
            assert fields[-1][3] == column[5] and line.rstrip(",").endswith(" NULLIF %s='NONE'" % column[5])
            fields[-1] = fields[-1][:3] + (column[1],)
        elif column:
            fields.append((column[2], column[3], column[4], column[1]))
            if len(fields) > 1 and fields[-2][0] == "MARK":
                assert line.rstrip(",").endswith(" NULLIF %s='1'" % fields[-2][3])
    return fields


def from_sqlldr(path, _table):
    """Records are VAR n, fields VARCHARC or VARRAWC: every one starts with its length in digits. A mark in front of a
    LOB tells NULL from EMPTY, a file has the LOB whose place it takes."""
    with open(path, encoding="utf-8") as file:
        control = file.read()
    name, record_digits = re.search(r"INFILE '([^']+)' \"VAR (\d+)\"", control).groups()
    fields = sqlldr_fields(control)
    yield [field[3].replace('""', '"') for field in fields if field[0] != "MARK"]
    folder = os.path.dirname(path)
    with open(os.path.join(folder, name), "rb") as file:
        data = file.read()
    at = 0
    while at < len(data):
        end = at + int(record_digits) + int(data[at : at + int(record_digits)])
        at += int(record_digits)
        row = []
        mark = b""
        for kind, digits, longest, _ in fields:
            if kind == "MARK":
                mark = data[at : at + 1]
                at += 1
                continue
            size = int(data[at : at + int(digits)])
            assert size <= int(longest), "a value is longer than its field"
            at += int(digits)
            value = data[at : at + size]
            at += size
            is_null = mark == b"1" or (size == 0 and mark == b"")
            if kind == "FILE":
                is_null = value == b"NONE"
                if not is_null:
                    with open(os.path.join(folder, value.decode("utf-8")), "rb") as file:
                        kind, value = "RAW" if file.name.endswith(".bin") else "CHAR", file.read()
            mark = b""
            row.append(None if is_null else value.hex().upper() if kind == "RAW" else value.decode("utf-8"))
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
