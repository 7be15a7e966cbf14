"""Makes journals."""

import os
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

    def slice(self):
        """Returns once the slice is kept."""
        self._tell("slice")
        assert self.process.stdout.readline().strip().isdigit()

    def end(self):
        self._tell("end")
        self.leave()

    def leave(self):
        """As a process that was killed does."""
        if not self.process.stdin.closed:
            self.process.stdin.close()
        status = self.process.wait(timeout=60)
        self.process.stdout.close()
        assert status == 0, status

    def _tell(self, *fields):
        self.process.stdin.write("\t".join(map(str, fields)) + "\n")
        self.process.stdin.flush()


def make(path, slices, **facts):
    """A run that has ended. A slice is a dictionary of (name, kind) to numbers."""
    journal = Journal(path, **facts)
    for each in slices:
        for (name, kind), numbers in each.items():
            journal.value(name, kind, *numbers)
        journal.slice()
    journal.end()
    return path
