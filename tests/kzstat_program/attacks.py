"""Clients of `kzstat serve` that mean no good, and a look at what they cost it."""

import json
import os
import re
import select
import socket
import subprocess
import time
import urllib.request

KZSTAT = os.environ["KZSTAT"]
TIMEOUT = 120
URL = re.compile(r"at (https?)://([^/]*):(\d+)/(?:\?token=(\S+))? ")
LOCAL = "Host: localhost\r\n"


class Server:
    """`kzstat serve` on a free port."""

    def __init__(self, path, *options):
        self.process = subprocess.Popen([KZSTAT, "serve", path, "--port", "0", *options],
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.line = self.process.stdout.readline()
        self.scheme, self.host, port, self.token = URL.search(self.line).groups()
        self.port = int(port)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.communicate()

    def connect(self, address="127.0.0.1"):
        return socket.create_connection((address, self.port), timeout=TIMEOUT)

    def ask(self, path="/metrics", fields=LOCAL, address="127.0.0.1"):
        """The whole answer, however it ends."""
        with self.connect(address) as client:
            client.sendall(request(path, fields))
            return everything(client)

    def text(self, path="/metrics"):
        """The body of an answer that succeeds."""
        with urllib.request.urlopen(f"http://localhost:{self.port}{path}",
                                    timeout=TIMEOUT) as answer:
            return answer.read().decode()

    def peak_bytes(self):
        """The most memory that it has had so far."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as status:
            return 1024 * int(re.search(r"VmHWM:\s+(\d+)", status.read()).group(1))

    def stop(self):
        self.process.terminate()
        return self.process.wait(timeout=TIMEOUT)


def request(path, fields=LOCAL):
    return f"GET {path} HTTP/1.1\r\n{fields}\r\n".encode()


def everything(client):
    received = b""
    try:
        while data := client.recv(1 << 16):
            received += data
    except ConnectionError:
        pass
    return received


def status(answer):
    return int(answer.split(b" ", 2)[1]) if answer.startswith(b"HTTP/1.1 ") else 0


def read_until(client, bytes_wanted):
    received = b""
    while bytes_wanted not in received:
        data = client.recv(1 << 16)
        assert data, received[-1000:]
        received += data


def next_update(server):
    """The parts of the first one that comes."""
    parts = []
    with urllib.request.urlopen(f"http://localhost:{server.port}/api/events",
                                timeout=TIMEOUT) as events:
        while not parts or not parts[-1]["isLastPart"]:
            line = events.readline()
            if line.startswith(b"data: "):
                parts.append(json.loads(line[6:]))
    return parts


def sleepers(server, count, path):
    """Clients that ask, and then read nothing."""
    clients = []
    for _ in range(count):
        client = socket.socket()
        client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        client.settimeout(TIMEOUT)
        client.connect(("127.0.0.1", server.port))
        client.sendall(request(path))
        clients.append(client)
    return clients


def read_all(clients, seconds=TIMEOUT):
    """Reads from all at a time and closes them; returns how many bytes each was sent."""
    sizes = {client: 0 for client in clients}
    waiting = set(clients)
    end = time.monotonic() + seconds
    while waiting and time.monotonic() < end:
        for client in select.select(list(waiting), [], [], 0.1)[0]:
            try:
                data = client.recv(1 << 18)
            except ConnectionError:
                data = b""
            sizes[client] += len(data)
            if not data:
                waiting.discard(client)
    for client in clients:
        client.close()
    return list(sizes.values())


def waits_to_be_cut_off(client):
    """Reads nothing meanwhile. True if it was."""
    poll = select.poll()
    poll.register(client, select.POLLHUP)
    return bool(poll.poll(1000 * TIMEOUT))
