"""A terminal of a given width, as far as kzload uses one."""

import fcntl
import os
import pty
import re
import struct
import termios

import columns
import runs


ERASE = "\x1b[K"
STYLE = re.compile(r"\x1b\[\d*m")


class Screen:
    """Understands line ends, returns to the first column, styles, and erasing to the end of the
    line."""

    def __init__(self, width):
        self.width = width
        self.lines = [""]
        self.column = 0
        self.drawn = []  # every state that the bottom line had when it was left or erased
        self.wrapped = False

    def feed(self, text):
        while text:
            if text.startswith(ERASE):
                self.drawn.append(self.lines[-1])
                self.lines[-1] = self.lines[-1][:self.column]
                text = text[len(ERASE):]
                continue
            style = STYLE.match(text)
            if style:
                text = text[style.end():]
                continue
            assert text[0] != "\x1b", f"unknown sequence {text[:10]!r}"
            self.put(text[0])
            text = text[1:]

    def put(self, character):
        if character == "\n":
            self.lines.append("")
        elif character == "\r":
            self.column = 0
        else:
            line = self.lines[-1].ljust(self.column)
            self.lines[-1] = line[:self.column] + character + line[self.column + 1:]
            self.column += 1
            written = columns.width_of(self.lines[-1][:self.column])
            self.wrapped = self.wrapped or written > self.width


def run(width, *arguments, term="xterm", locale="C.UTF-8", **options):
    """Runs kzload on a terminal; returns its status, the screen and all that was written."""
    controller, terminal = pty.openpty()
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, width, 0, 0))
    process = runs.start(*arguments, stdout=terminal, stderr=terminal,
                         env={**os.environ, "TERM": term, "LC_ALL": locale}, **options)
    os.close(terminal)
    written = b""
    try:
        while chunk := os.read(controller, 65536):
            written += chunk
    except OSError:
        pass  # nobody has the terminal open any more
    os.close(controller)
    status = runs.finish(process).status
    text = written.decode()
    screen = Screen(width)
    screen.feed(text)
    return status, screen, text
