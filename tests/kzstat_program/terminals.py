"""A terminal, as tmux draws it."""

import os
import shlex
import subprocess
import time

TIMEOUT = 60  # seconds


class Terminal:
    """Runs one command; `environment` is added to what it sees."""

    def __init__(self, folder, command, width=100, height=30, environment=None):
        self.socket = os.path.join(folder, "tmux")
        self.status_file = os.path.join(folder, "status")
        settings = {"LC_ALL": "C.UTF-8", **(environment or {})}
        line = " ".join(["env", *(f"{name}={value}" for name, value in settings.items()),
                         shlex.join(command), "; echo $? >", shlex.quote(self.status_file),
                         "; sleep 60"])
        self._tmux("-u", "-f", "/dev/null", "new-session", "-d", "-x", str(width), "-y",
                   str(height), line)

    def _tmux(self, *arguments):
        return subprocess.run(["tmux", "-S", self.socket, *arguments], check=True,
                              capture_output=True, text=True, env={**os.environ,
                              "LC_ALL": "C.UTF-8"}).stdout

    def screen(self, with_colours=False):
        return self._tmux("capture-pane", "-p", *(["-e"] if with_colours else []))

    def wait_for(self, question):
        """The screen, as soon as it answers the question with yes."""
        deadline = time.monotonic() + TIMEOUT
        while time.monotonic() < deadline:
            screen = self.screen()
            if question(screen):
                return screen
            time.sleep(0.05)
        raise AssertionError("not seen on the screen:\n" + self.screen())

    def wait_for_end(self):
        """The exit status."""
        self.wait_for(lambda _: os.path.exists(self.status_file) and
                      os.path.getsize(self.status_file) > 0)
        with open(self.status_file) as file:
            return int(file.read())

    def type(self, key):
        self._tmux("send-keys", key)

    def resize(self, width, height):
        self._tmux("resize-window", "-x", str(width), "-y", str(height))

    def close(self):
        subprocess.run(["tmux", "-S", self.socket, "kill-server"], capture_output=True)
