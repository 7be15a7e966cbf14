"""plots.py RESULTS FOLDER: draws how costs grow, from a run of kzbench, as SVG files in the folder."""

import json
import os
import re
import statistics
import sys
from typing import NamedTuple

import matplotlib
from ratios import NANOSECONDS

matplotlib.use("svg")
matplotlib.rcParams["svg.hashsalt"] = "kzbench"  # the same file for the same figures
import matplotlib.pyplot as plt  # noqa: E402


class Curve(NamedTuple):
    file: str
    title: str
    axis: str
    pattern: str  # of the benchmarks; its group is the place on the axis


CURVES = [
    Curve("clients.svg", "One SendSlice, 1 name per client", "clients",
          r"BM_Main_SendSlice/(\d+)/1/"),
    Curve("names.svg", "One SendSlice, 20 clients", "names",
          r"BM_Main_SendSlice/20/(\d+)/"),
    Curve("slices.svg", "Catching up, 100 clients of 50 names", "missed slices",
          r"BM_Main_CatchUp/(\d+)/"),
]


def milliseconds(run: dict) -> float:
    return run["real_time"] * NANOSECONDS[run["time_unit"]] / NANOSECONDS["ms"]


def points_of(curve: Curve, runs: list) -> list:
    times: dict = {}
    for run in runs:
        found = re.match(curve.pattern, run["name"])
        if found and run["run_type"] == "iteration":
            times.setdefault(int(found.group(1)), []).append(milliseconds(run))
    return sorted((place, statistics.median(values)) for place, values in times.items())


def draw(curve: Curve, points: list, folder: str) -> None:
    places, times = zip(*points)
    figure, axes = plt.subplots(figsize=(5.5, 3.6))
    axes.loglog(places, times, "o-", label="measured")
    in_proportion = [times[-1] * place / places[-1] for place in places]
    axes.loglog(places, in_proportion, "--", color="grey", label="in proportion")
    axes.set(title=curve.title, xlabel=curve.axis, ylabel="ms")
    axes.grid(True, which="major", alpha=0.3)
    axes.legend()
    figure.tight_layout()
    figure.savefig(os.path.join(folder, curve.file), metadata={"Date": None})
    plt.close(figure)


def main() -> None:
    results, folder = sys.argv[1:]
    with open(results, encoding="utf-8") as file:
        runs = json.load(file)["benchmarks"]
    os.makedirs(folder, exist_ok=True)
    for curve in CURVES:
        points = points_of(curve, runs)
        draw(curve, points, folder)
        print(f"{curve.file}: " + ", ".join(f"{p}: {t:.3g} ms" for p, t in points))


if __name__ == "__main__":
    main()
