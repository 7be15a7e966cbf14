"""Tests of the program that reads journals. KZSTAT and JOURNALMAKER name the programs."""

import collections
import contextlib
import csv
import glob
import io
import json
import os
import re
import resource
import shutil
import signal
import sqlite3
import subprocess
import tempfile
import time
import unittest

import columns
import journals
import terminals

KZSTAT = os.environ["KZSTAT"]
TIMEOUT = 60

LOGIN = ("login.time", "Timer")
LOGINS = ("logins", "Counter")
CLIENTS = ("clients", "LoadSize")

COMMANDS = ("show", "compare", "export", "merge", "check")

Result = collections.namedtuple("Result", "status out err")


def run(*arguments, **options):
    settings = {"stdin": subprocess.DEVNULL, "capture_output": True, "text": True,
                "timeout": TIMEOUT, **options}
    done = subprocess.run([KZSTAT, *map(str, arguments)], **settings)
    return Result(done.returncode, done.stdout, done.stderr)


GAP = "no slices from 0:01 to 0:03"
STANDSTILL = "the generator stood still from 0:05 to 0:11"


class JournalTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.run_path = self.path("run.kzj")

    def path(self, name):
        return os.path.join(self.folder, name)

    def make_run(self, name="run.kzj", factor=1, slices=10, **facts):
        """The same ten slices again and again; the load comes to its highest in the third."""
        return journals.make(self.path(name), [
            {LOGIN: [factor * (100 + i % 10), factor * (110 + 3 * (i % 10))], LOGINS: [1, 1],
             CLIENTS: [min(i + 1, 3)]} for i in range(slices)], **facts)

    def make_interrupted_run(self, name="run.kzj"):
        """Two slices are missing, and one was measured for much longer than it lasted."""
        journal = journals.Journal(self.path(name))
        journal.slice()
        journal.lose()
        journal.lose()
        journal.slice()
        journal.measured(7)
        journal.slice()
        journal.slice()
        journal.end()
        return self.path(name)

    def assert_fails(self, result, expected, status=2):
        self.assertEqual(status, result.status)
        self.assertEqual(1, len(result.err.splitlines()), result.err)
        self.assertTrue(result.err.startswith("kzstat: "), result.err)
        self.assertIn(expected, result.err)

    def table(self, *arguments):
        """The rows of `show` as dictionaries by name."""
        result = run("show", self.run_path, *arguments)
        self.assertEqual((0, ""), (result.status, result.err))
        titles, *rows = result.out[result.out.index("\nname "):].splitlines()[1:]
        # Cells stand at the ends of their titles, or at the beginning for texts.
        return {row.split()[0]: dict(zip(self.titles(titles), self.cells(titles, row)))
                for row in rows}

    @staticmethod
    def titles(line):
        return line.split()

    @staticmethod
    def cells(titles, row):
        texts = [(match.start(), match.group()) for match in re.finditer(r"\S+", row)]
        cells = []
        for match in re.finditer(r"\S+", titles):
            begin, end = match.span()
            cells += [next((text for at, text in texts
                            if at == begin or at + len(text) == end), "")]
        return cells


class UnderLoad(JournalTest):
    """30 clients make 600 requests a second for 5.5 seconds; the seventh slice and two more drain."""

    def make_load(self, name="run.kzj", load=(0.02, 5.52), slices=9, **facts):
        parts = [1] * 5 + [0.5] + [0] * 3
        return journals.make(self.path(name), [
            {LOGIN: [10], LOGINS: [600 * part], CLIENTS: [30 if part else 0]}
            for part in parts[:slices]], load=load, **facts)

    def header(self, *arguments):
        """How much of the run there is, and below it the load."""
        out = run("show", self.run_path, *arguments).out
        return "; ".join(out.partition("\nname ")[0].splitlines()[1:])

    def test_a_run_is_shown_without_what_drains(self):
        self.make_load()
        self.assertIn("9 slices of 1 s; under load 0:00 to 0:05.5, 6 of 9 slices", self.header())
        table = self.table()
        self.assertEqual(("600", "3300", "300"),
                         tuple(table["logins"][key] for key in ("rate", "sum", "last")))
        self.assertEqual(("30", "30", "30"),
                         tuple(table["clients"][key] for key in ("mean", "min", "last")))

    def test_what_is_answered_after_the_end_of_a_load_counts(self):
        journals.make(self.run_path, [
            {LOGIN: [10] * 10, CLIENTS: [5]}, {LOGIN: [10] * 10, CLIENTS: [5]},
            {LOGIN: [500, 700], CLIENTS: [2]}], load=(0, 2.1))
        table = self.table()
        self.assertEqual(("22", "10.48", "700", "10"),
                         tuple(table["login.time"][key] for key in ("count", "rate", "max", "last")))
        self.assertEqual("5", table["clients"]["min"])

    def test_all_slices(self):
        self.make_load()
        self.assertNotIn("load", self.header("--all"))
        table = self.table("--all")
        self.assertEqual(("366.7", "0"),
                         tuple(table["logins"][key] for key in ("rate", "last")))
        self.assertEqual(("20", "0"), tuple(table["clients"][key] for key in ("mean", "last")))

    def test_a_run_that_was_killed(self):
        self.make_load(load=(0.02,), slices=5, ends=False)
        self.assertIn("not ended, at least 5 slices of 1 s; under load since 0:00, 5 of 5 slices",
                      self.header())

    def test_a_run_without_load(self):
        self.make_load(load=())
        self.assertTrue(self.header().endswith(", 9 slices of 1 s"))
        self.assertEqual("20", self.table()["clients"]["mean"])

    def test_merged_runs_show_their_levels_together(self):
        parts = [self.make_load("a.kzj"), self.make_load("b.kzj", start=1.7e9 + 0.25)]
        self.assertEqual(0, run("merge", *parts, "-o", self.run_path).status)
        self.assertIn("under load 0:00 to 0:05.8, 6 of 9 slices", self.header())
        self.assertEqual(("60", "60", "60", "60"),
                         tuple(self.table()["clients"][key]
                               for key in ("min", "mean", "max", "last")))
        self.assertEqual("6600", self.table()["logins"]["sum"])

    def test_the_level_of_merged_runs_is_that_of_those_that_ran(self):
        parts = [self.make_load("a.kzj"), self.make_load("b.kzj", start=1.7e9 + 3)]
        self.assertEqual(0, run("merge", *parts, "-o", self.run_path).status)
        clients = self.table()["clients"]
        # Three slices of one, three of both and three of the other.
        self.assertEqual(("30", "40", "60", "30"),
                         tuple(clients[key] for key in ("min", "mean", "max", "last")))

    def test_equal_loads_compare_equal_however_long_they_drain(self):
        paths = [self.make_load("a.kzj", slices=6), self.make_load("b.kzj")]
        compared = json.loads(run("compare", *paths, "--format", "json").out)
        self.assertEqual({"clients": 0, "login.time": 0, "logins": 0},
                         {each["name"]: each["difference"] for each in compared["names"]})


class Show(JournalTest):
    def test_what_each_kind_declares(self):
        self.make_run()
        table = self.table()
        self.assertEqual(["clients", "login.time", "logins"], list(table))
        login = table["login.time"]
        self.assertEqual(("Timer", "ms", "20", "2", "100", "137"),
                         tuple(login[key] for key in ("type", "unit", "count", "rate", "min",
                                                      "max")))
        self.assertEqual("-", login["sum"])
        self.assertEqual(("20", "20", "2", "2", "-", "-", "-"),
                         tuple(table["logins"][key] for key in ("count", "sum", "rate", "last",
                                                                "min", "mean", "max")))
        self.assertEqual(("-", "-", "3"),
                         tuple(table["clients"][key] for key in ("count", "rate", "last")))

    def test_percentiles_of_a_run_with_distributions(self):
        self.make_run(has_distributions=True)
        login = self.table()["login.time"]
        self.assertEqual(("109.2", "134.5", "137"),
                         tuple(login[key] for key in ("p50", "p95", "p99")))
        self.assertEqual("101.2", self.table("--to", "2")["login.time"]["p50"])

    def test_times_without_figures(self):
        self.make_interrupted_run()
        self.assertEqual([GAP, STANDSTILL], run("show", self.run_path).out.splitlines()[2:4])

    def test_times_without_figures_are_those_that_reach_into_the_range(self):
        self.make_interrupted_run()
        for (options, expected) in ((("--from", "0.3"), [GAP, STANDSTILL]), (("--to", "2"), [GAP]),
                                    (("--from", "1", "--to", "3"), [GAP]), (("--from", "8"), [STANDSTILL]),
                                    (("--from", "3.5", "--to", "5"), [])):
            with self.subTest(options):
                lines = run("show", self.run_path, *options).out.splitlines()
                self.assertEqual(expected, [line for line in lines if " from 0:" in line])

    def test_how_long_it_ran_and_how_much_of_that_has_slices(self):
        self.make_interrupted_run()
        self.assertIn("UTC, for 0:06 (0:04 with slices), 4 slices of 1 s", run("show", self.run_path).out)

    def test_no_columns_of_percentiles_without_distributions(self):
        self.make_run()
        self.assertNotIn("p50", self.table()["login.time"])

    def test_which_percentiles(self):
        self.make_run(has_distributions=True)
        titles = run("show", self.run_path, "--percentiles", "99.9,25").out.splitlines()[2]
        self.assertIn(["mean", "p99.9", "p25", "max"], [titles.split()[i:i + 4] for i in range(9)])
        login = self.table("--percentiles", "99.9,25")["login.time"]
        self.assertEqual(("137", "104.2"), (login["p99.9"], login["p25"]))

    def test_percentiles_that_are_none(self):
        self.make_run()
        for numbers, complaint in (("x", "'x' is no number"), ("100", "100 is not above 0"),
                                   ("50,50", "50 is there twice"), ("", "'' is no number")):
            with self.subTest(numbers):
                self.assert_fails(run("show", self.run_path, "--percentiles", numbers),
                                  "--percentiles: " + complaint)

    def test_percentiles_that_the_run_does_not_have(self):
        self.make_run()
        self.assertEqual("-", self.table("--percentiles", "75")["login.time"]["p75"])

    def test_percentiles_of_a_merged_run(self):
        parts = [self.make_run(name, has_distributions=True) for name in ("a.kzj", "b.kzj")]
        self.assertEqual(0, run("merge", *parts, "-o", self.run_path).status)
        login = self.table()["login.time"]
        self.assertEqual(("40", "109.2", "134.5"),
                         tuple(login[key] for key in ("count", "p50", "p95")))
        self.assertEqual(0, run("check", self.run_path).status)

    def test_a_range(self):
        self.make_run()
        self.assertEqual("4", self.table("--from", "3", "--to", "5s")["login.time"]["count"])
        self.assertEqual("103", self.table("--from", "3")["login.time"]["min"])
        self.assertEqual("101", self.table("--from", "1", "--to", "0.1m")["login.time"]["min"])

    def test_the_warm_up_ends_where_the_load_is_highest(self):
        self.make_run()
        self.assertEqual(("102", "16"),
                         tuple(self.table("--skip-warmup")["login.time"][key]
                               for key in ("min", "count")))

    def test_a_range_that_ends_before_it_begins(self):
        self.make_run()
        for command in (("show",), ("export", "--format", "csv"), ("report", "-o", "-"),
                        ("compare", self.run_path)):
            for end in ("3", "5"):
                self.assert_fails(run(*command, self.run_path, "--from", "5", "--to", end),
                                  f"--to: {end} s is not after --from, 5 s (see kzstat")

    def test_what_was_run_when_and_for_how_long(self):
        self.make_run()
        what, when, *_ = run("show", self.run_path).out.splitlines()
        self.assertEqual("load: journalmaker, on " + os.uname().nodename, what)
        self.assertEqual("2023-11-14 22:13:20 UTC, for 0:10, 10 slices of 1 s", when)

    def test_the_name_of_a_test_comes_first(self):
        self.make_run()
        with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
            journal.execute("UPDATE runs SET test_name = 'Checkout', command_line = 'load -n 3'")
            journals.seal_runs(journal)
            journal.commit()
        self.assertTrue(run("show", self.run_path).out.startswith("Checkout: load -n 3, on "))

    def test_a_warm_up_that_cannot_be_told(self):
        journals.make(self.run_path, [{LOGIN: [1]}])
        self.assert_fails(run("show", self.run_path, "--skip-warmup"),
                          "no load size was reported; use --from")

    def test_reading_never_changes_the_journal(self):
        self.make_run()
        with open(self.run_path, "rb") as file:
            before = file.read()
        run("show", self.run_path, "--from", "3")
        run("check", self.run_path)
        with open(self.run_path, "rb") as file:
            self.assertEqual(before, file.read())

    def test_a_run_that_only_may_be_read(self):
        self.make_run()
        os.chmod(self.run_path, 0o444)
        os.chmod(self.folder, 0o555)
        self.addCleanup(os.chmod, self.folder, 0o755)
        self.assertIn("login.time", self.table())

    def test_sorting(self):
        self.make_run()
        self.assertEqual(["login.time", "clients", "logins"], list(self.table("--sort", "mean")))
        self.assertEqual(["logins", "clients", "login.time"], list(self.table("--sort", "sum")))
        self.assert_fails(run("show", self.run_path, "--sort", "beauty"), "--sort")

    def test_sorting_by_a_percentile(self):
        self.make_run(has_distributions=True)
        for column, percentiles in (("p50", ()), ("p99.9", ("--percentiles", "99.9"))):
            self.assertEqual(["login.time", "clients", "logins"],
                             list(self.table("--sort", column, *percentiles)))
        self.assert_fails(run("show", self.run_path, "--sort", "p99.9"), "p99.9 is not shown")

    def test_the_run_goes_on(self):
        journal = journals.Journal(self.run_path)
        journal.value(*LOGIN, 10)
        journal.slice()
        self.assertIn(", not ended, at least 1 slice of 1 s\n", run("show", self.run_path).out)
        journal.end()
        self.assertNotIn("not ended", run("show", self.run_path).out)

    def test_a_run_that_was_killed(self):
        journal = journals.Journal(self.run_path)
        journal.value(*LOGIN, 10)
        journal.slice()
        journal.leave()
        self.assertEqual("1", self.table()["login.time"]["count"])

    def test_names_do_not_steer_the_terminal(self):
        journals.make(self.run_path, [{("a\x1b[31mb", "Counter"): [1]}])
        self.assertIn("a\\x1b[31mb", run("show", self.run_path).out)

    def test_names_do_not_hide_behind_the_direction_of_writing(self):
        journals.make(self.run_path, [{("a\u202eb\u009bc\udc9bd", "Counter"): [1]}])
        out = run("show", self.run_path, encoding="utf-8").out
        self.assertIn("a\\u202eb\\u009bc\\x9bd", out)

    def test_names_of_any_characters_align(self):
        names = ("login", "caf\u00e9", "cafe\u0301", "\u65e5\u672c\u8a9e", "bad\udcffbyte")
        journals.make(self.run_path, [{(name, "Counter"): [1] for name in names}])
        for locale in ("C", "C.UTF-8", "de_DE.UTF-8"):
            with self.subTest(locale=locale):
                result = run("show", self.run_path, encoding="utf-8",
                             env={**os.environ, "LC_ALL": locale})
                _, _, titles, *rows = result.out.splitlines()
                self.assertEqual(len(names), len(rows))
                self.assertIn("bad\\xffbyte", result.out)
                for row in rows:
                    self.assertEqual(titles.index("type"),
                                     columns.width_of(row.partition("Counter")[0]), row)
                    self.assertEqual(len(titles), columns.width_of(row), row)

    def test_a_decimal_comma_changes_nothing(self):
        self.make_run()
        environment = {**os.environ, "LC_ALL": "de_DE.UTF-8"}
        self.assertEqual(run("show", self.run_path).out,
                         run("show", self.run_path, env=environment).out)


class ShowOnATerminal(JournalTest):
    TITLES = ["name", "unit", "count", "rate", "mean", "p50", "p95", "p99", "max"]

    def show(self, width, names, **options):
        journals.make(self.run_path, [names] * 2, has_distributions=True)
        terminal = terminals.Terminal(self.folder, [KZSTAT, "show", self.run_path], width=width,
                                      **options)
        self.addCleanup(terminal.close)
        self.assertEqual(0, terminal.wait_for_end())
        self.coloured = terminal.screen(with_colours=True)
        return terminal.screen().splitlines()

    def test_what_matters_fits_eighty_columns(self):
        lines = self.show(80, {("request.product-page.time", "Timer"): [123456.7, 1000.5] * 500,
                               ("request.product-page.time.failed", "Timer"): [12345.6],
                               ("request.product-page.bytes", "Measurement"): [123456789],
                               ("responses.2xx", "Counter"): [1] * 1000})
        self.assertEqual([], [line for line in lines if line.endswith(">")])
        titles, *rows = [line.split() for line in lines[2:] if line]
        self.assertEqual(self.TITLES, titles)
        table = {row[0]: row for row in rows}
        self.assertEqual(["responses.2xx", "2000", "1000", *5 * "-"], table["responses.2xx"])
        (size,) = [row for row in rows if row[0].endswith("bytes")]
        self.assertEqual(["123", "MB"], size[-2:])

    def test_names_are_cut_in_the_middle_before_columns_are_left_out(self):
        name = "a.name.with.a.beginning.and.an.end"
        titles, row = self.show(60, {(name, "Counter"): [1]})[2:4]
        self.assertTrue(row.split()[0].startswith("a.name."), row)
        self.assertIn("..", row.split()[0])
        self.assertTrue(row.split()[0].endswith(".end"), row)

    def test_percentiles_that_were_asked_for_stay(self):
        journals.make(self.run_path, [{LOGIN: [1]}], has_distributions=True)
        terminal = terminals.Terminal(self.folder, [KZSTAT, "show", self.run_path, "--percentiles",
                                                    "10,20,30"], width=50)
        self.addCleanup(terminal.close)
        terminal.wait_for_end()
        self.assertIn("p10  p20  p30", terminal.screen())

    def test_errors_that_happened_are_red(self):
        self.show(80, {LOGIN: [1], ("login.failed", "Timer"): [1], ("responses.4xx", "Counter"): [],
                       ("responses.5xx", "Counter"): [1]})
        red = re.findall(r"\x1b\[31m(?:\x1b\[49m)?([\w.]+)", self.coloured)
        self.assertEqual(["login.failed", "responses.5xx"], red)

    def test_nothing_is_red_where_nobody_wants_colours(self):
        self.show(80, {("responses.5xx", "Counter"): [1]}, environment={"NO_COLOR": "1"})
        self.assertNotIn("\x1b", self.coloured)

    def test_programs_read_plain_numbers(self):
        journals.make(self.run_path, [{("bytes", "Counter"): [123456]}])
        self.assertIn(" 123456 ", run("show", self.run_path).out)


class Follow(JournalTest):
    def start(self, before="true", **options):
        self.journal = journals.Journal(self.run_path)
        self.addCleanup(self.journal.leave)
        self.report(10)
        self.terminal = terminals.Terminal(
            self.folder, ["sh", "-c", before + ' && exec "$0" "$@"', KZSTAT, "show", self.run_path,
                          "--follow", "--sort", "mean"], **options)
        self.addCleanup(self.terminal.close)

    def report(self, time):
        self.journal.value(*LOGIN, time)
        self.journal.value(*LOGINS, 1)
        self.journal.slice()

    def test_the_table_is_redrawn_with_each_slice(self):
        self.start()
        self.terminal.wait_for(lambda screen: "not ended, at least 1 slice of 1 s" in screen)
        for time in (40, 20):
            self.report(time)
        screen = self.terminal.wait_for(lambda screen: "3 slices" in screen)
        rows = [line for line in screen.splitlines() if line.strip()]
        self.assertEqual(["load:", "2023-11-14", "name", "login.time", "logins"],
                         [row.split()[0] for row in rows])
        self.assertEqual(["▃█▅", "40", "ms"], rows[3].split()[1:4])

    def test_it_ends_with_the_run_and_leaves_the_table(self):
        self.start()
        self.terminal.wait_for(lambda screen: "not ended" in screen)
        self.report(30)
        self.journal.end()
        self.assertEqual(0, self.terminal.wait_for_end())
        screen = self.terminal.screen()
        self.assertIn("2 slices of 1 s\n", screen)
        self.assertNotIn("latest", screen)

    def test_the_table_goes_on_with_what_is_answered_after_the_load(self):
        self.start(width=160)
        self.journal.load(0)
        self.report(30)
        self.terminal.wait_for(lambda screen: "under load since 0:00, 2 of 2 slices" in screen)
        self.journal.load(0, 2.25)
        self.report(1000)
        screen = self.terminal.wait_for(lambda screen: "load 0:00 to 0:02.3, 2 of 3" in screen)
        self.assertRegex(screen, r"login\.time .* 3 .* 1000")

    def test_it_ends_once_the_writing_process_is_killed(self):
        self.start()
        self.terminal.wait_for(lambda screen: "not ended" in screen)
        self.journal.kill()
        self.assertEqual(0, self.terminal.wait_for_end())
        screen = self.terminal.screen()
        self.assertNotIn("latest", screen)
        self.assertIn("the process that wrote it is gone", screen.replace("\n", ""))

    def test_it_does_not_wait_for_a_process_that_is_gone(self):
        journals.make(self.run_path, [{LOGINS: [1]}], ends=False)
        result = run("show", self.run_path, "--follow")
        self.assertEqual((0, "1 logins count 1 min 1 mean 1 max 1 sum 1\n"),
                         (result.status, result.out))
        self.assertEqual(f"{self.run_path}: not ended, at least 1 slice; the process that wrote"
                         " it is gone\n", result.err)

    def test_percentiles_and_errors_at_eighty_columns(self):
        self.journal = journals.Journal(self.run_path)
        self.addCleanup(self.journal.leave)
        self.journal.distributions()
        self.journal.value("login.time.failed", "Timer", 123456.7)
        for _ in range(10):
            self.report(123.4)
        terminal = terminals.Terminal(self.folder, [KZSTAT, "show", self.run_path, "--follow"],
                                      width=80)
        self.addCleanup(terminal.close)
        screen = terminal.wait_for(lambda screen: "logins" in screen)
        titles = screen.splitlines()[2].split()
        self.assertEqual(["name", "latest", "to", "count", "mean", "p95", "p99", "max"], titles)
        self.assertIn("\x1b[31mlogin.time.failed", terminal.screen(with_colours=True))

    def test_an_interrupt_ends_it(self):
        self.start()
        self.terminal.wait_for(lambda screen: "not ended" in screen)
        self.terminal.type("C-c")
        # The shell around it is interrupted as well: the screen tells.
        self.terminal.wait_for(lambda screen: "latest" not in screen and "login.time" in screen)

    def test_a_small_terminal_shows_what_fits(self):
        self.start(width=40, height=3)
        screen = self.terminal.wait_for(lambda screen: "... and 3 more" in screen)
        self.assertTrue(screen.splitlines()[1].endswith(">"), screen)
        self.terminal.resize(40, 10)
        self.terminal.wait_for(lambda screen: "logins" in screen and "more" not in screen)

    def test_types_make_room_on_a_narrow_terminal(self):
        for width, titles in ((60, ["name", "latest", "to", "count"]),
                              (140, ["name", "latest", "to", "type", "count"])):
            self.start(width=width)
            screen = self.terminal.wait_for(lambda screen: "login.time" in screen)
            self.assertEqual(titles, screen.splitlines()[2].split()[:len(titles)])
            self.terminal.close()
            self.run_path = self.path("next.kzj")

    def test_a_terminal_that_does_not_tell_its_height_has_an_ordinary_one(self):
        self.start(before="stty rows 0")
        self.terminal.wait_for(lambda screen: "login.time" in screen and "logins" in screen)

    def test_a_gap_is_blank_in_the_course_of_a_name(self):
        one = self.make_run("one.kzj")
        two = self.make_run("two.kzj", start=1.7e9 + 12)
        run("merge", one, two, "-o", self.run_path)
        with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
            journal.execute("UPDATE runs SET end_time = NULL WHERE number = 0")
            journals.seal_runs(journal)
            journal.commit()
        self.terminal = terminals.Terminal(self.folder, [KZSTAT, "show", self.run_path, "--follow"],
                                           environment={"LC_ALL": "C"}, width=140)
        self.addCleanup(self.terminal.close)
        self.terminal.wait_for(lambda screen: re.search(r"logins +#{8}  #{10} ", screen))

    def test_a_terminal_of_letters(self):
        self.start(environment={"LC_ALL": "C"})
        self.report(40)
        self.terminal.wait_for(lambda screen: "-#" in screen)

    def test_names_are_cut_to_columns(self):
        for locale in ("C", "C.UTF-8"):
            with self.subTest(locale=locale):
                self.run_path = self.path(locale + ".kzj")
                self.journal = journals.Journal(self.run_path)
                self.addCleanup(self.journal.leave)
                self.journal.value("\u65e5\u672c" * 20, *LOGIN[1:], 10)
                self.report(10)
                terminal = terminals.Terminal(
                    self.folder, [KZSTAT, "show", self.run_path, "--follow"], width=60,
                    environment={"LC_ALL": locale})
                self.addCleanup(terminal.close)
                screen = terminal.wait_for(lambda screen: "logins" in screen)
                terminal.close()
                plain, wide = (row for row in screen.splitlines() if " ms " in row)
                both_ends = "\u65e5\u672c\u65e5..\u672c\u65e5\u672c "
                self.assertTrue(wide.startswith(both_ends), wide)
                self.assertEqual(columns.width_of(plain.partition(" ms ")[0]),
                                 columns.width_of(wide.partition(" ms ")[0]), screen)

    def test_the_percentiles_are_those_of_the_run_so_far(self):
        self.journal = journals.Journal(self.run_path)
        self.addCleanup(self.journal.leave)
        self.journal.distributions()
        self.report(10)
        terminal = terminals.Terminal(
            self.folder, [KZSTAT, "show", self.run_path, "--follow", "--percentiles", "50"])
        self.addCleanup(terminal.close)

        def median(screen):
            titles, *rows = screen.splitlines()[2:]
            (row,) = [row for row in rows if row.startswith("login.time")]
            return row[:titles.index(" p50") + 4].split()[-1]

        terminal.wait_for(lambda screen: "login.time" in screen and median(screen) == "10")
        for time in (30, 40):
            self.report(time)
        # Of 10, 30 and 40.
        terminal.wait_for(lambda screen: "3 slices" in screen and
                          abs(float(median(screen)) - 30) <= 0.2)

    def test_percentiles_in_a_pipe_are_those_of_the_slice(self):
        journals.make(self.run_path, [{LOGIN: [10, 20, 40]}, {}, {LOGIN: [64]}],
                      has_distributions=True)
        lines = run("show", self.run_path, "--follow", "--percentiles", "50,99").out.splitlines()
        self.assertEqual(["1 login.time count 3 min 10 mean 23.33 max 40 sum 70 p50 20.06 p99 40",
                          "2 login.time count 0",
                          "3 login.time count 1 min 64 mean 64 max 64 sum 64 p50 64 p99 64"],
                         lines)

    def test_lines_in_a_pipe_are_of_the_range(self):
        self.make_run()
        for options, times in ((("--from", "3", "--to", "5"), ["4", "5"]),
                               (("--to", "2"), ["1", "2"]), (("--from", "20"), [])):
            lines = run("show", self.run_path, "--follow", *options).out.splitlines()
            self.assertEqual(times, [line.split()[0] for line in lines if " login.time " in line])

    def test_lines_in_a_pipe_do_not_stop_where_the_load_ends(self):
        self.make_run(load=(1, 8))
        lines = run("show", self.run_path, "--follow").out.splitlines()
        self.assertEqual(10, sum(" login.time " in line for line in lines))

    def test_a_range_in_a_pipe_goes_on_with_the_run(self):
        self.journal = journals.Journal(self.run_path)
        self.addCleanup(self.journal.leave)
        self.report(10)
        command = [KZSTAT, "show", self.run_path, "--follow", "--from", "1", "--to", "3"]
        with subprocess.Popen(command, text=True, stdout=subprocess.PIPE) as process:
            self.report(20)
            lines = [process.stdout.readline(), process.stdout.readline()]
            self.report(30)
            self.report(40)
            self.journal.end()
            lines += process.stdout.read().splitlines()
            self.assertEqual(0, process.wait(timeout=TIMEOUT))
        self.assertEqual(["2", "2", "3", "3"], [line.split()[0] for line in lines])

    def test_lines_in_a_pipe(self):
        self.journal = journals.Journal(self.run_path)
        self.addCleanup(self.journal.leave)
        self.report(10)
        with subprocess.Popen([KZSTAT, "show", self.run_path, "--follow"], text=True,
                              stdout=subprocess.PIPE) as process:
            self.assertEqual("1 login.time count 1 min 10 mean 10 max 10 sum 10\n",
                             process.stdout.readline())
            process.stdout.readline()
            self.report(30)
            self.assertEqual("2 login.time count 1 min 30 mean 30 max 30 sum 30\n",
                             process.stdout.readline())
            self.journal.end()
            self.assertEqual("2 logins count 1 min 1 mean 1 max 1 sum 1\n", process.stdout.read())
            self.assertEqual(0, process.wait(timeout=TIMEOUT))


class Export(JournalTest):
    def test_csv(self):
        self.make_run()
        result = run("export", self.run_path, "--format", "csv", text=False)
        rows = list(csv.DictReader(io.StringIO(result.out.decode(), newline="")))
        self.assertEqual(30, len(rows))
        login = [row for row in rows if row["name"] == "login.time"]
        self.assertEqual([100 + i for i in range(10)],
                         [float(row["last_minimum"]) for row in login])
        self.assertEqual(result.out.count(b"\n"), result.out.count(b"\r\n"))

    def test_json(self):
        self.make_run()
        objects = [json.loads(line) for line in
                   run("export", self.run_path, "--format", "json").out.splitlines()]
        self.assertEqual(30, len(objects))
        (login,) = [each for each in objects
                    if each["name"] == "login.time" and each["slice_id"] == 10]
        self.assertEqual((20, 137), (login["count"], login["maximum"]))

    def test_line_protocol(self):
        self.make_run()
        lines = run("export", self.run_path, "--format", "influx", "--to", "1").out.splitlines()
        self.assertEqual(3, len(lines))
        for line in lines:
            self.assertRegex(line, r"^kzstat,generator=load,host=\S+,run=\w+,name=\S+,type=\w+"
                                   r" slice_id=1i,elapsed=1,\S+ 1700000001000000000$")

    def test_csv_for_spreadsheets(self):
        journals.make(self.run_path, [{("=HYPERLINK(1)", "Counter"): [1]}])
        plain = run("export", self.run_path, "--format", "csv").out
        safe = run("export", self.run_path, "--format", "csv", "--spreadsheet-safe").out
        self.assertEqual(plain.replace(",=HYPERLINK", ",'=HYPERLINK"), safe)
        self.assert_fails(run("export", self.run_path, "--format", "json", "--spreadsheet-safe"),
                          "--spreadsheet-safe")

    def test_messages(self):
        self.make_run()
        result = run("export", self.run_path, "--format", "messages", "--to", "2", text=False)
        first, second, rest = re.split(rb"(?:^|\n)\d+:", result.out)[1:] + [b""]
        self.assertEqual((b"", True), (rest, b"login.time" in first and b"login.time" in second))
        self.assert_fails(run("export", self.run_path, "--format", "messages",
                              "--percentiles", "50"), "messages are written as they were sent")

    def exported(self, *options):
        lines = run("export", self.run_path, "--format", "json", *options).out.splitlines()
        return [json.loads(line) for line in lines]

    def test_distributions(self):
        self.make_run(has_distributions=True)
        logins = [each["last_distribution"] for each in self.exported("--buckets")
                  if each["name"] == "login.time"]
        self.assertEqual([2] * 10, [each["count"] for each in logins])
        self.assertEqual([[109, 109.5, 1], [137, 138, 1]], logins[9]["buckets"])
        self.assertNotIn("last_distribution", self.exported()[0])

    def test_distributions_of_a_run_without(self):
        self.make_run()
        self.assertEqual({None}, {each["last_distribution"] for each in self.exported("--buckets")})

    def test_distributions_need_room(self):
        self.make_run()
        for format in ("csv", "influx"):
            self.assert_fails(run("export", self.run_path, "--format", format, "--buckets"),
                              "--buckets: only json has room for distributions")

    def test_which_percentiles(self):
        self.make_run(has_distributions=True)
        login = [each for each in self.exported("--percentiles", "25,99.9")
                 if each["name"] == "login.time"][9]
        self.assertEqual((109, 137), (login["last_p25"], login["last_p99.9"]))
        self.assertNotIn("last_p50", login)
        self.assert_fails(run("export", self.run_path, "--format", "csv", "--percentiles", "0"),
                          "--percentiles: 0 is not above 0")

    def test_an_unknown_format(self):
        self.assert_fails(run("export", self.run_path, "--format", "xml"), "--format")


class Compare(JournalTest):
    def setUp(self):
        super().setUp()
        self.make_run(slices=40)
        self.slower = self.make_run("slower.kzj", factor=1.5, slices=40)

    def compare(self, *conditions):
        return run("compare", self.run_path, self.slower,
                   *(word for condition in conditions for word in ("--fail-if", condition)))

    def make_distributed_runs(self):
        os.remove(self.run_path)
        os.remove(self.slower)
        self.make_run(slices=40, has_distributions=True)
        self.make_run("slower.kzj", factor=1.5, slices=40, has_distributions=True)

    def test_what_changed_is_marked(self):
        result = self.compare()
        self.assertEqual((0, ""), (result.status, result.err))
        marked = [line.split()[1] for line in result.out.splitlines() if line.startswith("*")]
        self.assertEqual(["login.time"], marked)
        (line,) = [line for line in result.out.splitlines() if "login.time" in line]
        self.assertIn("+50%", line)
        self.assertTrue(line.endswith("<0.001"), line)

    def test_times_without_figures(self):
        interrupted = self.make_interrupted_run("interrupted.kzj")
        lines = run("compare", self.run_path, interrupted).out.splitlines()
        self.assertEqual([f"{interrupted}: {text}" for text in ("4 slices", GAP, STANDSTILL)], lines[1:4])
        report = json.loads(run("compare", self.run_path, interrupted, "--format", "json").out)
        self.assertEqual([[], [GAP, STANDSTILL]],
                         [report[side]["runs"][0]["interruptions"] for side in ("first", "second")])

    def test_a_range_in_which_a_run_has_no_slice_is_refused(self):
        short = self.make_run("short.kzj", slices=3)
        for refused, options, expected in (
                (short, ("--from", "10"), "--from 10 s; the run has slices of 1 s from 0:00 to 0:03"),
                (self.run_path, ("--to", "0.5"), "--to 0.500 s; the run has slices of 1 s from 0:00 to 0:40"),
                (self.run_path, ("--from", "1.2", "--to", "2.5"), "--from 1.20 s --to 2.50 s; the run has")):
            for command in (("compare",), ("compare", "--format", "json"), ("report", "-o", self.path("page.html"))):
                with self.subTest((command, options)):
                    result = run(*command, self.run_path, short, *options)
                    self.assert_fails(result, f"{refused}: no slice lies in the range of {expected}")
                    self.assertEqual("", result.out)
        self.assertFalse(os.path.exists(self.path("page.html")))

    def percentile_rows(self, *options):
        rows = [line.partition("login.time")
                for line in self.compare_with(*options).splitlines()]
        return [[mark.strip(), *row.split()] for mark, name, row in rows
                if name and row.split()[0].startswith("p")]

    def compare_with(self, *options):
        result = run("compare", self.run_path, self.slower, *options)
        self.assertEqual((0, ""), (result.status, result.err))
        return result.out

    def test_percentiles_of_both_runs(self):
        self.make_distributed_runs()
        self.assertEqual([["*", "p50", "ms", "109.2", "163.5", "+54.25", "+49.66%", "<0.001"],
                          ["", "p95", "ms", "134.5", "201.5", "+67", "+49.81%", "-"],
                          ["", "p99", "ms", "137", "205.5", "+68.50", "+50%", "-"]],
                         self.percentile_rows())
        self.assertEqual(["p12.5"], [row[1] for row in self.percentile_rows("--percentiles",
                                                                            "12.5")])

    def test_percentiles_of_one_run_only(self):
        os.remove(self.slower)
        self.make_run("slower.kzj", factor=1.5, slices=40, has_distributions=True)
        self.assertEqual([["", "p50", "ms", "-", "163.5", "-", "-", "-"]],
                         self.percentile_rows("--percentiles", "50"))

    def test_no_percentiles_without_distributions(self):
        self.assertEqual([], self.percentile_rows())

    def test_a_comparison_fits_a_terminal(self):
        for path in (self.run_path, self.slower):
            os.remove(path)
            journals.make(path, [{("a.name.that.is.too.long.for.this", "Timer"): [1234.5 + i]}
                                 for i in range(3)], has_distributions=True)
        terminal = terminals.Terminal(self.folder, [KZSTAT, "compare", self.run_path, self.slower],
                                      width=80)
        self.addCleanup(terminal.close)
        terminal.wait_for_end()
        rows = terminal.screen().splitlines()[3:7]
        self.assertEqual(["mean", "p50", "p95", "p99"], [row.split()[1] for row in rows])

    def test_rows_are_cut_to_a_narrow_terminal(self):
        terminal = terminals.Terminal(self.folder, [KZSTAT, "compare", self.run_path, self.slower],
                                      width=40)
        self.addCleanup(terminal.close)
        terminal.wait_for_end()
        lines = terminal.screen().splitlines()[2:6]
        self.assertEqual(["name", "clients", "login.time", "logins"],
                         [line.lstrip("* ").split()[0] for line in lines])
        self.assertTrue(lines[0].endswith(">"), lines[0])

    def test_a_name_without_values_is_compared_by_their_rate(self):
        idle = journals.make(self.path("idle.kzj"), [{LOGIN: []}] * 40)
        for runs, cells in (((self.run_path, idle), ["2", "0", "-2", "-100%", "<0.001"]),
                            ((idle, self.run_path), ["0", "2", "+2", "-", "<0.001"])):
            lines = run("compare", *runs).out.splitlines()
            (row,) = [line.split() for line in lines if "login.time" in line]
            self.assertEqual(["*", "login.time", "values/s", *cells], row)

    def test_json(self):
        self.make_distributed_runs()
        result = run("compare", self.run_path, self.slower, "--format", "json", "--fail-if",
                     "login.time p50 > 1ms", "--fail-if", "logins sum -1")
        self.assertEqual((1, ""), (result.status, result.err))
        report = json.loads(result.out)
        (second,) = report["second"]["runs"]
        self.assertEqual((self.slower, "40 slices", []), (
            second["path"], second["completeness"], report["second"]["only_here"]))
        self.assertEqual(("slices", 0.03, None), (
            report["samples_are"], report["least_difference"], report["nothing_tested_because"]))
        self.assertEqual(["login.time p50 > 1ms: it is 163.5 ms"], report["failures"])
        login = next(each for each in report["names"] if each["name"] == "login.time")
        self.assertEqual(("mean", True, "marked"),
                         (login["tested"], login["is_significant"], login["finding"]))
        self.assertEqual({"first": 40, "second": 40}, login["samples"])
        self.assertLessEqual(login["effective_samples"]["first"], 40)
        self.assertEqual(["p50", "p95", "p99"], list(login["percentiles"]))
        median = login["percentiles"]["p50"]
        self.assertLess(median.pop("p_value"), 0.001)
        self.assertEqual({"first": 109.25, "second": 163.5, "difference": 54.25,
                          "relative_difference": 54.25 / 109.25, "is_significant": True,
                          "finding": "marked"}, median)
        self.assertEqual((None, False, "too_few_samples"),
                         tuple(login["percentiles"]["p99"][each]
                               for each in ("p_value", "is_significant", "finding")))
        counted = next(each for each in report["names"] if each["name"] == "logins")
        self.assertEqual({}, counted["percentiles"])

    def test_what_is_missing_is_null_in_json(self):
        os.remove(self.slower)
        self.make_run("slower.kzj", factor=1.5, slices=40, has_distributions=True)
        report = json.loads(self.compare_with("--format", "json"))
        login = next(each for each in report["names"] if each["name"] == "login.time")
        self.assertEqual({"first": None, "second": 163.5, "difference": None,
                          "relative_difference": None, "p_value": None, "is_significant": False,
                          "finding": "not_comparable"}, login["percentiles"]["p50"])

    def assert_cannot_tell(self, expected, *conditions):
        result = self.compare(*conditions)
        self.assertEqual((2, ""), (result.status, result.err))
        last = result.out.splitlines()[-1]
        self.assertTrue(last.startswith(f"cannot tell: {conditions[-1]}: "), last)
        self.assertIn(expected, last)

    def test_a_failure_beside_a_condition_that_cannot_be_told(self):
        conditions = ("login.time p95 > 1s", "login.time max +10%")
        result = self.compare(*conditions)
        self.assertEqual((1, ""), (result.status, result.err))
        failed, unknown = result.out.splitlines()[-2:]
        self.assertEqual("failed: login.time max +10%: 137 became 205.5", failed)
        self.assertTrue(unknown.startswith("cannot tell: login.time p95 > 1s: "), unknown)
        result = run("compare", "--format", "json", "--fail-if", conditions[0], "--fail-if",
                     conditions[1], self.run_path, self.slower)
        self.assertEqual((1, ""), (result.status, result.err))
        report = json.loads(result.out)
        self.assertEqual((1, 1), (len(report["failures"]), len(report["cannot_tell"])))

    def test_a_condition_that_keeps_quiet(self):
        self.assertEqual(0, self.compare("login.time mean +60%", "logins sum -1").status)

    def test_of_conditions_that_mean_the_same_one_is_told(self):
        self.make_distributed_runs()
        result = self.compare("login.time p95 > 150ms", "login.time p95.0>0.15s", "logout mean +1%", "logout mean +1.0%")
        self.assertEqual(["failed: login.time p95 > 150ms: it is 201.5 ms"],
                         [line for line in result.out.splitlines() if line.startswith("failed: ")])
        self.assertEqual(1, result.out.count("cannot tell: "))

    def test_a_condition_on_a_percentile(self):
        self.make_distributed_runs()
        self.assertEqual(0, self.compare("login.time p99 +60%").status)
        self.assertEqual(1, self.compare("login.time p99 +40%").status)

    def test_a_condition_that_fails(self):
        result = self.compare("logins sum -1", "login.time max +10%")
        self.assertEqual((1, ""), (result.status, result.err))
        self.assertTrue(result.out.endswith(
            "failed: login.time max +10%: 137 became 205.5\n"), result.out)

    def test_a_bound_of_the_second_run(self):
        self.make_distributed_runs()
        self.assertEqual(0, self.compare("login.time p95 > 0.25s", "logins rate < 2").status)
        result = self.compare("login.time p95 > 150ms")
        self.assertEqual((1, ""), (result.status, result.err))
        self.assertTrue(result.out.endswith(
            "failed: login.time p95 > 150ms: it is 201.5 ms\n"), result.out)

    def test_a_percentile_that_a_run_does_not_have(self):
        for condition, which in (("login.time p95 > 1s", "second"),
                                 ("login.time p95 +1%", "first")):
            self.assert_cannot_tell(f"the {which} run has no p95 of login.time, nor the"
                                    " distribution of all its values", condition)

    def test_what_is_no_condition_is_refused(self):
        for text in ("login.time mean", "login.time p95 > 1h"):
            self.assert_fails(self.compare(text), "is no condition like")

    def test_a_condition_that_cannot_be_told(self):
        self.assert_cannot_tell("the first run has no logout.time", "logout.time mean +1%")

    def test_names_of_one_run_only(self):
        self.slower = journals.make(self.path("other.kzj"), [{("logouts", "Counter"): [1]}] * 40)
        out = self.compare().out
        self.assertIn("only in the first run: login.time\n", out)
        self.assertIn("only in the second run: logouts\n", out)
        (row,) = [line.split() for line in out.splitlines() if "logouts  " in line]
        self.assertEqual(["*", "logouts", "rate/s", "0", "1", "+1", "-", "<0.001"], row)

    def test_a_condition_on_a_name_of_one_run(self):
        self.slower = journals.make(self.path("other.kzj"), [{("errors", "Counter"): [1]}] * 40)
        result = self.compare("errors rate +0.1")
        self.assertTrue(result.out.endswith("failed: errors rate +0.1: 0 became 1\n"), result.out)
        self.assertEqual(1, result.status)
        self.assertEqual(0, self.compare("logins sum > 0", "login.time count > 0").status)
        self.assert_cannot_tell("the second run has no mean of login.time", "login.time mean > 1ms")
        self.assert_cannot_tell("the first run has no eror", "eror rate +0.1")

    def test_a_condition_on_failures_of_which_there_are_none(self):
        self.assertEqual(0, self.compare("login.time.failed count > 0").status)
        self.assertEqual(1, self.compare("login.time.failed count < 1").status)

    def test_too_few_slices(self):
        short = self.make_run("short.kzj", factor=2)
        self.slower = short
        report = json.loads(self.compare_with("--format", "json"))
        self.assertEqual("nothing is marked: that takes at least 30 slices a side, and there are 40"
                         " and 10", report["nothing_tested_because"])
        login = next(each for each in report["names"] if each["name"] == "login.time")
        self.assertEqual((None, False, "too_few_samples", {"first": 40, "second": 10}), (
            login["p_value"], login["is_significant"], login["finding"], login["samples"]))
        self.assertEqual(None, login["effective_samples"]["second"])

    def test_several_runs_a_side(self):
        runs = [self.make_run(f"{i}.kzj", factor=factor, has_distributions=True)
                for i, factor in enumerate((1, 1.01, 1.5, 1.52))]
        result = run("compare", *runs[:2], "--", *runs[2:], "--fail-if", "login.time p95 > 150ms")
        self.assertEqual((1, ""), (result.status, result.err))
        lines = result.out.splitlines()
        self.assertEqual([f"{path}: 10 slices" for path in runs], lines[:4])
        self.assertEqual([["login.time", "mean"], ["login.time", "p50"]],
                         [line.split()[1:3] for line in lines if line.startswith("*")])
        report = json.loads(run("compare", *runs[:2], "--", *runs[2:], "--format", "json").out)
        self.assertEqual(("runs", runs[2:]), (
            report["samples_are"], [each["path"] for each in report["second"]["runs"]]))


class Merge(JournalTest):
    def test_generators_of_one_test(self):
        one = self.make_run("one.kzj")
        two = self.make_run("two.kzj", start=1.7e9 + 3)
        result = run("merge", one, two, "-o", self.run_path)
        self.assertEqual((0, ""), (result.status, result.err))
        self.assertEqual([f"{one}: 10 slices", f"{two}: 10 slices",
                          f"slices 1 to 3: 1 of 2 {one}", f"slices 4 to 10: 2 of 2 {one} {two}",
                          f"slices 11 to 13: 1 of 2 {two}",
                          f"{self.run_path}: 13 slices"], result.out.splitlines())
        self.assertEqual("40", self.table()["login.time"]["count"])
        self.assertEqual((0, "13 slices, every value accounted for, as in its 2 sources\n", ""),
                         run("check", self.run_path))
        journal = sqlite3.connect(self.run_path)
        self.addCleanup(journal.close)
        self.assertEqual([(1, 1), (4, 2), (13, 1)], journal.execute(
            "SELECT slice_id, count(*) FROM slice_sources WHERE slice_id IN (1, 4, 13)"
            " GROUP BY slice_id").fetchall())

    def test_a_run_is_not_overwritten(self):
        one = self.make_run("one.kzj")
        two = self.make_run("two.kzj")
        self.assert_fails(run("merge", one, two, "-o", two), "it belongs to the journal")
        self.assertEqual(0, run("check", two).status)

    def test_a_merge_that_is_stopped_leaves_no_file(self):
        for name in ("one", "two"):
            journals.make(self.path(name), [{(f"n{j}", "Timer"): [i] for j in range(50)}
                                            for i in range(200)], generator=name)
        merged = self.path("both")
        with subprocess.Popen([KZSTAT, "merge", self.path("one"), self.path("two"), "-o", merged],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
            while process.poll() is None and not glob.glob(merged + ".new-*"):
                time.sleep(0.001)
            process.send_signal(signal.SIGTERM)
        self.assertEqual([], glob.glob(merged + ".new-*"))

    def test_what_does_not_fit_together(self):
        one = self.make_run("one.kzj")
        two = self.make_run("two.kzj", slice_length=2)
        self.assert_fails(run("merge", one, two, "-o", self.run_path), "merge runs of one length")
        self.assertFalse(os.path.exists(self.run_path))

    def test_a_run_within_a_merged_one(self):
        one = self.make_run("one.kzj")
        two = self.make_run("two.kzj")
        three = self.make_run("three.kzj")
        both = self.path("both.kzj")
        run("merge", one, two, "-o", both)
        self.assert_fails(run("merge", both, one, "-o", self.run_path), "give each run once")
        result = run("merge", both, three, "-o", self.run_path)
        self.assertEqual([f"{both}: 10 slices", f"{three}: 10 slices",
                          f"slices 1 to 10: 3 of 3 {both}#1 {both}#2 {three}",
                          f"{self.run_path}: 10 slices"],
                         result.out.splitlines())
        self.assertEqual("10 slices, every value accounted for, as in its 3 sources\n",
                         run("check", self.run_path).out)

    def test_a_merge_again_when_a_run_has_gone_on(self):
        one = self.make_run("one.kzj")
        journal = journals.Journal(self.path("two.kzj"))
        self.addCleanup(journal.leave)
        for slices in ("slice 1: 2 of 2", "slices 1 to 2: 2 of 2"):
            journal.value(*LOGINS, 100)
            journal.slice()
            result = run("merge", one, journal.path, "-o", self.run_path)
            self.assertEqual((0, ""), (result.status, result.err))
            self.assertIn("\n" + slices, result.out)
        self.assertEqual("220", self.table()["logins"]["sum"])
        self.assertEqual(["one.kzj", "run.kzj"], sorted(
            name for name in os.listdir(self.folder) if not name.startswith("two.kzj")))

    def test_a_name_of_two_types(self):
        one = self.make_run("one.kzj")
        two = journals.make(self.path("two.kzj"), [{("logins", "Timer"): [1]}])
        self.assert_fails(run("merge", one, two, "-o", self.run_path),
                          "cannot merge: logins is of type ")
        self.assertFalse(os.path.exists(self.run_path))


class Note(JournalTest):
    """The runs begin at 2023-11-14 22:13:20 UTC and take ten seconds."""

    def note(self, *arguments):
        return run("note", self.run_path, *arguments)

    def shown(self):
        return [line for line in run("show", self.run_path).out.splitlines()
                if re.match(r"20\S+ \S+ UTC  ", line)]

    def test_it_is_shown_at_its_time(self):
        self.make_run()
        self.assertEqual("2023-11-14 22:13:25 UTC  second\n", self.note("--at", "5s", "second").out)
        self.assertEqual(0, self.note("--at", "22:13:22", "first").status)
        self.assertEqual(["2023-11-14 22:13:22 UTC  first", "2023-11-14 22:13:25 UTC  second"],
                         self.shown())
        self.assertEqual(0, run("check", self.run_path).status)

    def test_it_is_added_while_the_run_is_active(self):
        journal = journals.Journal(self.run_path)
        journal.value("logins", "Counter", 1)
        journal.slice()
        self.assertEqual(0, self.note("now").status)
        self.assertEqual(0, self.note("--at", "0.5", "early").status)
        journal.slice()
        journal.end()
        self.assertEqual(["early", "now"], [line.split("  ")[1] for line in self.shown()])
        self.assertIn("2 slices, every value accounted for", run("check", self.run_path).out)

    def test_a_time_of_day_may_be_that_of_the_next_day(self):
        self.make_run(start=1.7e9 + 6395)  # five seconds before midnight
        self.assertIn("2023-11-15 00:00:01 UTC", self.note("--at", "00:00:01", "x").out)
        self.assertIn("2023-11-14 23:59:55 UTC", self.note("--at", "23:59:55", "x").out)

    def test_times_that_are_none_are_refused(self):
        self.make_run()
        for time_of_note in ("tomorrow", "-1", "5x", "24:00", "12:60", "1:2:3:4", "nan", "1e999"):
            self.assert_fails(self.note(f"--at={time_of_note}", "x"), "--at")
        self.assert_fails(self.note("--at", "", "x"), "--at")
        self.assertEqual([], self.shown())

    def test_moments_outside_the_run_are_refused(self):
        self.make_run()
        end = "2023-11-14 22:13:30 UTC"
        self.assert_fails(self.note("--at", "12s", "x"),
                          f"--at: 2023-11-14 22:13:32 UTC is after the end of the run at {end}")
        self.assert_fails(self.note("--at", "22:13:19", "x"),
                          "--at: 2023-11-14 22:13:19 UTC is before the start of the run at"
                          " 2023-11-14 22:13:20 UTC")
        result = self.note("x")
        self.assert_fails(result, f" UTC is after the end of the run at {end}; see --at")
        self.assertNotIn("--at:", result.err)
        self.make_run("later.kzj", start=4e9)
        self.assert_fails(run("note", self.path("later.kzj"), "x"),
                          " is before the start of the run at 2096-10-02 07:06:40 UTC")
        self.assertEqual([], self.shown())

    def test_the_size_limit_of_files_is_told(self):
        self.make_run()

        size = os.path.getsize(self.run_path)
        for limit in (600, size // 2, size - 1, size):
            def limit_size():
                resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))

            self.assert_fails(run("note", self.run_path, "--at", "1", "x" * 60000,
                                  preexec_fn=limit_size),
                              f"cannot write {self.run_path}: ")
            self.assertEqual(["run.kzj"], os.listdir(self.folder))
        self.assertEqual([], self.shown())

    def test_blank_texts_are_refused(self):
        self.make_run()
        for text in ("", " \t\n"):
            self.assert_fails(self.note("--at", "1", text), "TEXT: it is blank")
        self.assertEqual([], self.shown())

    def test_any_text_is_shown_as_one_line(self):
        self.make_run()
        self.assertEqual(0, self.note("--at", "1", "a\nb\x1b[31m").status)
        self.assertEqual(1, len(self.shown()))
        self.assertNotIn("\x1b", self.shown()[0])

    def test_a_file_that_may_not_be_written_is_refused(self):
        self.make_run()
        os.chmod(self.run_path, 0o400)
        if os.geteuid() != 0:
            self.assert_fails(self.note("--at", "1", "x"), "it may not be written")
        self.assert_fails(run("note", self.path("none"), "x"), "No such file or directory")

    def test_a_merged_run_has_those_of_its_sources_and_its_own(self):
        one, two = self.make_run("one.kzj"), self.make_run("two.kzj")
        run("note", one, "--at", "1", "of one")
        self.assertEqual(0, run("merge", one, two, "-o", self.run_path).status)
        self.assertEqual(0, self.note("--at", "2", "of both").status)
        self.assertEqual(["2023-11-14 22:13:21 UTC  of one", "2023-11-14 22:13:22 UTC  of both"],
                         self.shown())
        self.assertEqual(0, run("check", self.run_path).status)

    def test_a_run_that_is_merged_again_keeps_what_users_added_to_it(self):
        one = self.make_run("one.kzj")
        two = self.make_run("two.kzj", start=1.7e9 + 20)
        self.assertEqual(0, run("merge", one, two, "-o", self.run_path).status)
        run("note", one, "--at", "1", "of one")
        self.note("--at", "2", "of both")
        run("verdict", self.run_path, "--store", "--require", "login.time count > 0")
        self.assertEqual(0, run("merge", one, two, "-o", self.run_path).status)
        self.assertEqual(["of one", "of both", "gap: no run has slices 11 to 20 (10 s)",
                          "restart: load"],
                         [line.split("  ")[1].split(" on ")[0] for line in self.shown()])
        self.assertIn("login.time count > 0", run("verdict", self.run_path).out)
        self.assertEqual(0, run("check", self.run_path).status)


class RunsInSequence(JournalTest):
    """Runs of a generator that was started again."""

    def setUp(self):
        super().setUp()
        self.one = self.make_run("one.kzj")
        self.two = self.make_run("two.kzj", start=1.7e9 + 100.3)
        self.merged = run("merge", self.one, self.two, "-o", self.run_path)

    def test_a_gap_and_a_restart_are_legal(self):
        self.assertEqual((0, ""), (self.merged.status, self.merged.err))
        self.assertEqual(["slices 1 to 10: 1 of 2 " + self.one, "slices 11 to 100: none, a gap",
                          "slices 101 to 110: 1 of 2 " + self.two],
                         self.merged.out.splitlines()[2:5])
        self.assertEqual((0, "20 slices, every value accounted for, as in its 2 sources\n", ""),
                         run("check", self.run_path))
        self.assertEqual("40", self.table_below_notes()["logins"])

    def table_below_notes(self):
        rows = run("show", self.run_path).out.partition("\nname ")[2].splitlines()[1:]
        return {row.split()[0]: row.split()[-2] for row in rows}

    def test_they_are_marked_in_the_file(self):
        with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
            host = os.uname().nodename
            self.assertEqual(
                [(0, 1.7e9 + 10, "gap: no run has slices 11 to 100 (90 s)"),
                 (0, 1.7e9 + 101, f"restart: load on {host} begins again in slice 101")],
                journal.execute("SELECT run_number, time, text FROM notes ORDER BY note_id")
                .fetchall())

    def test_they_are_shown(self):
        lines = run("show", self.run_path).out.splitlines()
        self.assertEqual("2023-11-14 22:13:30 UTC  gap: no run has slices 11 to 100 (90 s)",
                         lines[2])
        self.assertIn("  restart: load on ", lines[3])

    def test_they_are_exported(self):
        out = run("export", self.run_path, "--format", "csv").out
        gaps = {row["slice_id"]: row["gap_before"] for row in csv.DictReader(io.StringIO(out))}
        self.assertEqual({"101": "90"}, {key: gap for key, gap in gaps.items() if gap != "0"})

    def test_a_mark_that_is_not_so_is_found(self):
        for damage in ("DELETE FROM notes WHERE note_id = 1",
                       "UPDATE notes SET text = 'gap: no run has slice 5 (1 s)' WHERE note_id = 1",
                       "INSERT INTO notes (run_number, time, text) VALUES (0, 1, 'x')"):
            with self.subTest(damage):
                path = self.path("damaged.kzj")
                shutil.copy(self.run_path, path)
                with contextlib.closing(sqlite3.connect(path)) as journal:
                    journal.execute(damage)
                    journal.commit()
                self.assertEqual(1, run("check", path).status)

    def test_a_merge_through_levels_marks_the_same(self):
        three = self.make_run("three.kzj", start=1.7e9 + 50)
        both = self.path("both.kzj")
        run("merge", self.run_path, three, "-o", both)
        self.assertIn("gap: no run has slices 11 to 50 (40 s)", run("show", both).out)
        self.assertIn("gap: no run has slices 61 to 100 (40 s)", run("show", both).out)
        self.assertEqual(0, run("check", both).status)

    def test_slices_of_other_lengths_are_refused_however_close(self):
        for length in (2, 1.0000000000000002, 0.9999999999999999):
            with self.subTest(length):
                other = self.make_run(f"{length}.kzj", slice_length=length)
                self.assert_fails(run("merge", self.one, other, "-o", self.path("none.kzj")),
                                  "merge runs of one length")
                self.assertFalse(os.path.exists(self.path("none.kzj")))

    def test_short_slices_far_apart(self):
        one = self.make_run("short.kzj", slice_length=0.1)
        two = self.make_run("later.kzj", slice_length=0.1, start=1.7e9 + 86400 * 7 + 0.123)
        path = self.path("week.kzj")
        self.assertEqual(0, run("merge", one, two, "-o", path).status)
        self.assertEqual((0, "20 slices, every value accounted for, as in its 2 sources\n", ""),
                         run("check", path))

    def test_a_merge_of_a_run_that_has_not_ended_has_not_ended(self):
        journal = journals.Journal(self.path("going.kzj"))
        self.addCleanup(journal.leave)
        journal.value(*LOGINS, 1)
        journal.slice()
        path = self.path("merge.kzj")
        result = run("merge", self.one, journal.path, "-o", path)
        self.assertEqual([f"{self.one}: 10 slices",
                          f"{journal.path}: not ended, at least 1 slice"],
                         result.out.splitlines()[:2])
        self.assertEqual(f"{path}: not ended, at least 10 slices", result.out.splitlines()[-1])
        self.assertEqual((0, "not ended, at least 10 slices, every value accounted for, as in its"
                             " 2 sources\n", ""), run("check", path))
        journal.end()
        run("merge", self.one, journal.path, "-o", path)
        self.assertNotIn("not ended", run("show", path).out)


class Completeness(JournalTest):
    """Every command says how much of a run it has before it."""

    def assert_all_say(self, expected):
        path = self.run_path
        self.assertIn(f", {expected} of 1 s\n", run("show", path).out)
        self.assertIn(f"{path}: {expected}\n", run("compare", path, path).out)
        self.assertEqual(f"{path}: {expected}\n",
                         run("export", path, "--format", "csv").err)
        self.assertEqual(f"{path}: {expected}\n",
                         run("report", path, "-o", self.path("page.html")).err)
        self.assertTrue(run("check", path).out.startswith(expected))
        self.assertIn(f"{path}: {expected}\n", run(
            "merge", path, self.make_run(), "-o", self.path("merged.kzj")).out)
        os.unlink(self.path("run.kzj"))
        os.unlink(self.path("merged.kzj"))
        with subprocess.Popen([KZSTAT, "serve", path, "--port", "0"], text=True,
                              stdout=subprocess.PIPE) as process:
            self.assertIn(f"serving {path}: {expected}, at http://", process.stdout.readline())
            process.send_signal(signal.SIGHUP)
            self.assertEqual(0, process.wait(timeout=TIMEOUT))

    def test_a_run_that_ended(self):
        self.run_path = self.make_run("seen.kzj")
        self.assert_all_say("10 slices")

    def test_a_run_that_lost_slices(self):
        self.run_path = self.make_run("seen.kzj")
        with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
            journal.execute("UPDATE runs SET lost_slices = 2, expected_slices = 12")
            journals.seal_runs(journal)
            journal.commit()
        self.assert_all_say("10 of 12 slices")

    def test_a_run_that_has_not_ended(self):
        self.run_path = self.path("seen.kzj")
        journal = journals.Journal(self.run_path)
        journal.value(*LOGINS, 1)
        journal.slice()
        journal.leave()
        self.assert_all_say("not ended, at least 1 slice")

    def test_lines_that_follow_a_run(self):
        self.make_run()
        self.assertEqual(f"{self.run_path}: 10 slices\n", run("show", "--follow",
                                                             self.run_path).err)


class Check(JournalTest):
    def damage(self, sql):
        with sqlite3.connect(self.run_path) as journal:
            journal.execute(sql)
            journals.seal_runs(journal)
        journal.close()

    def test_a_whole_run(self):
        self.make_run()
        self.assertEqual((0, "10 slices, every value accounted for\n", ""),
                         run("check", self.run_path))

    def test_the_first_violation(self):
        self.make_run()
        self.damage("DELETE FROM slices WHERE slice_id IN (4, 7)")
        self.assertEqual((1, "8 of 10 slices\nslice 5: it comes after slice 3\n", ""), run("check", self.run_path))

    def test_slices_that_could_not_be_kept(self):
        self.make_run()
        for damage in ("lost_slices = 2", "lost_slices = 0, expected_slices = 12"):
            self.damage("UPDATE runs SET " + damage)
            self.assertEqual((1, "10 of 12 slices\nafter slice 10: 2 slices could not be kept\n", ""),
                             run("check", self.run_path))

    def test_a_record_that_was_changed(self):
        self.make_run()
        self.damage("UPDATE records SET last_sum = last_sum + 1 WHERE slice_id = 3")
        result = run("check", self.run_path)
        self.assertEqual((1, ""), (result.status, result.err))
        self.assertRegex(result.out, r"^10 slices\ncannot read .*run\.kzj: slice 3 .*\n$")

    def test_a_run_that_a_merged_one_was_made_of(self):
        one = self.make_run("one.kzj")
        two = self.make_run("two.kzj")
        run("merge", one, two, "-o", self.run_path)
        self.damage("UPDATE runs SET lost_slices = 1 WHERE number = 2")
        result = run("check", self.run_path)
        self.assertEqual((1, ""), (result.status, result.err))
        self.assertRegex(result.out, r"^10 slices\nsource 2, load on \S+: after slice 10: 1 slice could not")

    def test_more_slices_than_there_should_be(self):
        self.make_run()
        self.damage("UPDATE runs SET expected_slices = 9")
        self.assertEqual((1, "10 slices\nafter slice 10: there should be only 9 slices\n", ""),
                         run("check", self.run_path))

    def test_a_merged_run_of_runs_at_different_times(self):
        one = self.make_run("one.kzj")
        two = self.make_run("two.kzj", start=1.7e9 + 100)
        run("merge", one, two, "-o", self.run_path)
        self.assertEqual((0, "20 slices, every value accounted for, as in its 2 sources\n", ""),
                         run("check", self.run_path))

    def test_what_a_merged_run_lacks(self):
        one = self.make_run("one.kzj")
        two = self.make_run("two.kzj", start=1.7e9 + 3)
        merged = self.path("merged.kzj")
        run("merge", one, two, "-o", merged)
        with contextlib.closing(sqlite3.connect(merged)) as journal:
            first, second = (number for number, in journal.execute(
                "SELECT number FROM runs WHERE number > 0 ORDER BY start_time"))
        for damage, violation in (
                (f"DELETE FROM runs WHERE number = {first}", "slice 1: "),
                (f"DELETE FROM runs WHERE number = {second}", "slice 4: "),
                ("DELETE FROM runs WHERE number > 0", "slice 1: "),
                (f"UPDATE runs SET parent = 7 WHERE number = {first}", "slice 1: "),
                ("DELETE FROM slice_sources WHERE slice_id = 5", "slice 5: "),
                (f"DELETE FROM slice_sources WHERE run_number = {second}", "slice 4: "),
                (f"INSERT INTO slice_sources VALUES (2, {second})", "slice 2: "),
                ("INSERT INTO slice_sources VALUES (2, 7)", "slice 2: "),
                ("DELETE FROM slices WHERE run_number = 0 AND slice_id = 13", "")):
            with self.subTest(damage):
                shutil.copy(merged, self.run_path)
                self.damage(damage)
                result = run("check", self.run_path)
                self.assertEqual((1, ""), (result.status, result.err))
                self.assertIn("slices\n" + violation, result.out)


class Usage(JournalTest):
    def test_help_has_an_example(self):
        for command in COMMANDS:
            result = run(command, "--help")
            self.assertEqual((0, ""), (result.status, result.err))
            self.assertIn(f"\nExample: kzstat {command} ", result.out)

    def test_mistakes(self):
        self.assert_fails(run(), "a command is missing; the commands are show, report, ")
        self.assert_fails(run("paint"), "there is no command paint; the commands are show, ")
        self.assert_fails(run("show"), "see kzstat show --help")
        self.assert_fails(run("show", "x", "--from", "tomorrow"),
                          "--from: 'tomorrow' is no time such as 90, 90s or 1.5m")
        self.assert_fails(run("merge", "x", "-o", "y"), "see kzstat merge --help")

    def test_files_that_cannot_be_read(self):
        notes = self.path("notes")
        with open(notes, "w") as file:
            file.write("Notes that are long enough to be looked at by any program at all.\n")
        for command in (("show",), ("check",), ("export", "--format", "csv")):
            self.assert_fails(run(*command, notes), f"cannot read {notes}: it is not a journal")
            self.assert_fails(run(*command, self.path("none")), "No such file or directory")
            self.assert_fails(run(*command, self.folder), f"cannot read {self.folder}: ")

    def test_a_reader_that_waits_for_its_output_holds_nothing_of_the_file(self):
        journal = journals.Journal(self.run_path)
        self.addCleanup(journal.leave)
        for i in range(20):
            for name in range(200):
                journal.value(f"name.{name}", "Counter", i)
            journal.slice()
        # More than a pipe holds, and nobody reads it.
        with subprocess.Popen([KZSTAT, "export", self.run_path, "--format", "csv"],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              bufsize=0) as process:
            process.stdout.read(1)
            with contextlib.closing(sqlite3.connect(self.run_path)) as database:
                ((busy, _, _),) = database.execute("PRAGMA wal_checkpoint(TRUNCATE)").fetchall()
            self.assertEqual(0, busy)
            self.assertEqual(0, os.path.getsize(self.run_path + "-wal"))
            self.assertIsNone(process.poll())
            process.stdout.close()

    def test_a_reader_that_goes_away(self):
        self.make_run()
        for command in (("show",), ("export", "--format", "csv"), ("show", "--follow")):
            with subprocess.Popen([KZSTAT, *command, self.run_path], stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, text=True) as process:
                process.stdout.close()
                self.assertEqual("", process.stderr.read())
                self.assertEqual(0, process.wait(timeout=TIMEOUT))

    def test_a_full_disk(self):
        self.make_run()
        with open("/dev/full", "w") as full:
            result = run("show", self.run_path, capture_output=False, stdout=full,
                         stderr=subprocess.PIPE)
        self.assertEqual(2, result.status)
        self.assertEqual("kzstat: cannot write to standard output: No space left on device\n",
                         result.err)


class Files(JournalTest):
    """What is written is none of what is read, and comes as a whole."""

    def content(self, path):
        with open(path, "rb") as file:
            return file.read()

    def test_a_page_does_not_go_over_the_run(self):
        self.make_run()
        before = self.content(self.run_path)
        os.symlink("run.kzj", self.path("link"))
        os.link(self.run_path, self.path("name"))
        for page in ("run.kzj", "link", "name", "./../" + os.path.basename(self.folder) +
                     "/run.kzj", "run.kzj-wal", "run.kzj-shm", "run.kzj-journal"):
            with self.subTest(page):
                self.assert_fails(run("report", self.run_path, "-o", self.path(page)),
                                  f"cannot write {self.path(page)}: it belongs to the journal")
        self.assertEqual(before, self.content(self.run_path))
        self.assertEqual({"run.kzj", "link", "name"}, set(os.listdir(self.folder)))

    def test_a_page_does_not_go_over_another_run(self):
        self.make_run()
        other = self.make_run("other.kzj")
        self.assert_fails(run("report", self.run_path, "-o", other),
                          f"cannot write {other}: it is a journal")
        self.assertEqual(0, run("check", other).status)

    def test_a_page_of_several_runs_goes_over_none_of_them(self):
        self.make_run()
        other = self.make_run("other.kzj")
        self.assert_fails(run("report", self.run_path, other, "-o", other),
                          f"cannot write {other}: it belongs to the journal")
        self.assertEqual(0, run("check", other).status)

    def test_a_page_of_runs_of_which_one_cannot_be_read(self):
        self.make_run()
        page = self.path("page.html")
        with open(self.path("text"), "w") as file:
            file.write("no journal")
        for unreadable in ("text", "missing.kzj"):
            self.assert_fails(run("report", self.run_path, self.path(unreadable), "-o", page),
                              self.path(unreadable))
        self.assert_fails(run("report", self.run_path, self.run_path, "-o", page),
                          f"{self.run_path}: this run is there twice")
        self.assertFalse(os.path.exists(page))

    def test_standard_output_does_not_go_over_the_run(self):
        self.make_run()
        before = self.content(self.run_path)
        for command in (("export", "--format", "csv"), ("show",), ("report", "-o", "-"),
                        ("check",)):
            with self.subTest(command), open(self.run_path, "ab") as file:
                self.assert_fails(run(*command, self.run_path, capture_output=False, stdout=file,
                                      stderr=subprocess.PIPE),
                                  "cannot write to standard output: it belongs to the journal")
        self.assertEqual(before, self.content(self.run_path))

    def test_a_page_replaces_the_former_one_as_a_whole(self):
        self.make_run()
        page = self.path("page.html")
        with open(page, "w") as file:
            file.write("former")
        os.chmod(page, 0o640)
        os.symlink("page.html", self.path("link"))
        former = os.open(page, os.O_RDONLY)
        self.addCleanup(os.close, former)
        self.assertEqual(0, run("report", self.run_path, "-o", self.path("link")).status)
        self.assertTrue(os.path.islink(self.path("link")))
        self.assertTrue(self.content(page).startswith(b"<!doctype html>"))
        self.assertEqual(0o640, os.stat(page).st_mode & 0o7777)
        self.assertEqual(b"former", os.read(former, 100))
        self.assertEqual({"run.kzj", "page.html", "link"}, set(os.listdir(self.folder)))

    def test_a_page_that_cannot_be_written_leaves_the_former_one(self):
        self.make_run()
        page = self.path("page.html")
        with open(page, "w") as file:
            file.write("former")

        def limit_size():
            resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))

        self.assert_fails(run("report", self.run_path, "-o", page, preexec_fn=limit_size), f"cannot write {page}: File too large")
        self.assertEqual(b"former", self.content(page))
        self.assertEqual({"run.kzj", "page.html"}, set(os.listdir(self.folder)))

    def test_a_page_goes_into_pipes_and_streams(self):
        self.make_run()
        with open(self.path("page.html"), "wb") as file:
            file.write(b"before\n")
            file.flush()
            result = run("report", self.run_path, "-o", "/dev/stdout", capture_output=False,
                         stdout=file, stderr=subprocess.PIPE)
            self.assertEqual(0, result.status, result.err)
            file.seek(0, os.SEEK_END)
            file.write(b"after\n")
        content = self.content(self.path("page.html"))
        self.assertTrue(content.startswith(b"before\n<!doctype html>"))
        self.assertTrue(content.endswith(b"after\n"))
        os.mkfifo(self.path("pipe"))
        with subprocess.Popen(["cat", self.path("pipe")], stdout=subprocess.PIPE) as cat:
            run("report", self.run_path, "-o", self.path("pipe"))
            self.assertTrue(cat.stdout.read().startswith(b"<!doctype html>"))

    def test_a_pipe_is_no_journal(self):
        pipe = self.path("pipe")
        os.mkfifo(pipe)
        other = self.make_run()
        for command in (("show",), ("show", "--follow"), ("check",), ("export", "--format", "csv"),
                        ("report", "-o", self.path("page")), ("serve", "--port", "0"),
                        ("compare", other), ("merge", other, "-o", self.path("merged"))):
            with self.subTest(command):
                self.assert_fails(run(*command, pipe),
                                  f"cannot use {pipe} as a journal: it is a pipe")


class Colours(JournalTest):
    def compare_on_a_terminal(self, environment=None):
        one = self.make_run("one.kzj", slices=40)
        two = self.make_run("two.kzj", factor=2, slices=40)
        terminal = terminals.Terminal(self.folder, [KZSTAT, "compare", one, two],
                                      environment=environment)
        self.addCleanup(terminal.close)
        terminal.wait_for_end()
        return terminal.screen(with_colours=True)

    def test_on_a_terminal_what_changed_stands_out(self):
        self.assertRegex(self.compare_on_a_terminal(), r"\x1b\[1m\* +login\.time")

    def test_not_where_nobody_wants_them(self):
        self.assertNotIn("\x1b", self.compare_on_a_terminal({"NO_COLOR": "1"}))

    def test_not_in_a_pipe(self):
        one = self.make_run("one.kzj", slices=40)
        two = self.make_run("two.kzj", factor=2, slices=40)
        self.assertNotIn("\x1b", run("compare", one, two).out)


if __name__ == "__main__":
    unittest.main()
