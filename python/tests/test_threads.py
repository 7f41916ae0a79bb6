"""Calls from several Python threads at once give what serial calls give."""

import threading

import numpy as np

import tarvo
from conftest import rng_image

ip = tarvo.ip


def pipeline(img):
    g = ip.gaussian(img, 1.5)
    e = ip.canny(g, 30, 90)
    t, b = ip.Threshold(g, 0, 255, ip.ThreshBinary | ip.ThreshOtsuBit)
    d = ip.dilate(e, ip.getStructuringElement(ip.MorphEllipse, (5, 5)))
    r = ip.resize(g, 97, 61, ip.ResizeLanczos4)
    return [g, e, b, d, r, np.array([t])]


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
