#!/usr/bin/env python3
"""Micro benchmark of the Python binding (no pytest needed).

    PYTHONPATH=build/python python3 bench/python/bench_binding.py [--cxx build/bench/tarvo-bench]

Prints the median time of a call on a 64 x 64 image (the binding's overhead:
the library's own work there is a copy of 4 KB) and the median of a 1080p
gaussian from Python, with one thread and with all threads. With --cxx, the
same gaussian from the C++ benchmark is run for comparison.
"""

import argparse
import json
import os
import subprocess
import time

import numpy as np

import tarvo

ip = tarvo.ip


def times_us(fn, repeat, number):
    times = []
    for _ in range(repeat):
        t0 = time.perf_counter()
        for _ in range(number):
            fn()
        times.append((time.perf_counter() - t0) / number)
    return np.array(times) * 1e6


def median_us(fn, repeat, number):
    return float(np.median(times_us(fn, repeat, number)))


def cxx_gaussian_ms(path, threads):
    env = dict(os.environ)
    if threads:
        env["TARVO_BENCH_THREADS"] = str(threads)
    out = subprocess.run(
        [path, "--benchmark_filter=BM_Gaussian/u8c3/2/", "--benchmark_min_time=0.5",
         "--benchmark_repetitions=5", "--benchmark_format=json"],
        capture_output=True, text=True, env=env, check=True).stdout
    rows = [b for b in json.loads(out)["benchmarks"] if b.get("aggregate_name") == "median"]
    return rows[0]["real_time"] if rows else float("nan")


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--cxx", help="path of tarvo-bench for the C++ figure")
    args = ap.parse_args()

    rng = np.random.default_rng(7)
    small = rng.integers(0, 256, (64, 64), dtype=np.uint8)
    small_dst = np.empty_like(small)
    print("64 x 64 uint8, per call, median and best of 15 runs (the library copies 4 KB):")
    for label, fn in [
        ("gaussian(sigma 0), new result", lambda: ip.gaussian(small, 0.0)),
        ("gaussian(sigma 0), dst=", lambda: ip.gaussian(small, 0.0, dst=small_dst)),
        ("Threshold, new result", lambda: ip.Threshold(small, 100, 255, 0)),
        ("getNumThreads (no arrays)", tarvo.getNumThreads),
    ]:
        t = times_us(fn, 15, 2000)
        print(f"  {label:34s} {np.median(t):8.2f} us  (best {t.min():.2f} us)")

    big = rng.integers(0, 256, (1080, 1920, 3), dtype=np.uint8)
    big_dst = np.empty_like(big)
    default_threads = tarvo.getNumThreads()
    print("1920 x 1080 x 3 uint8 gaussian sigma 2, median per call:")
    for threads in (1, 2):
        tarvo.setNumThreads(threads)
        py_ms = median_us(lambda: ip.gaussian(big, 2.0, dst=big_dst), 9, 5) / 1000
        mpix = 1920 * 1080 / (py_ms * 1000)
        line = f"  {threads} thread(s): Python {py_ms:7.2f} ms ({mpix:6.1f} Mpix/s)"
        if args.cxx:
            c_ms = cxx_gaussian_ms(args.cxx, threads)
            line += f", C++ {c_ms:7.2f} ms, ratio {py_ms / c_ms:5.3f}"
        print(line)
    tarvo.setNumThreads(default_threads)


if __name__ == "__main__":
    main()
