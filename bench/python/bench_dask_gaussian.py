"""Tiled Gaussian on a local Dask cluster against the whole-picture call.

    PYTHONPATH=build/python /usr/bin/python3 bench/python/bench_dask_gaussian.py \
        [--size 16000] [--chunk 2048] [--sigma 3] [--workers 2]

Prints seconds for the whole-picture call and for the tiled call on the
cluster (result gathered back into one array and checked equal), and the peak
resident memory of each worker process.
"""

import argparse
import resource
import time

import numpy as np

import tarvo
import tarvo.dask as td


def peak_rss_mb():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024.0


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--size", type=int, default=16000)
    ap.add_argument("--chunk", type=int, default=2048)
    ap.add_argument("--sigma", type=float, default=3.0)
    ap.add_argument("--workers", type=int, default=2)
    a = ap.parse_args()

    import dask.array as da
    import distributed

    rng = np.random.default_rng(1)
    img = rng.integers(0, 256, (a.size, a.size), dtype=np.uint8)
    t = time.perf_counter()
    ref = tarvo.ip.gaussian(img, a.sigma)
    whole = time.perf_counter() - t
    print("whole picture %dx%d sigma %g: %.2f s (%.1f Mpix/s)"
          % (a.size, a.size, a.sigma, whole, a.size * a.size / whole / 1e6))

    cluster = distributed.LocalCluster(n_workers=a.workers, threads_per_worker=1,
                                       processes=True, host="127.0.0.1",
                                       dashboard_address=None)
    try:
        with distributed.Client(cluster) as client:
            x = client.persist(da.from_array(img, chunks=(a.chunk, a.chunk)))
            distributed.wait(x)
            t = time.perf_counter()
            got = td.apply("gaussian", x, sigma=a.sigma).compute()
            tiled = time.perf_counter() - t
            print("tiled on %d workers, %d x %d chunks: %.2f s (%.1f Mpix/s), equal: %s"
                  % (a.workers, a.chunk, a.chunk, tiled, a.size * a.size / tiled / 1e6,
                     np.array_equal(got, ref)))
            for addr, mb in sorted(client.run(peak_rss_mb).items()):
                print("worker %s peak memory %.0f MB" % (addr, mb))
    finally:
        cluster.close()


if __name__ == "__main__":
    main()
