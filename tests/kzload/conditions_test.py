"""Tests of the conditions of a load: what must be so at its end, and what ends it."""

import json
import os
import re
import signal
import subprocess
import tempfile
import time
import unittest

import runs

KZSTAT = os.environ["KZSTAT"]
LOAD = ("--clients", 3, "--think-time", 5, "--slice", 0.1)


def conditions(option, *texts):
    return [word for text in texts for word in (option, text)]


class Require(unittest.TestCase):
    def load(self, *texts, file=None, **options):
        return runs.run(*LOAD, "--duration", 0.3, "--quiet", *conditions("--require", *texts),
                        *(("--conditions", file) if file else ()), **options)

    def test_conditions_that_are_met(self):
        result = self.load("request.time p99 < 30s", "errors share <= 100%",
                           "request.time.failed.http-500 count < 1")
        self.assertEqual((0, ""), (result.status, result.err))
        lines = [" ".join(line.split()) for line in result.out.splitlines()[-4:]]
        self.assertRegex(lines[0], r"^passed request.time p99 < 30s [\d.]+ ms$")
        self.assertRegex(lines[1], r"^passed errors share <= 100% [\d.]+ %$")
        self.assertEqual(["passed request.time.failed.http-500 count < 1 0",
                          "verdict: passed"], lines[2:])

    def test_a_condition_that_is_not_met(self):
        result = self.load("errors share < 0%", "requests.rate rate > 0")
        self.assertEqual((1, ""), (result.status, result.err))
        self.assertRegex(result.out, r"(?m)^FAILED +errors share < 0% +[\d.]+ %$")
        self.assertTrue(result.out.endswith("verdict: FAILED, 1 of 2 conditions\n"))

    def test_a_condition_that_cannot_be_told(self):
        result = self.load("request.tme p95 < 1s")
        self.assertEqual((2, ""), (result.status, result.err))
        self.assertIn("the run has no request.tme; near it: request.time", result.out)

    def test_conditions_in_a_file(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "conditions")
            with open(path, "w") as file:
                file.write("# of the shop\n\nrequests.rate rate > 0\n")
            result = runs.run(*LOAD, "--duration", 0.3, "--quiet", "--conditions", path)
            self.assertEqual((0, ""), (result.status, result.err))
            self.assertRegex(result.out, r"(?m)^passed +requests.rate rate > 0 +[\d.]+$")
            with open(path, "a") as file:
                file.write("errors share < 1\n")
            result = runs.run("--conditions", path)
            self.assertEqual((2, ""), (result.status, result.out))
            self.assertIn(f"{path}, line 4: ", result.err)
            with open(path, "w") as file:
                file.write("# requests.rate rate > 0\n")
            result = runs.run("--conditions", path)
            self.assertEqual((2, ""), (result.status, result.out))
            self.assertIn(f"{path} has no condition", result.err)

    def test_a_condition_that_is_given_twice_is_judged_once(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "conditions")
            with open(path, "w") as file:
                file.write("errors share < 0%\nrequests.rate rate > 0\n")
            result = self.load("errors share < 0%", "errors share < 0%", file=path)
        self.assertTrue(result.out.endswith("verdict: FAILED, 1 of 2 conditions\n"), result.out)

    def test_a_url_may_follow_the_conditions(self):
        for words in (("http://127.0.0.1:9/",), ("--", "http://127.0.0.1:9/")):
            result = runs.run(*LOAD, "--duration", 0.1, "--require", "errors share < 1%",
                              "--abort-if", "errors share > 99%", *words)
            self.assertNotIn("is no condition", result.err)
            self.assertEqual(1, result.status, result.err)

    def test_mistakes_are_told_before_the_load(self):
        for option in ("--require", "--abort-if"):
            for text in ("", "request.time", "request.time p95 < 5 days", "errors share < 1",
                         "request.time p95 +10%", "\x1b[31m" * 1000):
                with self.subTest(option=option, text=text[:30]):
                    result = runs.run(option, text)
                    self.assertEqual((2, ""), (result.status, result.out))
                    self.assertTrue(result.err.startswith(f"kzload: {option}: "), result.err)
                    self.assertEqual(1, len(result.err.splitlines()))
                    self.assertNotIn("\x1b", result.err)
                    self.assertLess(len(result.err), 1000)

    def test_what_it_requires_is_stored_and_judged_by_kzstat_as_at_its_end(self):
        texts = ("request.time p95 < 1ns", "request.time count > 0", "requests.rate rate > 1e9",
                 "clients.active mean > 1e9", "clients.active last > 1e9",
                 "request.bytes stddev > 1e9", "request.time.failed.http-500 sum < 1")
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "run.kzj")
            result = self.load(*texts, journal=path)
            self.assertEqual((1, ""), (result.status, result.err))
            judged = subprocess.run([KZSTAT, "verdict", path],
                                    capture_output=True, text=True, check=False)
        self.assertEqual((1, ""), (judged.returncode, judged.stderr))
        self.assertEqual(judged.stdout.splitlines()[1:], result.out.splitlines()[-len(texts) - 1:])


class Saturation(unittest.TestCase):
    def test_a_generator_that_was_itself_the_bottleneck_is_told_with_the_figures(self):
        process = runs.start("--clients", 3, "--think-time", 5, "--slice", 0.1, "--duration", 2,
                             "--require", "requests.rate rate > 0")
        runs.wait_for_row(process)
        for _ in range(5):  # while it is stopped, it is late for the end of a slice
            process.send_signal(signal.SIGSTOP)
            time.sleep(0.2)
            process.send_signal(signal.SIGCONT)
            time.sleep(0.05)
        result = runs.finish(process)
        self.assertEqual((0, ""), (result.status, result.err))
        self.assertRegex(result.out, r"(?m)^requests made .*\nwarning: the generator was saturated from"
                                     r" 0:0\S+ on, in \d+ of \d+ slices: .*\n\npassed .*\nverdict: passed$")


class Interrupted(unittest.TestCase):
    def test_a_load_that_was_cut_short_does_not_meet_what_was_required_of_all_of_it(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "run.kzj")
            process = runs.start(*LOAD, "--duration", 60, "--require", "requests.rate rate > 0",
                                 journal=path)
            runs.wait_for_row(process)
            process.send_signal(signal.SIGTERM)
            result = runs.finish(process)
            judged = subprocess.run([KZSTAT, "verdict", path],
                                    capture_output=True, text=True, check=False)
        self.assertEqual((1, ""), (result.status, result.err))
        self.assertRegex(result.out,
                         r"(?m)^FAILED +not stopped early +interrupted after [\d.]+ of 60 s\n"
                         r"verdict: FAILED, 1 of 2 conditions$")
        self.assertEqual(1, judged.returncode)
        self.assertRegex(judged.stdout, r"(?m)^FAILED +not stopped early +interrupted after")


class AbortIf(unittest.TestCase):
    def load(self, *texts, duration, options=()):
        return runs.run(*LOAD, "--duration", duration, *options, *conditions("--abort-if", *texts))

    def test_what_must_not_be_so_ends_the_load(self):
        result = self.load("request.time mean > 30s", "request.time p50 > 0ms", duration=60)
        self.assertEqual(1, result.status)
        self.assertRegex(result.err,
                         r"^kzload: stopped after [\d.]+ s: request.time p50 > 0ms, it is [\d.]+ ms\n$")
        rows = runs.rows(result.out)
        self.assertGreaterEqual(len(rows), 3)
        self.assertLess(float(rows[-1].elapsed), 30)
        made, counted = runs.requests(result.out)
        self.assertEqual(made, counted)
        self.assertTrue(re.search("(?m)^totals", result.out))

    def test_the_run_says_why_it_was_stopped_and_does_not_pass(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "run.kzj")
            result = runs.run(*LOAD, "--duration", 60, "--require", "requests.rate rate > 0",
                              "--abort-if", "request.time p50 > 0ms", journal=path)
            shown, judged = (subprocess.run([KZSTAT, command, path], capture_output=True, text=True,
                                            check=False) for command in ("show", "verdict"))
            as_json = subprocess.run([KZSTAT, "verdict", path, "--format", "json"],
                                     capture_output=True, text=True, check=False)
        self.assertEqual(1, result.status)
        self.assertRegex(shown.stdout, r"UTC  stopped early: request.time p50 > 0ms, it is [\d.]+ ms\n")
        lines = judged.stdout.splitlines()[-3:]
        self.assertEqual(1, judged.returncode)
        self.assertRegex(lines[1],
                         r"^FAILED +not stopped early +request.time p50 > 0ms, it is [\d.]+ ms$")
        self.assertEqual("verdict: FAILED, 1 of 2 conditions", lines[2])
        self.assertEqual(lines[1:], result.out.splitlines()[-4:-2])
        self.assertEqual((1, "failed"), (as_json.returncode, json.loads(as_json.stdout)["verdict"]))

    def test_a_load_that_has_ended_is_not_stopped(self):
        # The third slice is the first that is judged, and it ends after the load.
        result = runs.run("--clients", 1, "--slice", 1, "--duration", 2.55,
                          "--abort-if", "request.time count > 0")
        self.assertEqual((0, ""), (result.status, result.err))

    def test_what_never_is_so_does_not(self):
        result = self.load("errors share > 99.9%", "request.time p99.9 > 30s", duration=0.5)
        self.assertEqual((0, ""), (result.status, result.err))

    def test_what_was_never_told_is_told_also_where_it_is_quiet(self):
        for quiet in ((), ("--quiet",)):
            result = self.load("request.tme mean > 1s", duration=0.5, options=quiet)
            self.assertEqual(0, result.status)
            self.assertEqual("kzload: 'request.tme mean > 1s' could not stop the load: the run has"
                             " no request.tme; near it: request.time\n", result.err)

    def test_a_load_of_few_slices_is_not_ended(self):
        result = self.load("request.time p50 > 0ms", duration=0.1)
        self.assertEqual(0, result.status)
        self.assertIn("could not stop the load: the load had fewer than 3 slices", result.err)


if __name__ == "__main__":
    unittest.main()
