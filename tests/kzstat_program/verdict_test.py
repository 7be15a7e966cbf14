"""Tests of the verdict on a run by conditions. KZSTAT and JOURNALMAKER name the programs."""

import contextlib
import json
import os
import sqlite3
import unittest
import xml.etree.ElementTree

import journals
from kzstat_test import GAP, STANDSTILL, JournalTest, run

TIME = ("request.time", "Timer")
FAILED = ("request.time.failed", "Timer")
TIMEOUT = ("request.time.failed.timeout", "TransactionReasonCounter")
HOSTILE = "a<&>\"'\x01\x1b]\u202e\udcff::error::%0A"


class VerdictTest(JournalTest):
    def setUp(self):
        super().setUp()
        self.make("run.kzj")

    def make(self, name, factor=1, **facts):
        """Twenty requests in ten slices: 10 to 29 ms, and one that failed."""
        slices = [{TIME: [factor * (10 + i), factor * (20 + i)]} for i in range(10)]
        slices[4].update({FAILED: [1], TIMEOUT: [1]})
        return journals.make(self.path(name), slices, has_distributions=True, **facts)

    def verdict(self, *conditions, options=()):
        required = [word for text in conditions for word in ("--require", text)]
        return run("verdict", self.run_path, *required, *options)

    def outcomes(self, *conditions, options=()):
        """The status, and the lines with the words one blank apart."""
        result = self.verdict(*conditions, options=options)
        self.assertEqual("", result.err)
        return result.status, [" ".join(line.split()) for line in result.out.splitlines()[1:]]


class Verdict(VerdictTest):
    def test_a_run_that_passes(self):
        self.assertEqual((0, ["passed request.time p95 < 250ms 28.06 ms",
                              "passed request.time max <= 0.029s 29 ms",
                              "passed request.time rate >= 2 2",
                              "passed errors share < 5% 4.76 %", "verdict: passed"]),
                         self.outcomes("request.time p95 < 250ms", "request.time max <= 0.029s",
                                       "request.time rate >= 2", "errors share < 5%"))

    def test_a_run_that_fails(self):
        self.assertEqual((1, ["FAILED request.time max < 29ms 29 ms",
                              "cannot tell request.tim max < 5 the run has no request.tim; near"
                              " it: request.time",
                              "passed request.time.failed count <= 1 1",
                              "verdict: FAILED, 1 of 3 conditions"]),
                         self.outcomes("request.time max < 29ms", "request.tim max < 5",
                                       "request.time.failed count <= 1"))

    def test_a_run_of_which_it_cannot_be_told(self):
        for condition in ("request.tim max < 5", "request.time mean +10%", "x.failed share < 1%"):
            status, (line, verdict) = self.outcomes(condition)
            self.assertEqual((2, "verdict: cannot tell, 1 of 1 conditions"), (status, verdict))
            self.assertTrue(line.startswith(f"cannot tell {condition} "), line)

    def test_what_never_happened_is_counted_as_nothing(self):
        self.assertEqual(0, self.verdict("request.time.failed.closed count < 1",
                                         "request.time.abandoned sum <= 0",
                                         "request.time.failed.closed share <= 0%").status)
        self.assertEqual(2, self.verdict("request.time.failed.closed mean < 1").status)

    def test_times_without_figures_are_warned_of(self):
        self.run_path = self.make_interrupted_run("interrupted.kzj")
        status, lines = self.outcomes("login count <= 0")
        self.assertEqual([f"warning: the run: {text}" for text in (GAP, STANDSTILL)],
                         [line for line in lines if " from 0:" in line])
        self.assertEqual(2, status)

    def test_a_condition_that_is_written_differently_is_judged_once(self):
        texts = ("errors share < 5%", "errors  share<5%", "errors share < 5.0 %")
        self.assertEqual((0, ["passed errors share < 5% 4.76 %", "verdict: passed"]), self.outcomes(*texts))
        self.verdict(texts[0], options=["--store"])
        self.verdict(texts[1], options=["--store"])
        self.assertEqual((0, ["passed errors share < 5% 4.76 %", "verdict: passed"]), self.outcomes())

    def test_a_run_without_attempts(self):
        self.run_path = journals.make(self.path("idle.kzj"), [{TIME: []}])
        self.assertEqual(2, self.verdict("errors share < 1%").status)

    def test_a_baseline(self):
        baseline = self.make("baseline.kzj", factor=0.5)
        self.assertEqual((1, ["compared with " + baseline + ": 10 slices",
                              "passed request.time p95 +101% 28.06 ms, before 14.03 ms",
                              "FAILED request.time mean +5 19.50 ms, before 9.75 ms",
                              "verdict: FAILED, 1 of 2 conditions"]),
                         self.outcomes("request.time p95 +101%", "request.time mean +5",
                                       options=("--baseline", baseline)))

    def test_a_range(self):
        self.assertEqual(1, self.verdict("request.time max < 29ms").status)
        self.assertEqual(0, self.verdict("request.time max < 29ms", options=("--to", 9)).status)

    def test_what_came_before_the_load_does_not_count(self):
        self.run_path = self.make("loaded.kzj", load=(1, 9))
        self.assertEqual(0, self.verdict("request.time min > 10ms").status)
        self.assertEqual(1, self.verdict("request.time min > 10ms", options=("--all",)).status)

    def test_what_is_answered_after_the_load_counts(self):
        self.run_path = self.make("loaded.kzj", load=(0, 8.5))
        self.assertEqual(1, self.verdict("request.time max < 29ms").status)

    def test_a_run_that_was_killed_is_judged_with_a_warning(self):
        self.run_path = self.make("killed.kzj", ends=False)
        self.assertEqual((0, ["warning: the run has not ended, or was killed",
                              "passed request.time max < 30ms 29 ms", "verdict: passed"]),
                         self.outcomes("request.time max < 30ms"))

    def test_conditions_in_a_file(self):
        path = self.path("conditions")
        with open(path, "w") as file:
            file.write("# of the shop\n\nrequest.time max < 30ms\n")
        self.assertEqual((1, ["FAILED request.time min < 0 10 ms",
                              "passed request.time max < 30ms 29 ms",
                              "verdict: FAILED, 1 of 2 conditions"]),
                         self.outcomes("request.time min < 0", options=("--conditions", path)))
        with open(path, "a") as file:
            file.write("request.time max\n")
        self.assert_fails(run("verdict", self.run_path, "--conditions", path), ", line 4: ")
        self.assert_fails(run("verdict", self.run_path, "--conditions", self.folder), "cannot read")

    def test_mistakes(self):
        self.assert_fails(self.verdict(), "no condition was given, and the run has none")
        self.assert_fails(self.verdict(options=("--store",)), "--store")
        self.assert_fails(self.verdict("a mean < 1", options=("--format", "xml")), "--format")
        for condition in ("", "request.time", "errors share < 1", "\x1b]0;x\x07" * 500):
            self.assert_fails(self.verdict(condition), "--require: ")
        self.run_path = self.path("none.kzj")
        self.assert_fails(self.verdict("a mean < 1"), "none.kzj")
        self.run_path = self.path("conditions")
        with open(self.run_path, "w") as file:
            file.write("no journal")
        self.assert_fails(self.verdict("a mean < 1"), "")

    def test_conditions_are_stored(self):
        self.assertEqual(0, self.verdict("request.time max < 30ms", options=("--store",)).status)
        self.assertEqual(1, self.verdict("request.time max < 30ms", "request.time min < 5",
                                         options=("--store",)).status)
        self.assertEqual((1, ["passed request.time max < 30ms 29 ms",
                              "FAILED request.time min < 5 10 ms",
                              "verdict: FAILED, 1 of 2 conditions"]), self.outcomes())
        self.assertEqual((0, ["passed request.time min < 11 10 ms", "verdict: passed"]),
                         self.outcomes("request.time min < 11"))
        self.assertEqual(0, run("check", self.run_path).status)

    def test_conditions_are_stored_all_or_none(self):
        with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
            journal.execute("CREATE TRIGGER third AFTER INSERT ON conditions"
                            " WHEN NEW.text LIKE '%< 3ms' BEGIN SELECT RAISE(ABORT, 'no'); END")
            journal.commit()
        conditions = [f"request.time max < {i}ms" for i in range(1, 5)]
        self.assert_fails(self.verdict(*conditions, options=("--store",)), "no")
        with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
            self.assertEqual((0,), journal.execute("SELECT count(*) FROM conditions").fetchone())

    def test_what_is_stored_is_on_the_page_with_what_was_measured(self):
        self.assertEqual(0, self.verdict("request.time max < 30ms", options=("--store",)).status)
        page = run("report", self.run_path, "-o", "-").out
        self.assertIn('"conditions":[{"text":"request.time max \\u003c 30ms",'
                      '"outcome":"passed","measured":"29 ms"}]', page)


class Formats(VerdictTest):
    def setUp(self):
        super().setUp()
        self.run_path = journals.make(self.path("hostile.kzj"), [{(HOSTILE, "Timer"): [4]}],
                                      generator="a<&\"'\udcff")

    def told(self, form):
        result = self.verdict(f"{HOSTILE} max < 5", f"{HOSTILE} max < 4", f"{HOSTILE}x max < 4",
                              options=("--format", form))
        self.assertEqual((1, ""), (result.status, result.err))
        return result.out

    def test_json(self):
        report = json.loads(self.told("json"))
        self.assertEqual(("failed", None, [], self.run_path),
                         (report["verdict"], report["baseline"], report["warnings"],
                          report["run"]["path"]))
        self.assertEqual([("passed", 4, "ms", None), ("failed", 4, "ms", None)],
                         [(each["outcome"], each["value"], each["unit"], each["reason"])
                          for each in report["conditions"][:2]])
        self.assertEqual(("unknown", None), (report["conditions"][2]["outcome"],
                                             report["conditions"][2]["value"]))

    def test_junit(self):
        suites = xml.etree.ElementTree.fromstring(self.told("junit").encode())
        (suite,) = suites
        self.assertEqual({"name": self.run_path, "tests": "3", "failures": "1", "errors": "1"},
                         suite.attrib)
        self.assertEqual([["system-out"], ["failure"], ["error"]],
                         [[each.tag for each in case] for case in suite])
        escaped = "a<&>\"'\\x01\\x1b]\\u202e\\xff::error::%0A"
        self.assertEqual(f"{escaped} max < 5", suite[0].get("name"))
        self.assertEqual("a<&\"'\\xff", suite[0].get("classname"))
        self.assertEqual("4 ms", suite[1][0].get("message"))
        self.assertIn("has no " + escaped, suite[2][0].get("message"))

    def test_workflow_commands(self):
        lines = self.told("github").splitlines()
        self.assertEqual(["::error title=a<&>\"'\\x01\\x1b]\\u202e\\xff%3A%3Aerror%3A%3A%250A max"
                          " < 4::FAILED, 4 ms"],
                         [line for line in lines if line.startswith("::") and "FAILED" in line])
        self.assertEqual(2, len([line for line in lines if line.startswith("::")]))
        self.assertEqual(5, len(lines))

    def test_text(self):
        out = self.told("text")
        self.assertNotRegex(out, "[\x00-\x09\x0b-\x1f\u202e]")
        self.assertEqual(5, len(out.splitlines()))


if __name__ == "__main__":
    unittest.main()
