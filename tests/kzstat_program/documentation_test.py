"""What is written about the program is true: the man page, the completion, the order of folders."""

import glob
import os
import re
import subprocess
import tempfile
import unittest

KZSTAT = os.environ["KZSTAT"]
PROJECT = os.environ["PROJECT"]


def help_of(*command):
    return subprocess.run([KZSTAT, *command, "--help"], check=True, capture_output=True,
                          text=True).stdout


def commands():
    return re.findall(r"^  (\w+) ", help_of().partition("Subcommands:")[2], re.MULTILINE)


def options_of(command):
    return set(re.findall(r"--[\w-]+", help_of(command).partition("Options:")[2]
                          .partition("Example:")[0]))


class ManPage(unittest.TestCase):
    def setUp(self):
        with open(os.path.join(PROJECT, "docs/man/kzstat.1")) as file:
            self.page = file.read()

    def section(self, command):
        return self.page.partition(f".Sh {command.upper()}\n")[2].partition("\n.Sh ")[0]

    def test_every_command_has_a_section_with_the_example_of_its_help(self):
        self.assertTrue(commands())
        for command in commands():
            example = help_of(command).partition("Example: ")[2].strip()
            self.assertIn(f".Dl {example}\n", self.section(command) + "\n")

    def test_every_option_is_described(self):
        common = self.page.partition(".Sh DESCRIPTION")[2].partition(".Sh SHOW")[0]
        for command in commands():
            for option in options_of(command) - {"--help"}:
                with self.subTest(command=command, option=option):
                    self.assertIn("Fl Fl " + option[2:], self.section(command) + common)


class Completion(unittest.TestCase):
    def complete(self, *words):
        script = ('source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _kzstat;'
                  ' printf "%s\\n" "${COMPREPLY[@]}"')
        with tempfile.TemporaryDirectory() as folder:
            for name in ("run.kzj", "notes.txt"):
                open(os.path.join(folder, name), "w").close()
            out = subprocess.run(
                ["bash", "-c", script, "bash",
                 os.path.join(PROJECT, "tools/kzstat/completion.bash"), "kzstat", *words],
                check=True, capture_output=True, text=True, cwd=folder).stdout
        return set(out.split())

    def test_commands(self):
        self.assertEqual({*commands(), "--help", "--version"}, self.complete(""))
        self.assertEqual({"compare"}, self.complete("com"))

    def test_options(self):
        for command in commands():
            with self.subTest(command=command):
                self.assertEqual(options_of(command), self.complete(command, "--"))

    def test_values(self):
        self.assertEqual({"csv", "json", "influx", "messages"}, self.complete("export", "--format", ""))
        self.assertEqual({"table", "json"}, self.complete("compare", "--format", ""))
        columns = help_of("show").partition("--sort")[2].partition("{")[2].partition("}")[0]
        self.assertEqual(set(columns.split(",")), self.complete("show", "--sort", ""))

    def test_journals(self):
        self.assertEqual({"run.kzj"}, self.complete("show", ""))


class Folders(unittest.TestCase):
    BELOW = {"commands": {"tables", "page", "http", "merge", "figures", "text", "reading"},
             "tables": {"figures", "text", "reading"},
             "page": {"tables", "http", "figures", "text", "reading"},
             "http": set(),
             "merge": {"figures", "text", "reading"},
             "figures": {"text", "reading"},
             "text": {"reading"},
             "reading": set()}

    @staticmethod
    def sources(folder):
        program = os.path.join(PROJECT, "tools/kzstat")
        return [path for ending in ("*.h", "*.cpp")
                for path in glob.glob(os.path.join(program, folder, ending))]

    def test_a_folder_includes_only_those_below_it(self):
        for folder, below in self.BELOW.items():
            paths = self.sources(folder)
            self.assertTrue(paths)
            for path in paths:
                with open(path) as file:
                    included = set(re.findall(r'#include "(\w+)/', file.read()))
                self.assertLessEqual(included & self.BELOW.keys(), below | {folder}, path)

    def test_one_file_alone_reads_journals(self):
        readers = []
        for path in self.sources(".") + self.sources("*"):
            with open(path) as file:
                if re.search(r'#include "kzjournalreader.h"|kzjournal::Reader', file.read()):
                    readers.append(os.path.basename(path))
        self.assertEqual(["namedruns.cpp"], readers)

    def test_every_folder_has_its_place(self):
        program = os.path.join(PROJECT, "tools/kzstat")
        self.assertEqual(self.BELOW.keys(),
                         {entry.name for entry in os.scandir(program) if entry.is_dir()})


if __name__ == "__main__":
    unittest.main()
