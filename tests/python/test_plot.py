"""kxclient.plot builds the chart commands a server runs (checked against a recording session)."""
import importlib.util
import os
import sys
import unittest

_HERE = os.path.dirname(os.path.abspath(__file__))
_spec = importlib.util.spec_from_file_location(
    "kxplot", os.path.join(_HERE, "..", "..", "python", "kxclient", "plot.py"))
plot = importlib.util.module_from_spec(_spec)
_spec.loader.exec_module(plot)


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
