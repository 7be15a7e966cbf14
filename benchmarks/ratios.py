"""Prints the medians of a run of kzbench, and the ratios that matter with their bounds."""

import json
import statistics
import sys
from typing import NamedTuple


class Ratio(NamedTuple):
    what: str
    numerator: str
    denominator: str  # or none, where the figure itself is bounded
    bound: str  # "<= 2.0": how large the ratio may be, or ">= 1.7": how small; or none
    aim: str
    counter: str = ""  # a counter instead of the time of one item


CLIENTS = "/1000/real_time/threads:"
FEW = "/20/real_time/threads:"
BESIDE_ROLL_UP = "BM_Main_SendSliceBesideRollUp/"
RATIOS = [
    Ratio("AddLast, 1,000 clients / floor", "BM_Client_AddLast" + CLIENTS + "1",
          "BM_Floor_AddLast" + CLIENTS + "1", "<= 2.0", "<= 1.4"),
    Ratio("AddLast, 20 clients / floor", "BM_Client_AddLast" + FEW + "1",
          "BM_Floor_AddLast" + FEW + "1", "<= 1.5", "<= 1.25"),
    Ratio("the same, floor with our own clock", "BM_Client_AddLast" + CLIENTS + "1",
          "BM_FloorWithOurClock_AddLast" + CLIENTS + "1", "<= 1.85", "<= 1.5"),
    Ratio("the same, 20 clients", "BM_Client_AddLast" + FEW + "1",
          "BM_FloorWithOurClock_AddLast" + FEW + "1", "<= 1.6", "<= 1.3"),
    Ratio("hand-written / AddLast, 1 thread", "BM_Handwritten_AddLast" + CLIENTS + "1",
          "BM_Client_AddLast" + CLIENTS + "1", ">= 1.7", ">= 2.5"),
    Ratio("AddLast, 2 threads / 1 thread", "BM_Client_AddLast" + CLIENTS + "2",
          "BM_Client_AddLast" + CLIENTS + "1", "<= 0.58", "<= 0.52"),
    Ratio("clients warmed elsewhere, 2 threads", "BM_ClientWarmedElsewhere_AddLast" + CLIENTS + "2",
          "BM_Client_AddLast" + CLIENTS + "2", "<= 1.1", "<= 1.03"),
    Ratio("threads come and go, 2 / 1 at once", "BM_ThreadsThatComeAndGo_AddLast/2/manual_time",
          "BM_ThreadsThatComeAndGo_AddLast/1/manual_time", "<= 0.64", "<= 0.54"),
    Ratio("2 threads / a generator for each", "BM_Client_AddLast" + CLIENTS + "2",
          "BM_OwnGenerator_AddLast" + CLIENTS + "2", "<= 1.15", "<= 1.03"),
    Ratio("4 threads / 2 threads", "BM_Client_AddLast" + CLIENTS + "4",
          "BM_Client_AddLast" + CLIENTS + "2", "<= 1.15", "<= 1.05"),
    Ratio("8 threads / 2 threads", "BM_Client_AddLast" + CLIENTS + "8",
          "BM_Client_AddLast" + CLIENTS + "2", "<= 1.15", "<= 1.05"),
    Ratio("slice change, 2 threads / 1 thread", "BM_Client_SliceChange/100000/2/manual_time",
          "BM_Client_SliceChange/100000/1/manual_time", "<= 0.75", "<= 0.55"),
    Ratio("longest AddLast beside freeing, us",
          "BM_LongestAddLast_BesideFreeing/300000/iterations:1", "", "", "<= 1000", "longest"),
    Ratio("longest AddLast beside a fold, us",
          "BM_LongestAddLast_BesideFold/1000000/iterations:1", "", "", "<= 1000", "longest"),
    Ratio("hand-written / AddLast, 2 threads", "BM_Handwritten_AddLast" + CLIENTS + "2",
          "BM_Client_AddLast" + CLIENTS + "2", ">= 3", ">= 5"),
    Ratio("AddLast with distributions / without", "BM_CollectingClient_AddLast" + CLIENTS + "1",
          "BM_Client_AddLast" + CLIENTS + "1", "<= 1.12", "<= 1.05"),
    Ratio("the same with them, 2 threads / 1", "BM_CollectingClient_AddLast" + CLIENTS + "2",
          "BM_CollectingClient_AddLast" + CLIENTS + "1", "<= 0.58", "<= 0.52"),
    Ratio("SendSlice with distributions / without", "BM_CollectingMain_SendSlice/1000/50/real_time",
          "BM_Main_SendSlice/1000/50/real_time", "<= 1.1", ""),
    Ratio("SendSlice / hand-written roll-up", BESIDE_ROLL_UP + "0/iterations:20/manual_time", "",
          "<= 2", "<= 1.2", "ratio"),
    Ratio("the same, client by client", BESIDE_ROLL_UP + "1/iterations:20/manual_time", "",
          "<= 2", "<= 1.2", "ratio"),
    Ratio("the same, among other allocations", BESIDE_ROLL_UP + "2/iterations:20/manual_time", "",
          "<= 2", "<= 1.2", "ratio"),
    Ratio("fold of a pair / hand-written look-up", "BM_Dictionary_AddValuesOfDict/real_time",
          "BM_Handwritten_LookUp/real_time", "<= 1.5", "<= 1"),
    Ratio("dump of a record / ten to_chars", "BM_Dictionary_DumpDict/real_time",
          "BM_ToChars_Record/real_time", "<= 1.3", "<= 1.1"),
    Ratio("turnover / hand-written map", "BM_Dictionary_Turnover/real_time",
          "BM_Handwritten_Turnover/real_time", "<= 1.2", "<= 0.6"),
    Ratio("Distribution::Add, one mean, ns", "BM_Distribution_AddHot", "", "<= 4", "<= 2"),
    Ratio("Distribution::Add / a map, one mean", "BM_Distribution_AddHot",
          "BM_Distribution_AddHotToAMap", "<= 0.8", "<= 0.5"),
    Ratio("Distribution::Add / a map, spread", "BM_Distribution_AddSpread",
          "BM_Distribution_AddSpreadToAMap", "<= 0.3", "<= 0.15"),
    Ratio("memory of a pair / hand-written map", "BM_Memory_PairInDictionary/iterations:1",
          "BM_Memory_PairInHandwrittenMap/iterations:1", "<= 1.3", "<= 0.8", "bytes"),
    Ratio("resident bytes of a client, 5 names", "BM_Memory_Client/100000/5/3/iterations:1", "",
          "<= 4500", "<= 3000", "resident"),
    Ratio("peak bytes of one in a million, 1 name",
          "BM_Memory_Client/1000000/1/10/iterations:1/repeats:1", "", "<= 6000", "<= 4000", "peak"),
]
NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def cost_of_item(run: dict, counter: str) -> float:
    """Nanoseconds per item, or the counter."""
    if counter:
        return run[counter]
    if "items_per_second" in run:
        return 1e9 / run["items_per_second"]
    return run["real_time"] * NANOSECONDS[run["time_unit"]]


def medians(runs: list, counter: str) -> dict:
    costs: dict = {}
    for run in runs:
        if run["run_type"] == "iteration" and (not counter or counter in run):
            costs.setdefault(run["run_name"], []).append(cost_of_item(run, counter))
    return {name: statistics.median(values) for name, values in costs.items()}


def is_kept(ratio: float, bound: str) -> bool:
    if not bound:
        return True
    relation, limit = bound.split()
    return ratio <= float(limit) if relation == "<=" else ratio >= float(limit)


def print_times(times: dict) -> None:
    print(f"{'benchmark':<62} {'ns per item':>14}")
    for name, cost in times.items():
        print(f"{name.replace('/real_time', ''):<62} {cost:>14,.1f}")


def print_ratios(runs: list) -> None:
    print(f"\n{'ratio':<42} {'measured':>9}  {'bound':<8} {'aim':<8}")
    for ratio in RATIOS:
        costs = medians(runs, ratio.counter)
        if ratio.numerator not in costs or ratio.denominator not in {"", *costs}:
            continue
        value = costs[ratio.numerator] / (costs[ratio.denominator] if ratio.denominator else 1)
        verdict = "" if is_kept(value, ratio.bound) else "missed"
        print(f"{ratio.what:<42} {value:>9.2f}  {ratio.bound:<8} {ratio.aim:<8} {verdict}".rstrip())


def main() -> None:
    with open(sys.argv[1], encoding="utf-8") as file:
        runs = json.load(file)["benchmarks"]
    print_times(medians(runs, ""))
    print_ratios(runs)


if __name__ == "__main__":
    main()
