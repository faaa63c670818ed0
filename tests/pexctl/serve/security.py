# pexctl serve's security rules, each with raw HTTP: who may reach the API
# (token, cookie, Host, Origin), what a write must look like (type, size,
# JSON), the page's WebSocket and its messages, that refused requests change nothing, that every answer carries the
# content policy and no CORS header, and that the server outlives 10,000
# malformed, truncated, oversized, slow and dropped requests.
#   security.py PEXCTL PROFILE OUTPUT-DIRECTORY RUNNER...
import json
import os
import random
import socket
import sys
import threading

sys.path.insert(0, os.path.dirname(__file__))
from served import Served, arguments, check, finish, pexctl_json, ws_receive, ws_send, ws_upgrade

pexctl, runner, out, machine = arguments()


server = Served(runner, pexctl, machine)
port = server.port
check(len(server.token) == 32, f"the token has {len(server.token) * 4} bits, not 128")
check(server.api("PUT", "param/pex_postgain?route=store", {"value": -5})[0] == 200, "the first write failed")

json_type = {"Content-Type": "application/json"}
big = "[" + "0," * (1024 * 1024 // 2) + "0]"
ws = ws_upgrade(server.host)
# name, method, target, headers (None removes one), body, status, words of the error; every answer,
# the page's as the errors', carries the content policy and no CORS header.
cases = [
    ("the page", "GET", "/", {}, None, 200, ""),
    ("the page's script", "GET", "/app.js", {}, None, 200, ""),
    ("localhost", "GET", "/api/values", {"Host": f"localhost:{port}"}, None, 200, ""),
    ("the server's own Origin", "GET", "/api/values", {"Origin": f"http://127.0.0.1:{port}"}, None, 200, ""),
    ("no cookie", "GET", "/api/values", {"Cookie": None}, None, 403, "open the page at the address"),
    ("no cookie, page", "GET", "/", {"Cookie": None}, None, 403, "token"),
    ("a wrong cookie", "GET", "/api/values", {"Cookie": f"pexctl-{port}=" + "0" * 32}, None, 403, "token"),
    ("another port's cookie", "GET", "/api/values", {"Cookie": f"pexctl-1={server.token}"}, None, 403, "token"),
    ("a wrong token", "GET", "/?token=" + "0" * 32, {"Cookie": None}, None, 403, "not this server's"),
    ("a rebound DNS name", "GET", "/api/values", {"Host": f"attacker.example:{port}"}, None, 421, "Host"),
    ("another port", "GET", "/api/values", {"Host": "127.0.0.1:1"}, None, 421, "Host"),
    ("no Host", "GET", "/api/values", {"Host": None}, None, 421, "Host"),
    ("a foreign Origin", "GET", "/api/values", {"Origin": "http://attacker.example"}, None, 403, "origin"),
    ("a foreign Origin writing", "PUT", "/api/param/pex_postgain", {"Origin": "http://attacker.example", **json_type},
     '{"value": 7}', 403, "origin"),
    ("the null Origin", "GET", "/api/values", {"Origin": "null"}, None, 403, "origin"),
    ("a write as text/plain", "PUT", "/api/param/pex_postgain", {"Content-Type": "text/plain"}, '{"value": 7}', 415,
     "application/json"),
    ("a write as a form", "PUT", "/api/param/pex_postgain", {"Content-Type": "application/x-www-form-urlencoded"},
     "value=7", 415, "application/json"),
    ("a write without a type", "PUT", "/api/param/pex_postgain", {}, '{"value": 7}', 415, "application/json"),
    ("a body over 1 MB", "PUT", "/api/param/pex_postgain", json_type, '{"value": ' + big + "}", 413, "1 MB"),
    ("a body that is no JSON", "PUT", "/api/param/pex_postgain", json_type, '{"value": ', 400, "JSON"),
    ("a value out of range", "PUT", "/api/param/pex_postgain", json_type, '{"value": 4294967296}', 400, "out of range"),
    ("an unknown parameter", "PUT", "/api/param/pex_nothing", json_type, '{"value": 7}', 404, "unknown parameter"),
    ("an unknown route", "PUT", "/api/param/pex_postgain?route=sideways", json_type, '{"value": 7}', 400, "route"),
    ("a snapshot that does not fit", "POST", "/api/apply", json_type, '{"format": 99}', 400, "nothing was written"),
    ("a wrong method", "DELETE", "/api/param/pex_postgain", {}, None, 405, "GET or PUT"),
    ("an unknown path", "GET", "/api/nothing", {}, None, 404, "no /api/nothing"),
    ("an upgrade without the cookie", "GET", "/api/socket", {**ws, "Cookie": None}, None, 403, "token"),
    ("an upgrade from a foreign Origin", "GET", "/api/socket", {**ws, "Origin": "http://attacker.example"}, None, 403,
     "origin"),
    ("an upgrade without Origin", "GET", "/api/socket", {**ws, "Origin": None}, None, 403, "no Origin"),
    ("an upgrade to a rebound DNS name", "GET", "/api/socket", {**ws, "Host": f"attacker.example:{port}"}, None, 421,
     "Host"),
    ("the socket without an upgrade", "GET", "/api/socket", {}, None, 426, "WebSocket upgrade"),
]
for name, method, target, headers, body, status, words in cases:
    got, answer_headers, answer = server.request(method, target, body, headers)
    check(got == status, f"{name}: {got}, expected {status}: {answer[:200]!r}")
    check("default-src 'none'" in answer_headers.get("content-security-policy", ""), f"{name}: no content policy")
    check(not any(h.startswith("access-control-") for h in answer_headers), f"{name}: a CORS header")
    try:
        message = json.loads(answer)["errors"][0]["message"]
    except (ValueError, KeyError, IndexError):
        message = ""
    check(words in message, f"{name}: the error says {message!r}, not {words!r}")

# The token entered once: a redirect that sets the cookie, HttpOnly and SameSite=Strict.
got, headers, _ = server.request("GET", "/?token=" + server.token, headers={"Cookie": None})
cookie = headers.get("set-cookie", "")
check(got == 303 and headers.get("location") == "/", f"the token: {got} to {headers.get('location')}")
check(cookie.startswith(server.cookie + ";") and "HttpOnly" in cookie and "SameSite=Strict" in cookie,
      f"the cookie: {cookie!r}")
# Listening on 127.0.0.1 alone: another loopback address is refused.
try:
    socket.create_connection(("127.0.0.2", port), timeout=5).close()
    check(False, "127.0.0.2 reached the server")
except OSError:
    pass
check(server.value("pex_postgain", "store") == -5, "a refused write changed pex_postgain")

# The page's WebSocket: a message that cannot be a write is answered in words and the socket goes on
# (its writes take the path of PUT /api/param, whose refusals are the rows above).
connection, handshake = server.socket()
check(handshake.startswith("HTTP/1.1 101"), f"the upgrade: {handshake!r}")
for name, frame, opcode, status, words in [
    ("no JSON", '{"number": 1, "value": ', 1, 400, "JSON object"),
    ("an unknown field", '{"number": 2, "name": "pex_postgain", "value": 7, "x": 1}', 1, 400, 'no field "x"'),
    ("a binary message", b"\x00\x01", 2, 415, "binary"),
    ("a message over 1 MB", '{"number": 3, "name": "pex_postgain", "value": ' + big + "}", 1, 413, "1 MB"),
]:
    ws_send(connection, frame, opcode)
    answer = ws_receive(connection)
    check(answer.get("status") == status and words in answer["errors"][0]["message"], f"the socket, {name}: {answer}")
check(server.value("pex_postgain", "store") == -5, "a refused message changed pex_postgain")
ws_send(connection, json.dumps({"number": 6, "name": "pex_postgain", "route": "store", "value": -6}))
answer = ws_receive(connection)
check([answer.get(key) for key in ("number", "status", "store")] == [6, 200, -6], f"a write on the socket: {answer}")
connection.close()

# 10,000 bad requests on 4 connections at a time; each answered with a 4xx or closed.
head = f"GET /api/values HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\nCookie: {server.cookie}\r\n"
kinds = [
    lambda r: bytes(r.randrange(256) for _ in range(r.randrange(1, 200))),             # noise
    lambda r: head.encode()[: r.randrange(1, len(head))],                               # cut in the headers
    lambda r: b"GET / HTTP/1.1\r\nHost: " + b"x" * 9000 + b"\r\n\r\n",                   # headers over 8 KB
    lambda r: b"G\x00T / HTTP/1.1\r\n\r\n",                                             # a broken method
    lambda r: b"GET / HTTP/9.9\r\n\r\n",                                                # an unknown version
    lambda r: (head + "Content-Length: 100\r\n\r\n{\"va").encode(),                     # a body cut short
    lambda r: (head + "Content-Length: 99999999\r\n\r\n").encode(),                     # a body over 1 MB
    lambda r: (head + "Transfer-Encoding: chunked\r\n\r\nzz\r\n").encode(),              # a broken chunk
    lambda r: (head + "Content-Length: -1\r\n\r\n").encode(),                           # a negative length
    lambda r: b"",                                                                      # connected, then dropped
]
answered = {}
lock = threading.Lock()


def hammer(seed, count):
    r = random.Random(seed)
    for i in range(count):
        kind = i % len(kinds)
        data = kinds[kind](r)
        answer = server.raw(data, read=bool(data) and r.random() < 0.8)  # some dropped before the answer
        status = answer[9:12].decode(errors="replace") if answer.startswith(b"HTTP/1.1 ") else "closed"
        with lock:
            answered[status] = answered.get(status, 0) + 1


threads = [threading.Thread(target=hammer, args=(seed, 2500)) for seed in range(4)]
slow = [socket.create_connection(("127.0.0.1", port), timeout=30) for _ in range(20)]
for i, connection in enumerate(slow):  # slow clients: a request begun and left hanging
    connection.sendall(head.encode()[: 10 + i])
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
print("answers to 10,000 bad requests:", dict(sorted(answered.items())))
check(sum(answered.values()) == 10000, "not every bad request was answered or closed")
check(not any(s.startswith("2") for s in answered), "a bad request was answered with success")
check(server.value("pex_postgain", "store") == -6, "a bad request changed pex_postgain (or the server stopped)")
for connection in slow:
    connection.close()
status, document = server.api("PUT", "param/pex_postgain?route=store", {"value": -8})
check(status == 200 and document.get("store") == -8, f"a good write after them: {status} {document}")

# POST /api/shutdown ends it, and the machine is written back.
check(server.request("POST", "/api/shutdown", "{}", {"Cookie": None})[0] == 403, "shutdown without the cookie")
check(server.stop() == 0, "pexctl serve did not end with 0")
check(pexctl_json(runner, pexctl, machine, "get", "pex_postgain").get("store") == -8, "the profile does not hold the last write")

finish("the security rules hold")
