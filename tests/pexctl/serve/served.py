# pexctl serve run as a user runs it, for the tests and the benchmark: the
# server started on a simulated machine kept in a profile, its URL and token
# read from what it prints, raw HTTP requests to it, and its end.
import http.client
import json
import re
import socket
import subprocess


class Served:
    def __init__(self, runner, pexctl, profile, *options):
        self.runner, self.pexctl, self.profile = runner, pexctl, profile
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

    def request(self, method, path, body=None, headers=None):
        """(status, headers with lower-case names, body) of one request on a fresh connection."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=30)
        sent = {"Host": self.host, "Cookie": self.cookie}
        if body is not None:
            sent["Content-Type"] = "application/json"
        sent.update(headers or {})
        connection.putrequest(method, path, skip_host=True, skip_accept_encoding=True)
        for name, value in sent.items():
            if value is not None:
                connection.putheader(name, value)
        data = body.encode() if isinstance(body, str) else body
        if data is not None:
            connection.putheader("Content-Length", str(len(data)))
        connection.endheaders(data)
        response = connection.getresponse()
        answer = (response.status, {k.lower(): v for k, v in response.getheaders()}, response.read())
        connection.close()
        return answer

    def api(self, method, path, document=None):
        """(status, document) of an /api/ request."""
        status, _, body = self.request(method, "/api/" + path, None if document is None else json.dumps(document))
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

    def stop(self):
        """POST /api/shutdown; the exit code."""
        status, _ = self.api("POST", "shutdown", {})
        if status != 200:
            self.process.kill()
        self.process.stdout.read()
        return self.process.wait(timeout=60)

    def pexctl_json(self, *args):
        return pexctl_json(self.runner, self.pexctl, self.profile, *args)


def pexctl_json(runner, pexctl, profile, *args):
    """The document of `pexctl --simulate=PROFILE --json ARGS...`."""
    run = subprocess.run(runner + [pexctl, f"--simulate={profile}", "--json", *args], capture_output=True, text=True)
    return json.loads(run.stdout)
