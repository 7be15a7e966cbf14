"""Makes journals."""

import os
import struct
import subprocess

JOURNALMAKER = os.environ["JOURNALMAKER"]


class Journal:
    """A run that is being written. Values are reported into the slice that is ended next."""

    def __init__(self, path, generator="load", start=1.7e9, slice_length=1):
        self.path = path
        self.process = subprocess.Popen(
            [JOURNALMAKER, path, generator, str(start), str(slice_length)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, encoding="utf-8",
            errors="surrogateescape")

    def value(self, name, kind, *numbers):
        self._tell("value", name, kind, *numbers)

    def load(self, begin, *end):
        """In seconds of the run, kept with the next slice."""
        self._tell("load", begin, *end)

    def distributions(self):
        """Of the slices from now on, and of all names."""
        self._tell("distributions")

    def slice(self):
        """Returns once the slice is kept."""
        self._tell("slice")
        assert self.process.stdout.readline().strip().isdigit()

    def lose(self):
        """Ends a slice that is not kept."""
        self._tell("lose")

    def measured(self, seconds):
        """What the slice that is ended next took the process."""
        self._tell("measured", seconds)

    def end(self):
        self._tell("end")
        self.leave()

    def leave(self):
        """As a process that was killed does."""
        if self.process.stdin.closed:
            return
        self.process.stdin.close()
        status = self.process.wait(timeout=60)
        self.process.stdout.close()
        assert status == 0, status

    def kill(self):
        self.process.kill()
        self.process.wait(timeout=60)
        self.process.stdin.close()
        self.process.stdout.close()

    def _tell(self, *fields):
        self.process.stdin.write("\t".join(map(str, fields)) + "\n")
        self.process.stdin.flush()


def make(path, slices, has_distributions=False, ends=True, load=(), **facts):
    """A run that has ended, or one whose process was killed. A slice is a dictionary of (name, kind) to numbers.
    The load is its begin and, if that is known, its end."""
    journal = Journal(path, **facts)
    if load:
        journal.load(*load)
    if has_distributions:
        journal.distributions()
    for each in slices:
        for (name, kind), numbers in each.items():
            journal.value(name, kind, *numbers)
        journal.slice()
    if ends:
        journal.end()
    else:
        journal.leave()
    return path


def _hash(values):
    """As docs/journal.md has it."""
    words = []
    for value in values:
        if isinstance(value, int):
            words.append(value)
        elif isinstance(value, float):
            words.append(struct.unpack("<Q", struct.pack("<d", value or 0.0))[0])
        else:
            text = (value or "").encode()
            padded = text + bytes(-len(text) % 8)
            words += [len(text), *struct.unpack(f"<{len(padded) // 8}Q", padded)]
    state = 0xcbf29ce484222325
    for word in words:
        state = (state ^ word % 2**64) * 0x9e3779b97f4a7c15 % 2**64
        state ^= state >> 32
    return state - 2**64 if state >= 2**63 else state


def seal_runs(connection):
    """Stores the checksums of runs whose facts were changed."""
    for row in connection.execute(
            "SELECT number, parent, run_id, generator, test_name, start_time, slice_length, host,"
            " command_line, load_begin, load_end, end_time, expected_slices, lost_slices,"
            " is_merged, annotations_checksum FROM runs").fetchall():
        hashed = row if row[-1] else row[:-1]
        connection.execute("UPDATE runs SET checksum = ? WHERE number = ?",
                           (_hash(hashed), row[0]))


def seal_annotations(connection):
    """Stores the checksum of changed notes and conditions of the run 0."""
    rows = connection.execute(
        "SELECT 1, note_id, run_number, time, text FROM notes UNION ALL"
        " SELECT 2, condition_id, run_number, NULL, text FROM conditions").fetchall()
    total = sum(_hash(value for value in row if value is not None) for row in rows)
    connection.execute("UPDATE runs SET annotations_checksum = ? WHERE number = 0",
                       ((total + 2**63) % 2**64 - 2**63,))


def seal_costs(connection):
    """Stores the checksums of slices whose costs were changed."""
    for slice_id, *numbers in connection.execute(
            "SELECT slice_id, measured, processor_time, processors, busiest_thread, longest_wait,"
            " involuntary_switches, reporter_wait, pack_time, listener_time, timer_lateness,"
            " start_lateness FROM slices").fetchall():
        costs = [float("nan") if number is None else float(number) for number in numbers]
        connection.execute("UPDATE slices SET cost_checksum = ? WHERE slice_id = ?",
                           (_hash([slice_id, *costs]), slice_id))
