"""Runs kzload and reads what it prints."""

import os
import re
import subprocess
from collections import namedtuple

KZLOAD = os.environ["KZLOAD"]
DEFAULT_JOURNAL = object()  # the one that kzload chooses
TIMEOUT = 120  # seconds; generous, since instrumented builds on a busy machine are slow

TIME = r" +(-|\d+\.\d\d)"
ROW = re.compile(r"^ +(\d+\.\d\d) +(\d+) +(\d+\.\d)" + 5 * TIME + r" +(\d+)$")
TOTAL = re.compile(r"^  (\S+(?: \S+)*?) +(\d+ .*)$")
CELL = re.compile(r"(?:-|\d[\d.]*(?: [kMG]?B)?)(?= |$)")
UNITS = ["B", "kB", "MB", "GB"]
MADE = re.compile(r"^requests made (\d+), counted (\d+)(?:, (\d+) of them cut off at the end)?$",
                  re.MULTILINE)

Row = namedtuple("Row", "elapsed clients rate mean p50 p95 p99 maximum errors")
# What a narrow terminal has no room for, and a percentile that is a dash, is None.
Total = namedtuple("Total", "type count mean min p50 p95 p99 max sum", defaults=9 * [None])
Result = namedtuple("Result", "status out err")


def start(*arguments, journal=None, **options):
    """kzload with its output in pipes, and without a journal where none is named."""
    if journal is None:
        arguments = ("--no-journal",) + arguments
    elif journal is not DEFAULT_JOURNAL:
        arguments = ("--journal", journal) + arguments
    settings = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE,
                "text": True}
    settings.update(options)
    return subprocess.Popen([KZLOAD, *map(str, arguments)], **settings)


def finish(process):
    try:
        out, err = process.communicate(timeout=TIMEOUT)
    finally:
        process.kill()
    return Result(process.returncode, out, err)


def run(*arguments, **options):
    return finish(start(*arguments, **options))


def wait_for_row(process):
    """Reads lines until the first row has come; returns them."""
    lines = []
    for line in process.stdout:
        lines.append(line)
        if ROW.match(line.rstrip("\n")):
            return lines
    raise AssertionError("no row among " + "".join(lines))


def rows(out):
    matches = (ROW.match(line) for line in out.splitlines())
    return [Row(*match.groups()) for match in matches if match]


def _number(cell):
    if cell == "-":
        return None
    number, _, unit = cell.partition(" ")
    return float(number) * 1000 ** UNITS.index(unit or "B")


def totals(out):
    """The final table by name."""
    table = {}
    point_type = None
    titles, *lines = out.partition("\ntotals ")[2].splitlines() or [""]
    for line in lines:
        match = TOTAL.match(line)
        if match:
            numbers = map(_number, CELL.findall(match[2]))
            table[match[1]] = Total(point_type, **dict(zip(titles.split(), numbers, strict=True)))
        elif line and not line.startswith(" "):
            point_type = line
    return table


def requests(out):
    """Requests made and requests counted, as the final line gives them."""
    match = MADE.search(out)
    assert match, "no line of requests in: " + out
    return int(match[1]), int(match[2])


def cut_off(out):
    """Requests that the end of the load cut off, as the final line gives them."""
    return int(MADE.search(out)[3] or 0)


def count_of(table, name):
    return table[name].count if name in table else 0


def counted(table, prefix, suffix=""):
    return sum(total.count for name, total in table.items()
               if name.startswith(prefix) and name.endswith(suffix))
