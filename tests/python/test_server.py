"""The command server of `kxsh --serve` and the kxclient package, end to end."""

import json
import os
import signal
import socket
import subprocess
import sys
import threading
import time

import pytest

import kxclient
from conftest import Server, kxsh_path


class Raw:
    """A bare JSON-RPC line client."""

    def __init__(self, port, timeout=10):
        self.sock = socket.create_connection(("127.0.0.1", port), timeout=timeout)
        self.buf = b""
        self.next_id = 0

    def send(self, data):
        self.sock.sendall(data if isinstance(data, bytes) else data.encode())

    def line(self):
        while b"\n" not in self.buf:
            chunk = self.sock.recv(65536)
            if not chunk:
                return None
            self.buf += chunk
        line, _, self.buf = self.buf.partition(b"\n")
        return json.loads(line)

    def call(self, method, params=None):
        self.next_id += 1
        msg = {"jsonrpc": "2.0", "id": self.next_id, "method": method}
        if params is not None:
            msg["params"] = params
        self.send(json.dumps(msg) + "\n")
        return self.line()

    def closed_by_server(self):
        try:
            while self.line() is not None:
                pass
        except (ConnectionResetError, socket.timeout):
            return False
        return True

    def close(self):
        self.sock.close()


def test_authentication_refused_then_accepted(server):
    raw = Raw(server.port)
    for method, params in [("execute", {"command": "app"}), ("ping", None),
                           ("complete", {"text": "ap"})]:
        assert raw.call(method, params)["error"]["code"] == -32001
    assert raw.call("auth", {"token": server.token})["result"] is True
    assert raw.call("ping")["result"] == "pong"

    wrong = Raw(server.port)
    reply = wrong.call("auth", {"token": "0" * 32})
    assert reply["error"]["code"] == -32002
    assert wrong.closed_by_server()
    with pytest.raises(kxclient.KxError) as e:
        kxclient.connect(server.port, "f" * 32)
    assert e.value.code == -32002
    assert raw.call("ping")["result"] == "pong"


def test_execute_converts_values_and_raises_user_errors(server):
    with kxclient.connect(server.port, server.token) as kx:
        assert kx.execute("set x = 2.5") == 2.5
        assert isinstance(kx.execute("set n = 3"), float)
        assert kx.execute("app.numsubnodes()") == 1
        assert isinstance(kx.execute("app.numsubnodes()"), int)
        assert kx.execute("print {x*2}") == "5"
        assert kx.execute("app.subnodes[1].nodename()") == "Demo"
        assert kx.execute("set c = sqrt(-4)") == complex(0, 2)
        assert kx.execute("pwd") is None or isinstance(kx.execute("pwd"), str)
        kx.execute("print hello")
        assert kx.last_output == "hello\n"
        with pytest.raises(kxclient.KxError) as e:
            kx.execute("print before; app.nosuch")
        assert e.value.code == 504
        assert "nosuch" in e.value.text
        assert e.value.output == "before\n"
        # The session goes on after an error.
        assert kx.execute("set x = x + 1") == 3.5


def test_proxies_call_read_and_set(server):
    with kxclient.connect(server.port, server.token) as kx:
        project = kx.app.subnodes[1]
        assert project.nodename() == "Demo"
        assert kx.app.subnodes["Demo"].nodename() == "Demo"
        assert kx.app.subnodes[1].filename == str(server.project)
        kx.app.subnodes[1].filename = "a.txt"
        assert kx.app.subnodes[1].filename == "a.txt"
        kx.app.subnodes[1].filename = 'we"ird \\ name'
        assert kx.execute("app.subnodes[1].filename") == 'we"ird \\ name'
        assert kx.app.numsubnodes() == 1
        assert not hasattr(kx.app, "nosuchmember")
        with pytest.raises(kxclient.KxError):
            kx.app.subnodes[5]


def test_completion(server):
    with kxclient.connect(server.port, server.token) as kx:
        assert "app.subnodes" in kx.complete("app.sub")
        assert kx.complete("app.subnodes[1].node") == ["app.subnodes[1].nodename"]
        assert kx.complete("app.sub", 2) != kx.complete("app.sub")


def test_responses_keep_request_order(server):
    raw = Raw(server.port)
    assert raw.call("auth", [server.token])["result"] is True
    n = 300
    burst = "".join(json.dumps({"jsonrpc": "2.0", "id": i, "method": "execute",
                                "params": {"command": f"set v = {i}"}}) + "\n" for i in range(n))
    raw.send(burst)
    for i in range(n):
        reply = raw.line()
        assert reply["id"] == i
        assert reply["result"]["value"] == i


def test_batches_and_notifications(server):
    raw = Raw(server.port)
    raw.call("auth", {"token": server.token})
    raw.send(json.dumps({"jsonrpc": "2.0", "method": "execute",
                         "params": {"command": "set quiet = 11"}}) + "\n")
    batch = [{"jsonrpc": "2.0", "id": "a", "method": "execute", "params": {"command": "quiet"}},
             {"jsonrpc": "2.0", "method": "ping"},
             {"jsonrpc": "2.0", "id": "b", "method": "nosuch"},
             "junk"]
    raw.send(json.dumps(batch) + "\n")
    replies = raw.line()
    assert [r["id"] for r in replies] == ["a", "b", None]
    assert replies[0]["result"]["value"] == 11
    assert replies[1]["error"]["code"] == -32601
    assert replies[2]["error"]["code"] == -32600
    raw.send(json.dumps([{"jsonrpc": "2.0", "method": "ping"}]) + "\n")
    assert raw.call("ping")["id"] == raw.next_id   # nothing came back for the batch


def test_malformed_json_gets_an_error_not_a_crash(server):
    raw = Raw(server.port)
    raw.call("auth", {"token": server.token})
    for junk in [b"{not json\n", b"\xff\xfe\x00\n", b'{"jsonrpc": "2.0", "id": [}\n', b"[]\n"]:
        raw.send(junk)
        reply = raw.line()
        assert reply["error"]["code"] in (-32700, -32600)
    assert raw.call("ping")["result"] == "pong"
    assert server.proc.poll() is None


def test_sixteen_concurrent_clients_and_the_seventeenth_refused(server):
    sessions = [kxclient.connect(server.port, server.token) for _ in range(16)]
    results = [None] * 16

    def work(i):
        total = 0
        for k in range(20):
            total += sessions[i].execute(f"set w{i} = {i} * 100 + {k}")
        results[i] = total

    threads = [threading.Thread(target=work, args=(i,)) for i in range(16)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert results == [sum(i * 100 + k for k in range(20)) for i in range(16)]

    extra = Raw(server.port)
    reply = extra.line()
    assert reply["error"]["code"] == -32000
    assert extra.closed_by_server()
    sessions.pop().close()
    time.sleep(0.3)
    with kxclient.connect(server.port, server.token) as late:
        assert late.ping()
    for s in sessions:
        s.close()


def test_oversized_request_is_refused_and_closed(server):
    big = Raw(server.port)
    big.call("auth", {"token": server.token})
    other = kxclient.connect(server.port, server.token)
    payload = json.dumps({"jsonrpc": "2.0", "id": 1, "method": "execute",
                          "params": {"command": "print " + "x" * (1 << 20)}}) + "\n"
    try:
        big.send(payload)
    except (BrokenPipeError, ConnectionResetError):
        pass
    reply = big.line()
    assert reply["error"]["code"] == -32003
    assert big.closed_by_server()
    assert other.execute("set ok = 1") == 1.0
    other.close()


def test_stalled_half_line_blocks_nobody(server):
    stalled = Raw(server.port)
    stalled.call("auth", {"token": server.token})
    stalled.send('{"jsonrpc": "2.0", "id": 9, "meth')
    with kxclient.connect(server.port, server.token, timeout=5) as kx:
        assert kx.execute("set a = 4") == 4.0
    stalled.send('od": "ping"}\n')
    assert stalled.line()["result"] == "pong"


CLIENT_KILLED = r"""
import json, socket, sys
s = socket.create_connection(("127.0.0.1", int(sys.argv[1])))
s.sendall((json.dumps({"jsonrpc": "2.0", "id": 1, "method": "auth",
                       "params": {"token": sys.argv[2]}}) + "\n").encode())
s.recv(1000)
s.sendall((json.dumps({"jsonrpc": "2.0", "id": 2, "method": "execute",
                       "params": {"command": "for i = 1, 200000\nset slow = i\nend\nset done = 1"}})
           + "\n").encode())
print("sent", flush=True)
import time; time.sleep(60)
"""


def test_client_killed_mid_request_changes_nothing_else(server, tmp_path):
    script = tmp_path / "victim.py"
    script.write_text(CLIENT_KILLED)
    victim = subprocess.Popen([sys.executable, str(script), str(server.port), server.token],
                              stdout=subprocess.PIPE)
    assert victim.stdout.readline().strip() == b"sent"
    time.sleep(0.2)
    victim.kill()
    victim.wait()
    victim.stdout.close()
    with kxclient.connect(server.port, server.token) as kx:
        assert kx.execute("done") == 1.0      # the command ran to its end
        assert kx.execute("slow") == 200000.0
        assert kx.ping()
    assert server.proc.poll() is None


def test_clean_shutdown_removes_the_connection_file(tmp_path):
    first = Server(tmp_path / "a" if (tmp_path / "a").mkdir() is None else tmp_path)
    assert os.path.exists(first.file)
    assert oct(os.stat(first.file).st_mode & 0o777) == "0o600"
    assert oct(os.stat(os.path.dirname(first.file)).st_mode & 0o777) == "0o700"
    assert first.stop() == 0
    assert not os.path.exists(first.file)

    second = Server(tmp_path / "b" if (tmp_path / "b").mkdir() is None else tmp_path)
    second.proc.send_signal(signal.SIGTERM)
    assert second.proc.wait(30) == 0
    assert not os.path.exists(second.file)
    second.stop()


def test_connect_finds_the_server_from_environment_or_connection_file(server, monkeypatch):
    monkeypatch.setenv("XDG_RUNTIME_DIR", str(server.runtime))
    monkeypatch.delenv("KX_PORT", raising=False)
    monkeypatch.delenv("KX_TOKEN", raising=False)
    with kxclient.connect() as kx:
        assert kx.ping()
    with kxclient.connect(server.port) as kx:
        assert kx.ping()
    monkeypatch.setenv("KX_PORT", str(server.port))
    monkeypatch.setenv("KX_TOKEN", server.token)
    monkeypatch.setenv("XDG_RUNTIME_DIR", "/nonexistent")
    with kxclient.connect() as kx:
        assert kx.ping()
    monkeypatch.delenv("KX_PORT")
    with pytest.raises(kxclient.KxError):
        kxclient.connect()


PY_SCRIPT = r"""
import sys, kxclient
with kxclient.connect() as kx:
    kx.execute("set fromscript = " + sys.argv[1])
    print("script saw", kx.app.subnodes[1].nodename(), sys.argv[2], flush=True)
"""


def test_python_scripts_run_against_the_console(tmp_path):
    script = tmp_path / "job.py"
    script.write_text(PY_SCRIPT)
    env = dict(os.environ, XDG_RUNTIME_DIR=str(tmp_path))
    project = tmp_path / "demo.kxp"
    project.write_text('begin <kxProject(1.0)> "Demo"\nend\n')
    out = subprocess.run([kxsh_path(), "-c",
                          f'runfile("{script}", "42 \\"two words\\"")\nprint {{fromscript}}',
                          str(project)], capture_output=True, text=True, env=env, timeout=60)
    assert out.returncode == 0, out.stderr
    assert "EXECUTING PYTHON SCRIPT...\n" in out.stdout
    assert "script saw Demo two words" in out.stdout
    assert out.stdout.rstrip().endswith("42")

    failing = tmp_path / "fail.py"
    failing.write_text("raise SystemExit(3)\n")
    out = subprocess.run([kxsh_path(), "-f", str(failing)], capture_output=True, text=True,
                         env=env, timeout=60)
    assert out.returncode == 1
    assert "exit status 3" in out.stderr

    env_nopy = dict(env, PATH="/nonexistent")
    out = subprocess.run([kxsh_path(), "-f", str(script)], capture_output=True, text=True,
                         env=env_nopy, timeout=60)
    assert out.returncode == 1
    assert "unable to run python script\nmake sure the python executable is in your path\n" \
        in out.stderr
