"""Calls from several Python threads at once give what serial calls give."""

import threading

import numpy as np

import tarvo
from conftest import rng_image

ip = tarvo.ip


# One mesh shared by every thread: its warps read it while others do too.
MESH = ip.TriangleModel([(0, 1), (1, 2), (2, 0), (2, 3), (3, 0)])
MOVED = np.array([(0, 0), (150, 10), (140, 110), (5, 100)], np.float32)


def pipeline(img):
    g = ip.gaussian(img, 1.5)
    e = ip.canny(g, 30, 90)
    t, b = ip.Threshold(g, 0, 255, ip.ThreshBinary | ip.ThreshOtsuBit)
    d = ip.dilate(e, ip.getStructuringElement(ip.MorphEllipse, (5, 5)))
    r = ip.resize(g, 97, 61, ip.ResizeLanczos4)
    turned = ip.rotate(g, 13.5, ip.InterpBilinear, ip.OverflowColor)
    h, w = g.shape
    square = np.array([(0, 0), (w - 1, 0), (w - 1, h - 1), (0, h - 1)], np.float32)
    m, _ = ip.warpMesh(g, square, MOVED, MESH)
    corners = ip.cornerHarris(g, threshold=50)
    return [g, e, b, d, r, np.array([t]), turned, m, corners, ip.cornerFast(g, 15)]


def test_eight_threads_equal_serial():
    inputs = [rng_image((120 + 7 * i, 160), np.uint8, seed=i) for i in range(8)]
    serial = [pipeline(x) for x in inputs]
    results = [None] * 8
    barrier = threading.Barrier(8)

    def work(i):
        barrier.wait()
        for _ in range(3):
            results[i] = pipeline(inputs[i])

    threads = [threading.Thread(target=work, args=(i,)) for i in range(8)]
    for th in threads:
        th.start()
    for th in threads:
        th.join()
    for got, want in zip(results, serial):
        for a, b in zip(got, want):
            assert np.array_equal(a, b)
