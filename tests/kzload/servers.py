"""Servers to load."""

import collections
import contextlib
import http.server
import itertools
import socket
import subprocess
import sys
import threading
import time


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    statuses = itertools.repeat(200)
    delay = 0
    answered = collections.Counter()
    lock = threading.Lock()

    def do_GET(self):
        with self.lock:
            status = next(self.statuses)
            self.answered[status] += 1
        time.sleep(self.delay)
        self.send_response(status)
        self.send_header("Content-Length", "5")
        if 300 <= status < 400:
            self.send_header("Location", "/elsewhere")
        self.end_headers()
        self.wfile.write(b"hello")

    def log_message(self, *_):
        pass


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 100


@contextlib.contextmanager
def answering(*statuses, delay=0):
    """A server in this process that answers with `statuses` in turn, after `delay` seconds each.
    Gives its URL and a counter of the statuses it has answered with."""
    handler = type("CountingHandler", (Handler,), {
        "statuses": itertools.cycle(statuses), "answered": collections.Counter(),
        "delay": delay})
    server = Server(("127.0.0.1", 0), handler)
    thread = threading.Thread(target=server.serve_forever)
    thread.start()
    try:
        yield f"http://127.0.0.1:{server.server_port}/", handler.answered
    finally:
        server.shutdown()
        thread.join()
        server.server_close()


@contextlib.contextmanager
def killable():
    """A server in a process of its own. Gives its URL and the process."""
    with subprocess.Popen([sys.executable, "-B", __file__], stdout=subprocess.PIPE,
                          text=True) as process:
        try:
            yield f"http://127.0.0.1:{process.stdout.readline().strip()}/", process
        finally:
            process.kill()


@contextlib.contextmanager
def silent():
    """A server that takes connections and never answers. Gives its URL."""
    with socket.create_server(("127.0.0.1", 0), backlog=100) as listener:
        yield f"http://127.0.0.1:{listener.getsockname()[1]}/"


@contextlib.contextmanager
def refusing():
    """An address that refuses connections: its port is taken, but nobody listens."""
    with socket.socket() as holder:
        holder.bind(("127.0.0.1", 0))
        yield f"http://127.0.0.1:{holder.getsockname()[1]}/"


if __name__ == "__main__":
    with Server(("127.0.0.1", 0), Handler) as own:
        print(own.server_port, flush=True)
        own.serve_forever()
