"""vesk3d.Delaunay against scipy.spatial.Delaunay on uniform random points in the unit cube, in one
process, the contenders taking turns run by run. For each size: the median wall time of the runs
with its spread (max/min), for vesk3d without and with the neighbour array (scipy always builds
it), the ratio scipy / vesk3d, and the Python overhead: the time outside the library's insertion
(input check and copy, export, index mapping, array creation) as a fraction of the insertion time.

    python3 python/bench.py [--sizes 10000 100000 1000000] [--runs 5] [--scipy-runs-large 5]
"""
import argparse
import gc
import statistics
import time

import numpy as np
from scipy.spatial import Delaunay as ScipyDelaunay

import vesk3d


def measure(contenders):
    """Runs the contenders in turn, round after round, so that a change in the machine's load
    falls on all of them; returns per contender the wall times and the insertion times of the
    vesk3d objects built (None for scipy)."""
    results = {name: ([], []) for name, _, _ in contenders}
    for run in range(max(runs for _, _, runs in contenders)):
        for name, build, runs in contenders:
            if run >= runs:
                continue
            gc.collect()
            start = time.perf_counter()
            tri = build()
            walls, insertions = results[name]
            walls.append(time.perf_counter() - start)
            insertions.append(getattr(tri, "_triangulate_seconds", None))
            del tri
    return [(name, *results[name]) for name, _, _ in contenders]


def with_neighbors(points):
    tri = vesk3d.Delaunay(points)
    tri.neighbors
    return tri


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--sizes", type=int, nargs="+", default=[10_000, 100_000, 1_000_000])
    parser.add_argument("--runs", type=int, default=5, help="runs per contender and size (default 5)")
    parser.add_argument("--scipy-runs-large", type=int, default=None,
                        help="scipy runs from 1,000,000 points on (default: --runs)")
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()

    print(f"vesk3d {vesk3d.__version__}; medians of the runs, spread = slowest / fastest")
    print(f"{'points':>9}  {'contender':<26} {'runs':>4} {'median s':>9} {'spread':>7} {'overhead':>9} {'scipy / this':>13}")
    for size in args.sizes:
        points = np.random.default_rng(args.seed).random((size, 3))
        scipy_runs = args.runs if size < 1_000_000 or args.scipy_runs_large is None else args.scipy_runs_large
        contenders = [
            ("vesk3d, without neighbours", lambda: vesk3d.Delaunay(points), args.runs),
            ("vesk3d, with neighbours", lambda: with_neighbors(points), args.runs),
            ("scipy", lambda: ScipyDelaunay(points), scipy_runs),
        ]
        results = measure(contenders)
        scipy_median = statistics.median(results[-1][1])
        for name, walls, insertions in results:
            median = statistics.median(walls)
            overhead = ""
            if insertions[0] is not None:
                fractions = [(wall - insertion) / insertion for wall, insertion in zip(walls, insertions)]
                overhead = f"{100 * statistics.median(fractions):8.1f}%"
            print(f"{size:>9}  {name:<26} {len(walls):>4} {median:>9.3f} {max(walls) / min(walls):>7.2f}"
                  f" {overhead:>9} {scipy_median / median:>13.1f}", flush=True)


if __name__ == "__main__":
    main()
