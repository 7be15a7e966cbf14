"""Tests of files that somebody made to harm whoever reads them. KZSTAT and JOURNALMAKER name the
programs."""

import contextlib
import os
import resource
import sqlite3
import subprocess
import tempfile
import unittest

import journals

KZSTAT = os.environ["KZSTAT"]
# A second is enough, but not on a machine that does much else.
TIMEOUT = 20
MEMORY = 100 << 20

LOGIN = ("login.time", "Timer")
ENDLESS = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i FROM n) "


def limit_memory():
    resource.setrlimit(resource.RLIMIT_DATA, (MEMORY, MEMORY))


class HostileFile(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.run_path = os.path.join(folder.name, "run.kzj")
        self.other_path = os.path.join(folder.name, "other.kzj")
        self.result_path = os.path.join(folder.name, "result")
        journals.make(self.run_path, [{LOGIN: [i]} for i in range(10)])
        journals.make(self.other_path, [{LOGIN: [1]}])

    def damage(self, sql, seals=False):
        with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
            journal.executescript(f"BEGIN; {sql}; COMMIT")
            if seals:
                journals.seal_runs(journal)
            journal.commit()

    def assert_refused(self, expected):
        for arguments in (
                ("show", self.run_path), ("show", self.run_path, "--follow"),
                ("show", self.run_path, "--from", "2"), ("check", self.run_path),
                ("report", self.run_path, "-o", self.result_path + ".html"),
                ("export", self.run_path, "--format", "csv"), ("serve", self.run_path, "--port", "0"),
                ("compare", self.other_path, self.run_path),
                ("merge", self.other_path, self.run_path, "-o", self.result_path + ".kzj")):
            with self.subTest(arguments):
                done = subprocess.run(
                    [KZSTAT, *arguments], stdin=subprocess.DEVNULL, capture_output=True,
                    text=True, timeout=TIMEOUT, preexec_fn=limit_memory)
                self.assertIn(done.returncode, (1, 2), done.stderr)
                self.assertRegex(done.stdout + done.stderr, expected)

    def test_an_id_that_no_slice_has(self):
        self.damage("UPDATE slices SET slice_id = 4294967297 WHERE slice_id = 10")
        self.assert_refused("row 10 of slices has no valid id")

    def test_a_message_of_another_slice(self):
        self.damage("UPDATE slices SET message = (SELECT message FROM slices WHERE slice_id = 3)"
                    " WHERE slice_id = 10")
        self.assert_refused("slice 10 is damaged")

    def test_an_end_that_is_not_finite(self):
        for end in ("9e999", "-9e999", "1e300", "'soon'"):
            self.damage(f"UPDATE slices SET elapsed = {end} WHERE slice_id = 5")
            self.assert_refused("slice 5 is damaged")

    def test_slices_of_an_impossible_length(self):
        for length in ("5e-324", "0", "-1", "9e999", "1e300", "'long'"):
            self.damage(f"UPDATE runs SET slice_length = {length}", seals=True)
            self.assert_refused("run 0 is damaged: its slices have an impossible length")

    def test_impossible_times_and_numbers_of_a_run(self):
        for change in ("start_time = 1e300", "end_time = -9e999", "load_begin = 1e18",
                       "load_end = 9e999", "expected_slices = 9223372036854775807",
                       "lost_slices = -1"):
            with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
                before = journal.execute("SELECT * FROM runs").fetchone()
            self.damage("UPDATE runs SET " + change, seals=True)
            self.assert_refused("run 0 is damaged: ")
            with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
                journal.execute("DELETE FROM runs")
                journal.execute(f"INSERT INTO runs VALUES ({','.join('?' * len(before))})", before)
                journal.commit()

    def test_a_view_in_place_of_a_table(self):
        for table in ("runs", "slices", "records", "recent_records", "names", "chunks"):
            with self.subTest(table):
                self.setUp()
                self.damage(f"DROP VIEW statistics; ALTER TABLE {table} RENAME TO hidden;"
                            f"CREATE VIEW {table} AS {ENDLESS} SELECT hidden.* FROM n, hidden")
                self.assert_refused("is not that of a journal|is missing")

    def test_a_virtual_table_in_place_of_a_table(self):
        self.damage("DROP TABLE names; CREATE VIRTUAL TABLE names USING fts5(name_id, name)")
        self.assert_refused("its names is not that of a journal")

    def test_an_index_that_hides_slices(self):
        self.damage("CREATE INDEX few ON slices (run_number, slice_id) WHERE slice_id > 5")
        self.assert_refused("slices has an index that no journal has")

    def test_a_message_of_absurd_length(self):
        self.damage("UPDATE slices SET message = zeroblob(70000000) WHERE slice_id = 10")
        self.assert_refused("slice 10 is damaged")

    def test_a_schema_without_end(self):
        self.damage("".join(f"CREATE TABLE t{i} (a, b);" for i in range(1000)))
        self.assert_refused("it is damaged")

    def test_a_pipe(self):
        os.remove(self.run_path)
        os.mkfifo(self.run_path)
        self.assert_refused("it is a pipe")


if __name__ == "__main__":
    unittest.main()
