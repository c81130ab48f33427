"""kxstudio end to end: the window started on the bundled example under a virtual X server,
looked at and driven through the command server with the Python client.

Run by ctest under xvfb-run; kxstudio is taken from $KXSTUDIO (else build/dev/bin), the
screenshot goes to $KX_SHOT_DIR (else the temporary directory).
"""

import os
import shutil
import subprocess
import sys
import time

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, os.path.join(ROOT, "python"))

import kxclient  # noqa: E402

EXAMPLE = os.path.join(ROOT, "examples", "ridge_waveguide.txt")


def kxstudio_path():
    path = os.environ.get("KXSTUDIO") or os.path.join(ROOT, "build", "dev", "bin", "kxstudio")
    if not os.access(path, os.X_OK):
        pytest.fail(f"kxstudio not found at {path} (set KXSTUDIO)")
    return path


class Studio:
    """A running `kxstudio --serve 0` on a copy of the example."""

    def __init__(self, tmp_path, *projects):
        self.runtime = tmp_path / "runtime"
        self.runtime.mkdir(mode=0o700)
        self.env = dict(os.environ, XDG_RUNTIME_DIR=str(self.runtime),
                        XDG_CONFIG_HOME=str(tmp_path / "config"))
        for name in ("KX_PORT", "KX_TOKEN"):
            self.env.pop(name, None)
        self.proc = subprocess.Popen([kxstudio_path(), "--serve", "0", *map(str, projects)],
                                     stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                     env=self.env)
        self.port, self.file, seen = kxclient.read_announcement(self.proc.stderr, 60)
        if self.port is None:
            self.proc.kill()
            pytest.fail(f"kxstudio did not start serving: {seen!r}")
        os.environ["XDG_RUNTIME_DIR"] = str(self.runtime)
        self.kx = kxclient.connect(self.port)

    def ui(self, call):
        return self.kx.execute("app.ui." + call)

    def wait_for(self, call, want, timeout=30):
        deadline = time.time() + timeout
        got = None
        while time.time() < deadline:
            got = self.ui(call)
            if got == want:
                return got
            time.sleep(0.05)
        return got

    def close(self, timeout=30):
        if self.proc.poll() is None:
            try:
                self.ui("close()")
            except (kxclient.KxError, OSError):
                pass
            try:
                self.proc.wait(timeout)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
        self.kx.close()
        self.stderr_rest = self.proc.stderr.read().decode(errors="replace")
        self.proc.stderr.close()
        return self.proc.returncode


@pytest.fixture
def studio(tmp_path):
    project = tmp_path / "ridge_waveguide.txt"
    shutil.copy(EXAMPLE, project)
    s = Studio(tmp_path, project)
    yield s
    s.close()


def screenshot(name):
    folder = os.environ.get("KX_SHOT_DIR") or "/tmp"
    path = os.path.join(folder, name)
    subprocess.run(["import", "-window", "root", path], check=True, timeout=60)
    return path


def test_tree_screenshot_and_selection(studio):
    assert studio.wait_for("treecount()", 6) == 6
    text = studio.ui("treetext()")
    assert text.rstrip("\n").split("\n") == [
        "ridge", "  readme", "  dimensions", "  section", "  sweep", "  sweep_python"]
    studio.ui('select("/ridge/dimensions")')
    assert studio.ui("selected()") == "/ridge/dimensions"
    with pytest.raises(kxclient.KxError):
        studio.ui('select("/ridge/nothing")')
    path = screenshot("kxstudio_smoke.png")
    with open(path, "rb") as f:
        assert f.read(8) == b"\x89PNG\r\n\x1a\n"
    assert os.path.getsize(path) > 5000


def test_tree_follows_add_rename_delete(studio):
    studio.wait_for("treecount()", 6)
    studio.kx.execute('app.subnodes["ridge"].addsubnode("notesTB", "later")')
    assert "  later" in studio.ui("treetext()").split("\n")
    studio.kx.execute('app.subnodes["ridge"].subnodes["later"].rename("renamed")')
    text = studio.ui("treetext()")
    assert "  renamed" in text.split("\n") and "later" not in text
    studio.kx.execute('app.subnodes["ridge"].subnodes["renamed"].delete()')
    assert "renamed" not in studio.ui("treetext()")
    assert studio.ui("treecount()") == 6


def test_edit_variable_run_script_and_warnings(studio):
    studio.wait_for("treecount()", 6)
    dims = 'app.subnodes["ridge"].subnodes["dimensions"]'
    studio.kx.execute(dims + ".setvariable(core_width, 3)")
    assert float(studio.kx.execute(dims + ".getvalue(slab_width)")) == pytest.approx(6.0)
    studio.kx.execute(dims + ".setvariable(core_width, 2)")
    # The example's command script, typed into the command window.
    studio.ui('type("app.subnodes[\\"ridge\\"].subnodes[\\"sweep\\"].runscript()")')
    deadline = time.time() + 60
    while time.time() < deadline and "areas" not in studio.ui("output()"):
        time.sleep(0.1)
    output = studio.ui("output()")
    assert "sweep of core_width over 3 parameters: 1 to 3 by 0.5 um" in output
    assert "ERROR" not in output
    assert studio.ui("gaugeshown()") == 0
    assert studio.ui("running()") == 0
    # A formula naming an unknown variable warns; the warning lands on the warnings page.
    assert studio.ui("lamp()") == 0
    studio.kx.execute(dims + ".setvariable(broken, nosuchvariable*2)")
    studio.kx.execute(dims + ".getvalue(broken)")
    assert "nosuchvariable" in studio.ui("warnings()")
    assert studio.ui("lamp()") == 1
    assert studio.ui("currentpage()") == "Warnings"


def test_clean_close_removes_connection_file(tmp_path):
    project = tmp_path / "ridge_waveguide.txt"
    shutil.copy(EXAMPLE, project)
    s = Studio(tmp_path, project)
    assert os.path.exists(s.file)
    assert s.close() == 0
    assert not os.path.exists(s.file)
    # Under AddressSanitizer (an instrumented build): no report of ours at exit.
    assert "Sanitizer" not in s.stderr_rest, s.stderr_rest
    # The options were written on the way out.
    assert (tmp_path / "config" / "kx" / "kxstudio.ini").exists()


def test_no_display_gives_a_message(tmp_path):
    env = dict(os.environ)
    env.pop("DISPLAY", None)
    env.pop("WAYLAND_DISPLAY", None)
    done = subprocess.run([kxstudio_path()], env=env, capture_output=True, timeout=60)
    assert done.returncode == 1
    assert b"no display" in done.stderr


def test_node_views_edit_and_run(studio):
    studio.wait_for("treecount()", 6)
    ridge = 'app.subnodes["ridge"]'
    dims_path, sweep_path, readme_path = "/ridge/dimensions", "/ridge/sweep", "/ridge/readme"
    studio.kx.execute(ridge + '.subnodes["dimensions"].findorcreateview()')
    studio.kx.execute(ridge + '.subnodes["readme"].findorcreateview()')
    studio.kx.execute(ridge + '.subnodes["sweep"].findorcreateview()')
    studio.kx.execute(ridge + '.subnodes["dimensions"].findorcreateview()')  # no second page
    pages = studio.ui("pages()").rstrip("\n").split("\n")
    assert pages == ["Warnings", "dimensions", "readme", "sweep"]
    assert studio.ui("currentpage()") == "dimensions"

    rows = [r.split("\t") for r in studio.ui(f'viewtext("{dims_path}")').rstrip("\n").split("\n")]
    names = [r[0] for r in rows]
    assert names[:3] == ["wavelength", "n_core", "n_clad"]
    plain = {r[0]: r[1] for r in rows}
    assert plain["wavelength"] == "1.55" and plain["n_core"] == "3.48"
    assert plain["core_height"] == "0.75", "plain values shown as typed"
    width_row = names.index("core_width")
    slab = names.index("slab_width")
    assert rows[slab][1] == "core_width + 4*core_height" and float(rows[slab][2]) == 5
    # Typing a new expression goes through .setvariable and the grid shows the new values.
    assert studio.ui(f'editcell("{dims_path}", {width_row}, 1, "3")') == 1
    rows = [r.split("\t") for r in studio.ui(f'viewtext("{dims_path}")').rstrip("\n").split("\n")]
    assert float(rows[slab][2]) == pytest.approx(6.0)
    assert float(studio.kx.execute(ridge + '.subnodes["dimensions"].getvalue(slab_width)')) == 6
    # A name and an expression in the last row add a variable; a bad name is refused in the
    # system's words.
    count = len(rows)
    assert studio.ui(f'editcell("{dims_path}", {count}, 0, "1bad")') == 1  # waits for both
    assert studio.ui(f'editcell("{dims_path}", {count}, 1, "2")') == 0
    assert "ERROR 1: Invalid variable name 1bad" in studio.ui("output()")
    assert float(studio.kx.execute(ridge + '.subnodes["dimensions"].getvalue(core_width)')) == 3
    assert studio.ui(f'editcell("{dims_path}", {count}, 0, "extra")') == 1
    assert studio.ui(f'editcell("{dims_path}", {count}, 1, "core_width*2")') == 1
    assert float(studio.kx.execute(ridge + '.subnodes["dimensions"].getvalue(extra)')) == 6

    assert "silicon ridge waveguide" in studio.ui(f'viewtext("{readme_path}")')
    script = studio.ui(f'viewtext("{sweep_path}")')
    assert script.startswith("commands; parameters: 1 3 0.5")

    # The Run button sends .runscript(); the sweep puts core_width back to 2 at its end.
    studio.ui(f'runview("{sweep_path}")')
    deadline = time.time() + 60
    while time.time() < deadline and "areas" not in studio.ui("output()"):
        time.sleep(0.1)
    assert "sweep of core_width over 3 parameters" in studio.ui("output()")
    assert float(studio.kx.execute(ridge + '.subnodes["dimensions"].getvalue(core_width)')) == 2
    rows = [r.split("\t") for r in studio.ui(f'viewtext("{dims_path}")').rstrip("\n").split("\n")]
    assert float(rows[slab][2]) == pytest.approx(5.0), "the grid follows changes made elsewhere"

    studio.ui('select("/ridge/dimensions")')
    studio.kx.execute(ridge + '.subnodes["dimensions"].findorcreateview()')
    path = screenshot("kxstudio_views.png")
    assert os.path.getsize(path) > 5000

    # Deleting the node closes its view.
    studio.kx.execute(ridge + '.subnodes["readme"].delete()')
    studio.ui("treetext()")
    assert "readme" not in studio.ui("pages()")


def test_run_indicator_animates_and_a_click_stops_the_script(studio, tmp_path):
    """A long command script started in the window yields to it: the command server answers
    meanwhile, the indicator steps through its running frames, the gauge shows, a command
    typed meanwhile is refused, and a click on the indicator stops the script (503), after
    which the gauge is hidden and the indicator idle."""
    studio.wait_for("treecount()", 6)
    script = tmp_path / "long.txt"
    # Far longer than the test waits: only the click ends it.
    script.write_text("for i = 1, 50000000, 1\n  set x = i*2+1\nend\nprint long script ended\n")
    assert studio.ui("running()") == 0 and studio.ui("gaugeshown()") == 0
    studio.ui(f'type("runfile(\\"{script}\\")")')
    # Each call is answered only while the script yields to the window, one per yield, and
    # every yield steps the indicator on: successive looks see successive frames.
    frames = set()
    deadline = time.time() + 30
    while time.time() < deadline and len(frames) < 3:
        frame = studio.ui("runframe()")
        if frame:
            frames.add(frame)
    assert studio.ui("running()") == 1, "the script must still be running, answering us"
    assert frames == {1, 2, 3}, f"indicator frames seen: {frames}"
    assert studio.ui("gaugeshown()") == 1
    # Typed while the script runs: refused, not nested inside it.
    studio.ui('type("print typed meanwhile")')
    deadline = time.time() + 30
    while time.time() < deadline and "not run: a calculation is running" not in studio.ui(
            "output()"):
        time.sleep(0.05)
    output = studio.ui("output()")
    assert "> print typed meanwhile\nnot run: a calculation is running" in output
    assert "\ntyped meanwhile" not in output
    # The click on the indicator stops the script with the user abort.
    studio.ui("clickrun()")
    deadline = time.time() + 30
    while time.time() < deadline and "ERROR 503" not in studio.ui("output()"):
        time.sleep(0.05)
    output = studio.ui("output()")
    assert "ERROR 503: script stopped by user" in output
    assert "long script ended" not in output
    assert studio.ui("running()") == 0 and studio.ui("runframe()") == 0
    assert studio.ui("gaugeshown()") == 0, "the gauge is hidden again after the run"
    # What the window recorded of the run.
    assert studio.ui("runspins()") >= 2
    assert studio.ui("gaugeseen()") == 1
    # The window takes commands again.
    studio.ui('type("print after the stop")')
    deadline = time.time() + 30
    while time.time() < deadline and "\nafter the stop" not in studio.ui("output()"):
        time.sleep(0.05)
    assert "\nafter the stop" in studio.ui("output()")


def test_script_started_by_a_client_records_its_spins(studio, tmp_path):
    """The command server is busy while its own command runs, so a script a client starts is
    looked at afterwards, through what the window recorded of it."""
    studio.wait_for("treecount()", 6)
    script = tmp_path / "medium.txt"
    # About a second in a release build: several throttle periods of 0.2 s.
    script.write_text("for i = 1, 400000, 1\n  set x = i*2+1\nend\n")
    start = time.time()
    studio.kx.execute(f'runfile("{script}")')
    took = time.time() - start
    spins = studio.ui("runspins()")
    # At most one spin per 0.2 s (the first may come at once); at least one for every two
    # periods even on a loaded machine.
    assert took > 0.4 and took / 0.4 - 1 <= spins <= took / 0.2 + 1, (spins, took)
    assert studio.ui("gaugeseen()") == 1
    assert studio.ui("gaugeshown()") == 0 and studio.ui("running()") == 0
