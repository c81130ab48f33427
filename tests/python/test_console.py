"""The kxsh console on a pseudo-terminal: prompt, history, completion, continuation, Ctrl-C."""

import os
import pty
import select
import signal
import time

from conftest import kxsh_path


class Terminal:
    """kxsh running on a pseudo-terminal."""

    def __init__(self, tmp_path, args=()):
        self.env = dict(os.environ, XDG_STATE_HOME=str(tmp_path / "state"), TERM="dumb",
                        XDG_RUNTIME_DIR=str(tmp_path), INPUTRC="/dev/null")
        self.pid, self.fd = pty.fork()
        if self.pid == 0:
            os.execve(kxsh_path(), [kxsh_path(), *args], self.env)
        self.seen = b""
        self.pos = 0

    def read_until(self, marker, timeout=10):
        marker = marker.encode() if isinstance(marker, str) else marker
        deadline = time.time() + timeout
        while marker not in self.seen[self.pos:]:
            left = deadline - time.time()
            if left <= 0:
                raise AssertionError(f"{marker!r} not seen; got {self.seen!r}")
            ready, _, _ = select.select([self.fd], [], [], left)
            if ready:
                try:
                    chunk = os.read(self.fd, 4096)
                except OSError:
                    chunk = b""
                if not chunk:
                    raise AssertionError(f"{marker!r} not seen before the end; got {self.seen!r}")
                self.seen += chunk
        # Later waits look only at what comes after this match.
        self.pos = self.seen.index(marker, self.pos) + len(marker)
        return self.seen

    def send(self, text):
        os.write(self.fd, text.encode() if isinstance(text, str) else text)

    def finish(self):
        self.send(b"\x04")   # Ctrl-D
        deadline = time.time() + 10
        while time.time() < deadline:
            done, status = os.waitpid(self.pid, os.WNOHANG)
            if done:
                os.close(self.fd)
                return os.waitstatus_to_exitcode(status)
            try:
                if select.select([self.fd], [], [], 0.1)[0]:
                    self.seen += os.read(self.fd, 4096)
            except OSError:
                pass
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)
        os.close(self.fd)
        raise AssertionError("kxsh did not end on Ctrl-D")


def test_history_is_kept_across_runs(tmp_path):
    first = Terminal(tmp_path)
    first.read_until("kx> ")
    first.send("print histmark{6*7}\r")
    first.read_until("histmark42\r\nkx> ")
    assert first.finish() == 0
    history = tmp_path / "state" / "kx" / "kxsh_history"
    assert "print histmark{6*7}" in history.read_text()

    second = Terminal(tmp_path)
    second.read_until("kx> ")
    second.send("\x1b[A\r")   # up arrow, enter: the line of the first run again
    second.read_until("histmark42\r\nkx> ")
    assert second.finish() == 0


def test_tab_completes_paths(tmp_path):
    term = Terminal(tmp_path)
    term.read_until("kx> ")
    term.send("app.sub\t")
    term.read_until("app.subnodes")
    term.send(".\r")   # "app.subnodes." is not a path: an error, not a hang
    term.read_until("kx> ")
    term.send("app.numsub\t()\r")
    term.read_until("\r\n0\r\nkx> ")
    assert term.finish() == 0


def test_continuation_prompt_and_ctrl_c(tmp_path):
    term = Terminal(tmp_path)
    term.read_until("kx> ")
    term.send("for i = 1, 3\r")
    term.read_until("...> ")
    term.send("print loop{i}\r")
    term.read_until("...> ")
    term.send("end\r")
    term.read_until("loop3")
    # Ctrl-C abandons the line being typed (and an open block).
    term.send("for k = 1, 2\r")
    term.read_until("...> ")
    term.send("print abandoned\x03")
    term.read_until("kx> ")
    term.send("print after\r")
    term.read_until("after\r\n")
    assert b"abandoned\r\n" not in term.seen.split(b"print after")[-1]
    # Ctrl-C stops a running command.
    start = term.seen
    term.send("for j = 1, 100000000\rset z = j\rend\r")
    time.sleep(0.5)
    term.send(b"\x03")
    term.read_until("503")
    term.read_until("kx> ")
    assert term.finish() == 0
    assert b"503" in term.seen[len(start):]
