# pexctl serve run as a user runs it, for the tests and the benchmark: the
# server started on a simulated machine kept in a profile, its URL and token
# read from what it prints, raw HTTP requests to it, and its end.
import json
import os
import re
import shutil
import socket
import subprocess
import sys
import time

failures = []


def check(condition, message):
    """Notes a failure in words and goes on; the condition."""
    if not condition:
        failures.append(message)
        print("FAIL:", message)
    return condition


def arguments():
    """PEXCTL PROFILE OUTPUT-DIRECTORY RUNNER...: (pexctl, runner, the output directory emptied,
    a copy of the profile in it)."""
    pexctl, profile, out = sys.argv[1], sys.argv[2], os.path.abspath(sys.argv[3])
    shutil.rmtree(out, ignore_errors=True)
    os.makedirs(out)
    machine = os.path.join(out, "machine.json")
    shutil.copy(profile, machine)
    return pexctl, sys.argv[4:], out, machine


def chromium(width=1400, height=2000):
    """Debian's Chromium, headless, driven by chromedriver; its console kept."""
    from selenium import webdriver
    from selenium.webdriver.chrome.options import Options
    from selenium.webdriver.chrome.service import Service
    options = Options()
    options.binary_location = "/usr/bin/chromium"
    for argument in ["--headless=new", "--no-sandbox", "--disable-gpu", f"--window-size={width},{height}",
                     "--no-first-run", "--disable-background-networking", "--disable-component-update"]:
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def until(condition, what, seconds=15):
    """Waits for a condition the page reaches by itself; a failure names it."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        result = condition()
        if result:
            return result
        time.sleep(0.05)
    return check(False, "never: " + what)


def open_page(driver, server):
    """The page entered with the token, once it has read the endpoint."""
    driver.get(server.url)
    if not until(lambda: driver.find_element("tag name", "body").get_attribute("data-ready") == "true",
                 "the page becomes ready", 30):
        raise RuntimeError("the page never became ready")


def finish(success):
    print(f"{len(failures)} failed" if failures else success)
    sys.exit(1 if failures else 0)


class Served:
    def __init__(self, runner, pexctl, profile, *options):
        self.process = subprocess.Popen(runner + [pexctl, f"--simulate={profile}", *options, "serve", "--port", "0"],
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        for line in self.process.stdout:
            found = re.search(r"(http://127\.0\.0\.1:(\d+)/\?token=([0-9a-f]+))", line)
            if found:
                self.url, self.port, self.token = found.group(1), int(found.group(2)), found.group(3)
                break
        else:
            raise RuntimeError("pexctl serve printed no URL; exit " + str(self.process.wait()))
        self.host = f"127.0.0.1:{self.port}"
        self.cookie = f"pexctl-{self.port}={self.token}"

    def head(self, method, path, headers):
        """A request's head: Host and the cookie, then `headers` (None removes one)."""
        sent = {"Host": self.host, "Cookie": self.cookie, **headers}
        lines = [f"{method} {path} HTTP/1.1"] + [f"{k}: {v}" for k, v in sent.items() if v is not None]
        return ("\r\n".join(lines) + "\r\n\r\n").encode()

    def request(self, method, path, body=None, headers=None):
        """(status, headers with lower-case names, body) of one request on a connection of its own."""
        data = body.encode() if isinstance(body, str) else body
        sent = {"Connection": "close", **(headers or {})}
        if data is not None:
            sent["Content-Length"] = str(len(data))
        head, _, answer = self.raw(self.head(method, path, sent) + (data or b"")).partition(b"\r\n\r\n")
        lines = head.decode().split("\r\n")
        return int(lines[0].split()[1]), {k.lower(): v for k, _, v in (n.partition(": ") for n in lines[1:])}, answer

    def api(self, method, path, document=None):
        """(status, document) of an /api/ request."""
        sent = None if document is None else json.dumps(document)
        status, _, body = self.request(method, "/api/" + path, sent, {"Content-Type": "application/json"} if sent else {})
        return status, json.loads(body)

    def value(self, name, route):
        status, document = self.api("GET", f"param/{name}?route={route}")
        return document.get(route) if status == 200 else None

    def raw(self, data, read=True):
        """What the server answers to bytes sent as they are (b"" when it closes without an answer)."""
        with socket.create_connection(("127.0.0.1", self.port), timeout=30) as connection:
            connection.sendall(data)
            if not read:
                return b""
            connection.shutdown(socket.SHUT_WR)
            answer = b""
            while chunk := connection.recv(65536):
                answer += chunk
            return answer

    def socket(self):
        """A WebSocket opened on /api/socket as the page opens it: (connection, the handshake's answer)."""
        connection = socket.create_connection(("127.0.0.1", self.port), timeout=30)
        connection.sendall(self.head("GET", "/api/socket", ws_upgrade(self.host)))
        answer = b""
        while b"\r\n\r\n" not in answer and (chunk := connection.recv(1)):
            answer += chunk
        return connection, answer.decode()

    def stop(self):
        """POST /api/shutdown; the exit code."""
        status, _ = self.api("POST", "shutdown", {})
        if status != 200:
            self.process.kill()
        self.process.stdout.read()
        return self.process.wait(timeout=60)


def ws_upgrade(host):
    """The headers of the page's WebSocket upgrade, but for the cookie."""
    return {"Origin": f"http://{host}", "Upgrade": "websocket", "Connection": "Upgrade",
            "Sec-WebSocket-Key": "dGhlIHNhbXBsZSBub25jZQ==", "Sec-WebSocket-Version": "13"}


def ws_send(connection, data, opcode=1):
    """One frame as a client sends it, text (opcode 1) or binary (2); masked with zeros, so the data as it is."""
    data = data.encode() if isinstance(data, str) else data
    n = len(data)
    size = bytes([0x80 | n]) if n < 126 else b"\xfe" + n.to_bytes(2, "big") if n < 65536 else \
        b"\xff" + n.to_bytes(8, "big")
    connection.sendall(bytes([0x80 | opcode]) + size + b"\0\0\0\0" + data)


def ws_receive(connection):
    """The document of the server's next text frame."""
    read = lambda count: connection.recv(count, socket.MSG_WAITALL)
    size = read(2)[1] & 0x7F
    return json.loads(read(int.from_bytes(read(2 if size == 126 else 8), "big") if size >= 126 else size))


def pexctl_json(runner, pexctl, profile, *args):
    """The document of `pexctl --simulate=PROFILE --json ARGS...`."""
    run = subprocess.run(runner + [pexctl, f"--simulate={profile}", "--json", *args], capture_output=True, text=True)
    return json.loads(run.stdout)
