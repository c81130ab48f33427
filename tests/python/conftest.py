"""Fixtures of the kxsh / kxclient tests: a real `kxsh --serve 0` started per test.

The kxsh program is taken from $KXSH (ctest sets it), else from build/dev.
"""

import json
import os
import subprocess
import sys

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, os.path.join(ROOT, "python"))
import kxclient  # noqa: E402

# The suite must really run: fewer collected tests than this fails the session.
MIN_TESTS = 17

DEMO_PROJECT = 'begin <kxProject(1.0)> "Demo"\nend\n'


def kxsh_path():
    path = os.environ.get("KXSH") or os.path.join(ROOT, "build", "dev", "bin", "kxsh")
    if not os.access(path, os.X_OK):
        pytest.fail(f"kxsh not found at {path} (set KXSH)")
    return path


class Server:
    """A running `kxsh --serve 0` with its port, token and connection file."""

    def __init__(self, tmp_path, extra_args=()):
        self.runtime = tmp_path / "runtime"
        self.runtime.mkdir(mode=0o700)
        self.env = dict(os.environ, XDG_RUNTIME_DIR=str(self.runtime))
        self.env.pop("KX_PORT", None)
        self.env.pop("KX_TOKEN", None)
        self.project = tmp_path / "demo.kxp"
        self.project.write_text(DEMO_PROJECT)
        self.proc = subprocess.Popen(
            [kxsh_path(), "--serve", "0", *extra_args, str(self.project)],
            stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
            env=self.env)
        self.port, self.file, seen = kxclient.read_announcement(self.proc.stderr, 30)
        if self.port is None:
            self.proc.kill()
            pytest.fail(f"kxsh did not start serving: {seen!r}")
        with open(self.file) as f:
            self.token = json.load(f)["token"]

    def stop(self, timeout=30):
        """Ends kxsh cleanly by closing its standard input; returns the exit status."""
        if self.proc.poll() is None:
            self.proc.stdin.close()
            try:
                self.proc.wait(timeout)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
        self.proc.stderr.close()
        return self.proc.returncode


@pytest.fixture
def server(tmp_path):
    s = Server(tmp_path)
    yield s
    s.stop()


def pytest_sessionfinish(session, exitstatus):
    if session.testscollected < MIN_TESTS and exitstatus in (0, 5):
        print(f"\nonly {session.testscollected} tests collected, at least {MIN_TESTS} expected")
        session.exitstatus = 1
