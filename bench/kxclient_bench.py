#!/usr/bin/python3
"""Round trip and throughput of the command server through the Python client.

Starts `kxsh --serve 0` and, as the peer, a bare single-threaded Python echo server that answers
every request line with the very response line kxsh gives to it. Measures, in the same run:
  (b1) one request at a time: kxclient.Session.execute against a bare socket client sending the
       same JSON-RPC line to the echo server (target: ratio <= 2);
  (b2) throughput with 8 concurrent clients (separate processes), kxclient against kxsh and the
       bare client against the echo server.

    /usr/bin/python3 bench/kxclient_bench.py [path/to/kxsh] [--requests N]
"""

import json
import multiprocessing
import os
import selectors
import socket
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "python"))
import kxclient  # noqa: E402

COMMAND = "set v = 1"


def start_kxsh(kxsh, runtime):
    env = dict(os.environ, XDG_RUNTIME_DIR=runtime)
    proc = subprocess.Popen([kxsh, "--serve", "0"], stdin=subprocess.PIPE,
                            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, env=env)
    port, path, seen = kxclient.read_announcement(proc.stderr)
    if port is None:
        raise SystemExit(f"kxsh did not start: {seen!r}")
    with open(path) as f:
        token = json.load(f)["token"]
    return proc, port, token


def echo_server(port_queue, reply):
    """Answers each received line with `reply` (one line), for any number of clients."""
    listener = socket.socket()
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(("127.0.0.1", 0))
    listener.listen(64)
    listener.setblocking(False)
    port_queue.put(listener.getsockname()[1])
    sel = selectors.DefaultSelector()
    sel.register(listener, selectors.EVENT_READ, None)
    buffers = {}
    while True:
        for key, _ in sel.select():
            if key.data is None:
                conn, _ = listener.accept()
                conn.setblocking(True)
                sel.register(conn, selectors.EVENT_READ, 1)
                buffers[conn] = b""
                continue
            conn = key.fileobj
            chunk = conn.recv(65536)
            if not chunk:
                sel.unregister(conn)
                conn.close()
                del buffers[conn]
                continue
            buffers[conn] += chunk
            lines = buffers[conn].count(b"\n")
            buffers[conn] = buffers[conn].rsplit(b"\n", 1)[-1] if lines else buffers[conn]
            if lines:
                conn.sendall(reply * lines)


def bare_client(port, n, request):
    """Sends the request line n times, one at a time, reading each answer line."""
    sock = socket.create_connection(("127.0.0.1", port))
    sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    buf = b""
    start = time.perf_counter()
    for _ in range(n):
        sock.sendall(request)
        while b"\n" not in buf:
            buf += sock.recv(65536)
        _, _, buf = buf.partition(b"\n")
    elapsed = time.perf_counter() - start
    sock.close()
    return elapsed


def kx_client(port, token, n):
    with kxclient.connect(port, token) as kx:
        start = time.perf_counter()
        for _ in range(n):
            kx.execute(COMMAND)
        return time.perf_counter() - start


def run_parallel(target, args_list):
    with multiprocessing.Pool(len(args_list)) as pool:
        start = time.perf_counter()
        pool.starmap(target, args_list)
        return time.perf_counter() - start


def main():
    args = [a for a in sys.argv[1:]]
    n = 2000
    if "--requests" in args:
        i = args.index("--requests")
        n = int(args[i + 1])
        del args[i:i + 2]
    kxsh = args[0] if args else os.environ.get(
        "KXSH", os.path.join(ROOT, "build", "dev", "bin", "kxsh"))

    with tempfile.TemporaryDirectory() as runtime:
        proc, port, token = start_kxsh(kxsh, runtime)
        try:
            # The exact lines kxclient exchanges with kxsh, for the peer to exchange too.
            with kxclient.connect(port, token) as kx:
                kx.execute(COMMAND)
                request = (json.dumps({"jsonrpc": "2.0", "id": 2, "method": "execute",
                                       "params": {"command": COMMAND}}) + "\n").encode()
                raw = socket.create_connection(("127.0.0.1", port))
                raw.sendall((json.dumps({"jsonrpc": "2.0", "id": 1, "method": "auth",
                                         "params": {"token": token}}) + "\n").encode())
                reply = b""
                while reply.count(b"\n") < 1:
                    reply += raw.recv(65536)
                raw.sendall(request)
                reply = b""
                while b"\n" not in reply:
                    reply += raw.recv(65536)
                raw.close()

            queue = multiprocessing.Queue()
            echo = multiprocessing.Process(target=echo_server, args=(queue, reply), daemon=True)
            echo.start()
            echo_port = queue.get()

            # warm-up
            kx_client(port, token, 200)
            bare_client(echo_port, 200, request)

            # Alternate the two in short rounds and keep each one's best, so that load from
            # other processes on the machine affects both alike.
            best_kx = best_bare = float("inf")
            for _ in range(9):
                best_kx = min(best_kx, kx_client(port, token, n))
                best_bare = min(best_bare, bare_client(echo_port, n, request))
            print(f"round trip, one client, {n} requests of {COMMAND!r}:")
            print(f"  kxclient -> kxsh          {best_kx / n * 1e6:8.1f} us/request")
            print(f"  bare socket -> echo (peer) {best_bare / n * 1e6:8.1f} us/request")
            print(f"  ratio kxclient/peer        {best_kx / best_bare:8.2f}   (target <= 2)")

            clients = 8
            per = max(n // 2, 100)
            t_kx = t_bare = float("inf")
            for _ in range(3):
                t_kx = min(t_kx, run_parallel(kx_client, [(port, token, per)] * clients))
                t_bare = min(t_bare, run_parallel(bare_client, [(echo_port, per, request)] * clients))
            total = clients * per
            print(f"throughput, {clients} concurrent clients, {per} requests each:")
            print(f"  kxclient -> kxsh           {total / t_kx:10.0f} requests/s")
            print(f"  bare socket -> echo (peer) {total / t_bare:10.0f} requests/s")
            print(f"  ratio of times kxclient/peer {t_kx / t_bare:7.2f}")
            echo.terminate()
        finally:
            proc.stdin.close()
            proc.wait(30)


if __name__ == "__main__":
    main()
