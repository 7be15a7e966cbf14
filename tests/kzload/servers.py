"""Servers to load."""

import collections
import contextlib
import http.server
import itertools
import socket
import socketserver
import struct
import subprocess
import sys
import threading
import time


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    statuses = itertools.repeat(200)
    delay = failing_delay = 0
    answered = collections.Counter()
    lock = threading.Lock()

    def do_GET(self):
        with self.lock:
            status = next(self.statuses)
            self.answered[status] += 1
        time.sleep(self.delay if status < 400 else self.failing_delay)
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
def answering(*statuses, delay=0, failing_delay=0):
    """A server in this process that answers with `statuses` in turn, after `delay` seconds each, or
    `failing_delay` from 400 on. Gives its URL and a counter of the statuses it has answered with."""
    handler = type("CountingHandler", (Handler,), {
        "statuses": itertools.cycle(statuses), "answered": collections.Counter(),
        "delay": delay, "failing_delay": failing_delay})
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


OK = b"HTTP/1.1 200 OK\r\n"
TLS_ALERT = bytes.fromhex("15030100020246")


def _until_gone(connection, part, pause=0.01):
    """Sends `part` again and again."""
    while True:
        connection.sendall(part)
        time.sleep(pause)


def _reset(connection):
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


# What hostile servers do with a connection once a request has come.
HOSTILE = {
    "says nothing": lambda connection: connection.recv(1),
    "closes at once": lambda connection: None,
    "resets the connection": _reset,
    "talks garbage": lambda connection: connection.sendall(bytes(range(256)) * 64),
    "talks zeros": lambda connection: connection.sendall(bytes(100000)),
    "greets as a mail server": lambda connection: connection.sendall(b"220 mail ready\r\n"),
    "speaks TLS": lambda connection: connection.sendall(TLS_ALERT),
    "drips its header": lambda connection: (connection.sendall(OK),
                                            _until_gone(connection, b"X: y\r\n", 0.1)),
    "has an endless header": lambda connection: (connection.sendall(OK),
                                                 _until_gone(connection, b"X: y\r\n" * 1000)),
    "has one endless line": lambda connection: _until_gone(connection, b"x" * 10000),
    "sends an endless body": lambda connection: (connection.sendall(OK + b"\r\n"),
                                                 _until_gone(connection, bytes(10000))),
    "closes within its header": lambda connection: connection.sendall(OK + b"Content-Le"),
    "closes within its body": lambda connection: connection.sendall(
        OK + b"Content-Length: 100\r\n\r\nhello"),
    "lies about its chunks": lambda connection: connection.sendall(
        OK + b"Transfer-Encoding: chunked\r\n\r\nfffffffffffffffff\r\nhello\r\n"),
    "has two lengths": lambda connection: connection.sendall(
        OK + b"Content-Length: 5\r\nContent-Length: -7\r\n\r\nhello"),
    "has an impossible status": lambda connection: connection.sendall(
        b"HTTP/1.1 999 Strange\r\nContent-Length: 0\r\n\r\n"),
    "only goes on": lambda connection: _until_gone(connection, b"HTTP/1.1 100 Continue\r\n\r\n"),
    "redirects to itself": lambda connection: connection.sendall(
        b"HTTP/1.1 302 Found\r\nLocation: /\r\nContent-Length: 0\r\n\r\n"),
}


class _Hostile(socketserver.BaseRequestHandler):
    answer = None

    def handle(self):
        with contextlib.suppress(OSError):
            if self.request.recv(65536):
                type(self).answer(self.request)


@contextlib.contextmanager
def hostile(answer):
    """A server that calls `answer` with each connection, and closes it when that returns. Gives its
    URL."""
    handler = type("Handler", (_Hostile,), {"answer": staticmethod(answer)})
    with socketserver.ThreadingTCPServer(("127.0.0.1", 0), handler) as server:
        server.daemon_threads = True
        server.block_on_close = False
        thread = threading.Thread(target=server.serve_forever)
        thread.start()
        try:
            yield f"http://127.0.0.1:{server.server_address[1]}/"
        finally:
            server.shutdown()
            thread.join()


@contextlib.contextmanager
def dropping(every):
    """A server that keeps connections open but drops each request of a number divisible by `every`
    with its connection, unanswered. Gives its URL and a counter of what it did."""
    lock = threading.Lock()
    counter = collections.Counter()

    def answer(connection):
        while True:
            with lock:
                counter["requests"] += 1
                drops = counter["requests"] % every == 0
                counter["dropped"] += drops
            if drops:
                return
            connection.sendall(OK + b"Content-Length: 5\r\n\r\nhello")
            if not connection.recv(65536):
                return

    with hostile(answer) as url:
        yield url, counter


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
