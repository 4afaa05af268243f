#!/usr/bin/env python3
"""Checks the files named as arguments by .editorconfig: line ends, blanks at ends, tabs and character set."""

import fnmatch
import re
import sys


def alternatives(pattern):
    """The patterns that one with {a,b} stands for."""
    braces = re.search(r"\{([^{}]*,[^{}]*)\}", pattern)
    if not braces:
        return [pattern]
    return [whole for part in braces[1].split(",")
            for whole in alternatives(pattern[:braces.start()] + part + pattern[braces.end():])]


def read_rules(path):
    rules = []
    for line in open(path, encoding="utf-8"):
        line = line.strip()
        if line.startswith("["):
            rules.append((alternatives(line[1:-1]), {}))
        elif "=" in line and rules:
            key, value = (part.strip() for part in line.split("=", 1))
            rules[-1][1][key] = value
    return rules


def settings(rules, path):
    found = {}
    for patterns, values in rules:
        if any(fnmatch.fnmatch(path if "/" in pattern else path.rsplit("/", 1)[-1], pattern) for pattern in patterns):
            found.update(values)
    return found


def faults_of(rules, path):
    wanted = settings(rules, path)
    data = open(path, "rb").read()
    try:
        text = data.decode("utf-8")
    except UnicodeDecodeError:
        return [(1, "not UTF-8")] if wanted.get("charset") == "utf-8" else []
    faults = []
    if wanted.get("insert_final_newline") == "true" and data and not data.endswith(b"\n"):
        faults.append((text.count("\n") + 1, "no newline at the end"))
    for number, line in enumerate(text.split("\n"), 1):
        if wanted.get("end_of_line") == "lf" and line.endswith("\r"):
            faults.append((number, "ends with CR LF"))
        if wanted.get("trim_trailing_whitespace") == "true" and line != line.rstrip(" \t"):
            faults.append((number, "blanks at the end"))
        if wanted.get("indent_style") == "space" and line.startswith("\t"):
            faults.append((number, "begins with a tab"))
    return faults


def main():
    rules = read_rules(".editorconfig")
    count = 0
    for path in sys.argv[1:]:
        for number, fault in faults_of(rules, path):
            print(f"{path}:{number}: {fault}")
            count += 1
    return count > 0


if __name__ == "__main__":
    sys.exit(main())
