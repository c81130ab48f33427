"""Connection, requests and object proxies of the kx command server client."""

import glob
import json
import os
import pwd
import re
import socket
import time

__all__ = ["KxError", "Proxy", "Session", "connect", "connection_dir", "find_server",
           "read_announcement"]

_ANNOUNCEMENT = re.compile(rb"serving on port (\d+) \(connection file (.*)\)")


def read_announcement(stream, timeout=30):
    """Reads the standard error of a ``kxsh --serve`` or ``kxstudio --serve`` that was just
    started, line by line, until the program announces its server (plug-in messages may come
    first). Returns ``(port, connection_file, text_read)``; port and file are None when the
    stream ended or `timeout` seconds passed without the announcement."""
    seen = b""
    deadline = time.time() + timeout
    while time.time() < deadline:
        line = stream.readline()
        seen += line
        match = _ANNOUNCEMENT.search(line)
        if match:
            return int(match.group(1)), match.group(2).decode(), seen
        if not line:
            break
    return None, None, seen


class KxError(Exception):
    """A command or protocol failure reported by the server.

    ``code`` is the application's error code (504 syntax, 503 user abort, ...) or a JSON-RPC
    code (negative); ``text`` the message; ``output`` what the command printed before failing.
    """

    def __init__(self, code, text, output=""):
        super().__init__(f"{code}: {text}")
        self.code = code
        self.text = text
        self.output = output


class _KxAttributeError(KxError, AttributeError):
    """A path component the server does not know (also an AttributeError, for hasattr)."""


def connection_dir():
    """The directory where running servers leave their connection files."""
    runtime = os.environ.get("XDG_RUNTIME_DIR", "")
    if runtime.startswith("/"):
        return os.path.join(runtime, "kx")
    try:
        user = pwd.getpwuid(os.getuid()).pw_name
    except KeyError:
        user = str(os.getuid())
    return f"/tmp/kx-{user}"


def _alive(pid):
    try:
        os.kill(pid, 0)
    except ProcessLookupError:
        return False
    except (PermissionError, OverflowError, TypeError):
        return True
    return True


def _read_connection_file(path):
    try:
        with open(path, encoding="utf-8") as f:
            info = json.load(f)
        return int(info["port"]), str(info["token"]), int(info.get("pid", 0))
    except (OSError, ValueError, KeyError, TypeError):
        return None


def find_server(port=None):
    """(port, token) of a running server: the one on ``port``, or the newest one."""
    folder = connection_dir()
    if port is not None:
        found = _read_connection_file(os.path.join(folder, f"server-{port}.json"))
        return (found[0], found[1]) if found else None
    candidates = []
    for path in glob.glob(os.path.join(folder, "server-*.json")):
        found = _read_connection_file(path)
        if found and (found[2] == 0 or _alive(found[2])):
            try:
                candidates.append((os.stat(path).st_mtime_ns, found))
            except OSError:
                continue
    if not candidates:
        return None
    found = max(candidates, key=lambda c: c[0])[1]
    return found[0], found[1]


def connect(port=None, token=None, host="127.0.0.1", timeout=30):
    """Connects and authenticates; returns a Session.

    With no port, KX_PORT (and KX_TOKEN) from the environment are used, else the newest
    connection file. With a port but no token, KX_TOKEN is used when KX_PORT names the same
    port, else that server's connection file. ``timeout`` (seconds, None for no limit) bounds
    connecting and the wait for each answer.
    """
    env_port = os.environ.get("KX_PORT")
    if port is None and env_port:
        port = int(env_port)
        if token is None:
            token = os.environ.get("KX_TOKEN")
    if token is None and port is not None and env_port and int(env_port) == int(port):
        token = os.environ.get("KX_TOKEN")
    if port is None or token is None:
        found = find_server(port)
        if found is None:
            where = f"port {port}" if port is not None else "any port"
            raise KxError(-32001, f"no kx server found on {where} (looked in {connection_dir()})")
        port, token = found
    sock = socket.create_connection((host, int(port)), timeout=timeout)
    sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    session = Session(sock)
    try:
        session._call("auth", {"token": token})
    except BaseException:
        session.close()
        raise
    return session


def _quote(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def _literal(value):
    """A Python value as command text: numbers as numbers, texts in double quotes."""
    if isinstance(value, bool):
        return "1" if value else "0"
    if isinstance(value, (int, float)):
        return repr(value)
    if isinstance(value, complex):
        return f"({value.real!r}, {value.imag!r})"
    if isinstance(value, Proxy):
        return object.__getattribute__(value, "_path")
    return _quote(str(value))


def _convert(result):
    kind = result.get("type")
    value = result.get("value")
    if kind == "double":
        return float(value)
    if kind == "int":
        return int(value)
    if kind == "complex":
        return complex(value[0], value[1])
    if kind in ("text", "object"):
        return str(value)
    return None


class Session:
    """One authenticated connection. Use as a context manager to close it."""

    def __init__(self, sock):
        self._sock = sock
        self._buffer = b""
        self._next_id = 0
        self.last_output = ""
        """What the last executed command printed."""

    # -- protocol ------------------------------------------------------------------------
    def _read_line(self):
        while b"\n" not in self._buffer:
            chunk = self._sock.recv(65536)
            if not chunk:
                raise KxError(-32000, "the server closed the connection")
            self._buffer += chunk
        line, _, self._buffer = self._buffer.partition(b"\n")
        return line

    def _call(self, method, params=None):
        if self._sock is None:
            raise KxError(-32000, "the session is closed")
        self._next_id += 1
        request = {"jsonrpc": "2.0", "id": self._next_id, "method": method}
        if params is not None:
            request["params"] = params
        self._sock.sendall(json.dumps(request).encode() + b"\n")
        while True:
            reply = json.loads(self._read_line())
            if reply.get("id") == self._next_id or reply.get("id") is None:
                break
        if "error" in reply:
            err = reply["error"]
            data = err.get("data") or {}
            raise KxError(err.get("code"), err.get("message", ""), data.get("output", ""))
        return reply.get("result")

    # -- public calls --------------------------------------------------------------------
    def run(self, text):
        """Executes a command text; returns the server's result: value, type and output."""
        try:
            result = self._call("execute", {"command": text})
        except KxError as e:
            self.last_output = e.output
            raise
        self.last_output = result.get("output", "")
        return result

    def execute(self, text):
        """Executes a command text; returns its value as int, float, complex, str or None."""
        return _convert(self.run(text))

    def complete(self, text, cursor=None):
        """The completion candidates for ``text`` with the cursor at ``cursor`` (the end)."""
        params = {"text": text}
        if cursor is not None:
            params["cursor"] = cursor
        return self._call("complete", params)

    def ping(self):
        return self._call("ping") == "pong"

    def path(self, text):
        """A proxy for any path, e.g. kx.path("app.subnodes[1]")."""
        return Proxy(self, text)

    def close(self):
        if self._sock is not None:
            self._sock.close()
            self._sock = None

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
        return False

    def __getattr__(self, name):
        if name.startswith("_"):
            raise AttributeError(name)
        return Proxy(self, name)._resolve()


class Proxy:
    """A path on the server. Reading a member asks the server: an object or a function gives a
    new proxy, a variable gives its value. Calling a proxy calls the function, indexing picks a
    child ([n] from 1, ["name"] by name), assigning a member sets the variable."""

    def __init__(self, session, path):
        object.__setattr__(self, "_session", session)
        object.__setattr__(self, "_path", path)

    def _resolve(self):
        session = object.__getattribute__(self, "_session")
        path = object.__getattribute__(self, "_path")
        try:
            result = session.run(path)
        except KxError as e:
            raise _KxAttributeError(e.code, e.text, e.output) from None
        if result.get("type") in ("object", "none"):
            return self
        return _convert(result)

    def _child(self, suffix):
        session = object.__getattribute__(self, "_session")
        path = object.__getattribute__(self, "_path")
        return Proxy(session, path + suffix)._resolve()

    def __getattr__(self, name):
        if name.startswith("__"):
            raise AttributeError(name)
        return self._child("." + name)

    def __getitem__(self, key):
        if isinstance(key, int):
            return self._child(f"[{key}]")
        return self._child(f"[{_quote(str(key))}]")

    def __setattr__(self, name, value):
        session = object.__getattribute__(self, "_session")
        path = object.__getattribute__(self, "_path")
        session.execute(f"{path}.{name} = {_literal(value)}")

    def __call__(self, *args):
        session = object.__getattribute__(self, "_session")
        path = object.__getattribute__(self, "_path")
        return session.execute(f"{path}({', '.join(_literal(a) for a in args)})")

    def __repr__(self):
        return f"<kx {object.__getattribute__(self, '_path')}>"

    def __str__(self):
        return object.__getattribute__(self, "_path")
