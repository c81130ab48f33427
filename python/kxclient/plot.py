"""Charts on a kx command server, from Python.

A kx application publishes its chart list (``qvChartList``) under a name, "charts" by default;
this module drives it through a session of :mod:`kxclient`::

    import kxclient
    from kxclient.plot import Chart

    with kxclient.connect() as kx:
        c = Chart(kx, "sweep")                 # charts.new("sweep")
        c.line("loss", wavelengths, losses, marker="circle")
        c.label("x", "Wavelength", "um")
        c.axis("y", 0, None)                   # None: automatic limit
        c.export("/tmp/sweep.png")

Arrays may be NumPy arrays (when NumPy is installed, Debian's python3-numpy) or any sequence of
numbers; 2-D grids (colour maps, contours, vector fields) are NumPy arrays or lists of rows.
Numbers travel as command text written with repr, so doubles arrive unchanged.
"""

try:
    import numpy as _np
except ImportError:  # NumPy is optional
    _np = None


def _quote(text):
    return '"' + str(text).replace("\\", "\\\\").replace('"', '\\"') + '"'


def _numbers(values):
    """A sequence (or NumPy array, flattened row by row) as a quoted list of numbers."""
    if _np is not None and isinstance(values, _np.ndarray):
        flat = _np.asarray(values, dtype=float).ravel().tolist()
    else:
        flat = []
        for v in values:
            if isinstance(v, (list, tuple)) or (_np is not None and isinstance(v, _np.ndarray)):
                flat.extend(float(w) for w in v)
            else:
                flat.append(float(v))
    return '"' + " ".join(repr(v) for v in flat) + '"'


def _limit(value):
    return '"auto"' if value is None else repr(float(value))


class Chart:
    """One chart of the server's chart list, made when missing."""

    def __init__(self, session, name, charts="charts"):
        self._session = session
        self._path = f"{charts}.{name}"
        session.execute(f"{charts}.new({_quote(name)})")

    def _call(self, function, *args):
        return self._session.execute(f"{self._path}.{function}({', '.join(args)})")

    def line(self, name, x, y, marker=None, yerr=None):
        """A line through (x, y); marker: none, circle, square, triangle, cross, plus."""
        args = [_quote(name), _numbers(x), _numbers(y)]
        if marker is not None or yerr is not None:
            args.append(_quote(marker or "none"))
        if yerr is not None:
            args.append(_numbers(yerr))
        return self._call("addline", *args)

    def scatter(self, name, x, y):
        return self._call("addscatter", _quote(name), _numbers(x), _numbers(y))

    def function(self, name, formula, xmin, xmax, n=200):
        """A line of a formula of x that may name the project's variables."""
        return self._call("addfunction", _quote(name), _quote(formula), repr(float(xmin)),
                          repr(float(xmax)), repr(int(n)))

    def grid(self, kind, name, x, y, z, v=None):
        """A contour, colour map or (kind "vector", z and v the components) vector field;
        z holds len(y) rows of len(x) values."""
        args = [_quote(kind), _quote(name), _numbers(x), _numbers(y), _numbers(z)]
        if v is not None:
            args.append(_numbers(v))
        return self._call("addgriddata", *args)

    def axis(self, axis, lo=None, hi=None):
        return self._call("setaxis", _quote(axis), _limit(lo), _limit(hi))

    def label(self, axis, title, unit=""):
        return self._call("setlabel", _quote(axis), _quote(title), _quote(unit))

    def log(self, axis, on=True):
        return self._call("setlog", _quote(axis), "1" if on else "0")

    def scheme(self, dataset, scheme):
        return self._call("setscheme", _quote(dataset), _quote(scheme))

    def title(self, text):
        return self._session.execute(f"{self._path}.title = {_quote(text)}")

    def export(self, path):
        """Writes PNG, SVG or PDF by the file's extension."""
        return self._call("export", _quote(path))

    def export_data(self, dataset, path):
        return self._call("exportdata", _quote(dataset), _quote(path))

    def save(self, path):
        return self._call("save", _quote(path))
