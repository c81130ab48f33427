"""kxclient.plot builds the chart commands a server runs (checked against a recording session)."""
import os
import sys
import unittest

# plot.py needs nothing else of the package: load it on its own.
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "python",
                                "kxclient"))
import plot  # noqa: E402


class Recorder:
    def __init__(self):
        self.commands = []

    def execute(self, text):
        self.commands.append(text)


class PlotTest(unittest.TestCase):
    def test_commands(self):
        s = Recorder()
        c = plot.Chart(s, "sweep")
        c.line("loss", [1, 2.5], [0.1, 1e-17], marker="circle")
        c.axis("y", 0, None)
        c.label("x", 'Wave "length"', "um")
        c.export("/tmp/a.png")
        self.assertEqual(s.commands, [
            'charts.new("sweep")',
            'charts.sweep.addline("loss", "1.0 2.5", "0.1 1e-17", "circle")',
            'charts.sweep.setaxis("y", 0.0, "auto")',
            'charts.sweep.setlabel("x", "Wave \\"length\\"", "um")',
            'charts.sweep.export("/tmp/a.png")'])

    def test_grids_from_rows_and_numpy(self):
        s = Recorder()
        c = plot.Chart(s, "f")
        c.grid("colourmap", "m", [0, 1], [0, 1, 2], [[1, 2], [3, 4], [5, 6]])
        self.assertEqual(s.commands[-1],
                         'charts.f.addgriddata("colourmap", "m", "0.0 1.0", "0.0 1.0 2.0", '
                         '"1.0 2.0 3.0 4.0 5.0 6.0")')
        if plot._np is not None:
            np = plot._np
            c.grid("contour", "k", np.arange(2.0), np.arange(3.0), np.arange(6.0).reshape(3, 2))
            self.assertEqual(s.commands[-1],
                             'charts.f.addgriddata("contour", "k", "0.0 1.0", "0.0 1.0 2.0", '
                             '"0.0 1.0 2.0 3.0 4.0 5.0")')
        else:
            print("NumPy not installed: array path not checked", file=sys.stderr)


if __name__ == "__main__":
    unittest.main()
