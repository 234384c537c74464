#!/usr/bin/env python3
"""Runs two builds of the benchmarks side by side.

usage: compare.py BENCH_BEFORE BENCH_NOW [FILTER [PAIRS]]

The builds take turns, so that both meet the same load. Printed are, for each benchmark that both
have, the medians of the processor time and how many times as fast the second build is.
"""

import json
import statistics
import subprocess
import sys


def processor_times(bench, pattern):
    output = subprocess.run([bench, f"--benchmark_filter={pattern}", "--benchmark_format=json",
                             "--benchmark_min_time=0.05"],
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout
    return {run["name"]: (run["cpu_time"], run["time_unit"])
            for run in json.loads(output)["benchmarks"]}


def main(before, now, pattern=".", pairs=15):
    runs = [[processor_times(bench, pattern) for bench in (before, now)]
            for _ in range(int(pairs))]
    for name in (name for name in runs[0][0] if name in runs[0][1]):
        old, new = ([pair[side][name][0] for pair in runs] for side in (0, 1))
        ratio = statistics.median(a / b for a, b in zip(old, new))
        print(f"{name:40} {statistics.median(old):12.3f} {statistics.median(new):12.3f} "
              f"{runs[0][0][name][1]}   {ratio:6.2f}")


if __name__ == "__main__":
    main(*sys.argv[1:])
