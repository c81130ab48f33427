#!/usr/bin/python3
"""The peer of bench/kxgraph_bench.cpp: matplotlib (Agg) on the same data, timed from data in
memory to the file written. Prints "<case> <best seconds>" lines.

usage: kxgraph_matplotlib.py <output dir> <repeats>
"""
import sys
import time

import matplotlib
matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402


def best(fn, repeats):
    times = []
    for _ in range(repeats):
        t0 = time.perf_counter()
        fn()
        times.append(time.perf_counter() - t0)
    return min(times)


def main():
    out, repeats = sys.argv[1], int(sys.argv[2])
    i = np.arange(1_000_000, dtype=float)
    y = np.sin(i * 0.001) + 0.3 * np.sin(i * 0.37)
    g = np.linspace(-5.0, 5.0, 1000)
    z = np.sin(g)[None, :] * np.cos(g)[:, None] + 0.05 * g[None, :]

    def line():
        fig = plt.figure(figsize=(8, 6), dpi=100)
        ax = fig.add_subplot()
        ax.plot(i, y)
        fig.savefig(out + "/mpl_line.png")
        plt.close(fig)

    def colourmap():
        fig = plt.figure(figsize=(8, 6), dpi=100)
        ax = fig.add_subplot()
        im = ax.imshow(z, extent=(-5, 5, -5, 5), origin="lower", cmap="viridis",
                       interpolation="nearest", aspect="auto")
        fig.colorbar(im)
        fig.savefig(out + "/mpl_map.png")
        plt.close(fig)

    def contour():
        fig = plt.figure(figsize=(8, 6), dpi=100)
        ax = fig.add_subplot()
        ax.contour(g, g, z, 20)
        fig.savefig(out + "/mpl_contour.png")
        plt.close(fig)

    for name, fn in (("line", line), ("colourmap", colourmap), ("contour", contour)):
        print(name, best(fn, repeats), flush=True)


if __name__ == "__main__":
    main()
