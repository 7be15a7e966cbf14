"""Tests of files that somebody made to harm whoever reads them. KZSTAT and JOURNALMAKER name the
programs; MEMORY is how many bytes KZSTAT may take, and empty where it has no limit."""

import contextlib
import os
import resource
import sqlite3
import struct
import subprocess
import tempfile
import unittest

import journals

KZSTAT = os.environ["KZSTAT"]
# A second is enough, but not on a machine that does much else.
TIMEOUT = 20
MEMORY = int(os.environ["MEMORY"] or resource.RLIM_INFINITY)

LOGIN = ("login.time", "Timer")
# The commands that read notes; lines that follow a run have none.
NOTES = ("show", "report", "serve")
ENDLESS = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i FROM n) "


def limit_memory():
    resource.setrlimit(resource.RLIMIT_DATA, (MEMORY, MEMORY))


class Pages:
    """The pages of a database, by their numbers."""

    def __init__(self, path):
        self.path = path

    def __enter__(self):
        with open(self.path, "rb") as file:
            self.bytes = bytearray(file.read())
        self.size = int.from_bytes(self.bytes[16:18], "big")
        return self

    def __exit__(self, *_):
        self.bytes[28:32] = struct.pack(">I", len(self.bytes) // self.size)
        with open(self.path, "wb") as file:
            file.write(self.bytes)

    def __getitem__(self, number):
        return bytes(self.bytes[(number - 1) * self.size:number * self.size])

    def __setitem__(self, number, page):
        assert len(page) == self.size
        self.bytes[(number - 1) * self.size:number * self.size] = page

    def add(self, page):
        self.bytes += bytes(self.size)
        number = len(self.bytes) // self.size
        self[number] = page
        return number

    def cut(self, last):
        del self.bytes[last * self.size:]


def inner_page(leaf, child):
    """A page all of whose children are one. An index has a record between two of them."""
    table, index = 5, 2
    kind = {13: table, 10: index}[leaf[0]]
    key = b"\x01"
    if kind == index:
        start = int.from_bytes(leaf[8:10], "big")
        assert leaf[start] < 128
        key = leaf[start:start + 1 + leaf[start]]
    cell = struct.pack(">I", child) + key
    count = (len(leaf) - 12) // (len(cell) + 2)
    content = len(leaf) - count * len(cell)
    head = struct.pack(">BHHHBI", kind, 0, count, content, 0, child)
    places = b"".join(struct.pack(">H", content + i * len(cell)) for i in range(count))
    return (head + places).ljust(content, b"\0") + cell * count


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

    def repeat(self, table):
        """Has the table contain its only page billions of times."""
        with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
            (root,) = journal.execute("SELECT rootpage FROM sqlite_master WHERE name = ?",
                                      (table,)).fetchone()
        with Pages(self.run_path) as pages:
            leaf = pages[root]
            child = pages.add(leaf)
            for _ in range(9):
                child = pages.add(inner_page(leaf, child))
            pages[root] = inner_page(leaf, child)

    def assert_refused(self, expected, commands=None):
        for arguments in (
                ("show", self.run_path), ("show", self.run_path, "--follow"),
                ("show", self.run_path, "--from", "2"), ("check", self.run_path),
                ("report", self.run_path, "-o", self.result_path + ".html"),
                ("export", self.run_path, "--format", "csv"), ("serve", self.run_path, "--port", "0"),
                ("compare", self.other_path, self.run_path),
                ("merge", self.other_path, self.run_path, "-o", self.result_path + ".kzj")):
            if commands and (arguments[0] not in commands or "--follow" in arguments):
                continue
            with self.subTest(arguments):
                done = subprocess.run(
                    [KZSTAT, *arguments], stdin=subprocess.DEVNULL, capture_output=True,
                    text=True, timeout=TIMEOUT, preexec_fn=limit_memory)
                self.assertIn(done.returncode, (1, 2), done.stderr)
                self.assertRegex(done.stdout + done.stderr, expected)

    def test_an_id_that_no_slice_has(self):
        self.damage("UPDATE slices SET slice_id = 4294967297 WHERE slice_id = 10")
        self.assert_refused("row 10 of slices has no valid id")

    def leave_unended(self):
        """The run as it is when its process is killed: nothing has moved into blocks."""
        os.remove(self.run_path)
        journals.make(self.run_path, [{LOGIN: [i]} for i in range(10)], ends=False)

    def test_a_message_of_another_slice(self):
        self.leave_unended()
        self.damage("UPDATE recent_messages SET message ="
                    " (SELECT message FROM recent_messages WHERE slice_id = 3)"
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
        for change in ("start_time = 1e300", "start_time = 'soon'", "end_time = -9e999",
                       "end_time = 'soon'", "load_begin = 1e18", "load_begin = 'soon'",
                       "load_begin = 3, load_end = 1", "load_end = 9e999", "load_end = 'soon'", "expected_slices = 9223372036854775807",
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
        for table in ("runs", "slices", "records", "recent_records", "names", "chunks",
                      "recent_messages", "message_blocks", "distribution_blocks", "name_chunks"):
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
        self.leave_unended()
        self.damage("UPDATE recent_messages SET message = zeroblob(70000000) WHERE slice_id = 10")
        self.assert_refused("slice 10 is damaged")

    def test_a_block_of_absurd_length(self):
        self.damage("UPDATE message_blocks SET block = zeroblob(70000000)")
        self.assert_refused("slice [0-9]+ is damaged")

    def test_a_schema_without_end(self):
        self.damage("".join(f"CREATE TABLE t{i} (a, b);" for i in range(1000)))
        self.assert_refused("it is damaged")

    def test_a_message_that_goes_in_circles(self):
        self.leave_unended()
        with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
            journal.execute("UPDATE recent_messages SET message = zeroblob(30000)"
                            " WHERE slice_id = 10")
            journal.commit()
            (before,) = journal.execute("PRAGMA page_count").fetchone()
        self.damage("UPDATE recent_messages SET message = zeroblob(60000000) WHERE slice_id = 10")
        with Pages(self.run_path) as pages:
            number = before + 10
            pages.cut(number)
            pages[number] = struct.pack(">I", number) + pages[number][4:]
        self.assert_refused("it is damaged")

    def test_slices_of_no_run_without_end(self):
        self.damage("UPDATE slices SET run_number = 7")
        self.repeat("slices")
        self.assert_refused("reading it does not come to an end")

    def test_records_without_end(self):
        self.leave_unended()
        self.damage("DELETE FROM recent_records WHERE slice_id < 10")
        self.repeat("recent_records")
        self.assert_refused("is damaged")

    def test_notes_without_end(self):
        self.damage("INSERT INTO notes (run_number, time, text) VALUES (0, 1.7e9, 'gap')")
        self.repeat("notes")
        self.assert_refused("its notes or conditions are damaged", NOTES)

    def test_notes_of_no_moment_in_time(self):
        for time in ("9e999", "1e300", "'soon'"):
            self.damage(f"REPLACE INTO notes VALUES (1, 0, {time}, 'gap')")
            self.assert_refused("its notes or conditions are damaged", NOTES)

    def test_a_note_and_a_condition_longer_than_any(self):
        for sql in ("INSERT INTO notes VALUES (1, 0, 1.7e9, '{}')",
                    "DELETE FROM notes; INSERT INTO conditions VALUES (1, 0, '{}')"):
            self.damage(sql.format("x" * 65537))
            with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
                journals.seal_annotations(journal)
                journals.seal_runs(journal)
                journal.commit()
            self.assert_refused("its notes or conditions are damaged", NOTES)

    def test_impossible_costs(self):
        for cost in (-1.0, float("inf")):
            with contextlib.closing(sqlite3.connect(self.run_path)) as journal:
                journal.execute("UPDATE slices SET measured = ?, processor_time = NULL"
                                " WHERE slice_id = 5", (cost,))
                journals.seal_costs(journal)
                journal.commit()
            self.assert_refused("slice 5 is damaged", ("show", "check", "report"))

    def test_a_pipe(self):
        os.remove(self.run_path)
        os.mkfifo(self.run_path)
        self.assert_refused("it is a pipe")


if __name__ == "__main__":
    unittest.main()
