"""Tone and stylising operators, median and the direct filters through Python:
same bytes as the tool, and the conventions the binding adds to them."""

import os
import threading

import numpy as np
import pytest

import tarvo
from conftest import DATA, rng_image

ip = tarvo.ip
COFFEE = os.path.join(DATA, "coffee.png")


@pytest.mark.parametrize(
    "op, options, compute",
    [
        ("exposure", "--amount -40", lambda c: ip.exposure(c, -40)),
        ("light", "--brightness 20 --contrast 10", lambda c: ip.light(c, 20, 10)),
        ("level", "--low 20 --high 230 --mode table", lambda c: ip.level(c, 20, 230, 2)),
        ("level", "--low 10 --high 200 --mode luminance", lambda c: ip.level(c, 10, 200, 1)),
        ("shadow", "--depth 0.5 --limit 0.5", lambda c: ip.shadow(c, 0.5, 0.5)),
        ("gamma", "--gamma 1.8", lambda c: ip.gamma(c, 1.8)),
        ("sketch", "--amount 70", lambda c: ip.sketch(c, 70)),
        ("rough-sketch", "", lambda c: ip.roughSketch(c)),
        ("vintage", "--amount 80", lambda c: ip.vintage(c, 80)),
        ("posterize", "--levels 5", lambda c: ip.posterize(c, 5)),
        ("jitter", "--amount 3 --seed 7", lambda c: ip.jitter(c, 3, seed=7)),
        ("noise", "--amount 40 --seed 1", lambda c: ip.noise(c, 40, seed=1)),
        ("denoise", "--strength 0.5 --method weighted5", lambda c: ip.denoise(c, 0.5, 2)),
        ("circle-transform", "--radius 0 --twist 60 --mode twist",
         lambda c: ip.circleTransform(c, 0, 60, 2)),
        ("bloom", "--lift 0.1 --gain 0.3", lambda c: ip.bloom(c, 0.1, 0.3)),
        ("nms", "", lambda c: ip.ipNMS(c)),
    ],
)
def test_same_bytes_as_the_tool(tool, tmp_path, coffee, op, options, compute):
    expected = tool(op, options, COFFEE, tmp_path)
    got = compute(coffee)
    assert got.dtype == np.uint8 and got.shape == expected.shape
    assert np.array_equal(got, expected)


class TestToneAndStylise:
    def test_in_place_and_dst_forms_agree(self, coffee):
        for f in (lambda s, **k: ip.light(s, -30, 40, **k),
                  lambda s, **k: ip.exposure(s, 25, **k),
                  lambda s, **k: ip.sketch(s, 50, **k),
                  lambda s, **k: ip.denoise(s, 0.0, 3, **k)):
            expected = f(coffee)
            work = coffee.copy()
            assert f(work, dst=work) is work
            assert np.array_equal(work, expected)
            window = np.zeros((coffee.shape[0] + 4,) + coffee.shape[1:], np.uint8)[2:-2]
            assert f(coffee, dst=window) is window and np.array_equal(window, expected)

    def test_vintage_always_gives_three_channels(self, camera):
        out = ip.vintage(camera, 100)
        assert out.shape == camera.shape + (3,)
        with pytest.raises(ValueError, match="does not fit"):
            ip.vintage(camera, 100, dst=np.empty_like(camera))

    def test_seeded_random_operators_repeat_across_threads(self, coffee):
        src = np.ascontiguousarray(coffee[:120, :160])
        want_j = ip.jitter(src, 4, seed=3)
        want_n = ip.noise(src, 60, seed=9)
        assert not np.array_equal(want_j, ip.jitter(src, 4, seed=4))
        results = [None] * 6

        def work(i):
            results[i] = (ip.jitter(src, 4, seed=3), ip.noise(src, 60, seed=9))

        threads = [threading.Thread(target=work, args=(i,)) for i in range(6)]
        for th in threads:
            th.start()
        for th in threads:
            th.join()
        for j, n in results:
            assert np.array_equal(j, want_j) and np.array_equal(n, want_n)

    def test_float_tone_curves_and_refusals(self):
        f = rng_image((9, 11, 3), np.float32)
        # Float images index the byte table by the clamped, truncated value.
        table = ip.light(np.arange(256, dtype=np.uint8).reshape(1, 256), 15, 30)[0]
        expected = table[np.clip(np.trunc(f), 0, 255).astype(np.int64)].astype(np.float32)
        assert np.array_equal(ip.light(f, 15, 30), expected)
        grey = np.abs(f[:, :, 0])
        assert np.allclose(ip.gamma(grey, 0.5), np.sqrt(grey), rtol=1e-6)
        # Float curves cover the first cols elements of each row only.
        curved = ip.gamma(np.full((2, 3, 3), 4.0, np.float32), 0.5)
        assert (curved[:, 0] == 2).all() and not curved[:, 1:].any()
        # Refused dtypes: an empty result, or a given dst left alone.
        s16 = rng_image((5, 5), np.int16)
        assert ip.sketch(s16, 50).size == 0
        keep = np.full((5, 5), 7, np.int16)
        ip.exposure(s16, 10, dst=keep)
        assert (keep == 7).all()
        # The table mode refuses nothing here but an unknown mode gives zeros.
        assert not ip.level(rng_image((6, 6, 3), np.uint8), 0, 255, 1).size == 0
        assert ip.level(rng_image((6, 6, 3), np.uint8), 0, 255, 7).size == 0


class TestMedianAndDirectFilters:
    def test_median_matches_a_shrinking_window(self):
        src = rng_image((13, 17), np.int16)
        out = ip.median(src, 3)
        # Interior pixels: the plain 3 x 3 median.
        win = np.lib.stride_tricks.sliding_window_view(src, (3, 3))
        assert np.array_equal(out[1:-1, 1:-1], np.median(win, axis=(2, 3)).astype(np.int16))
        line = ip.median(src, 5, ip.FilterHorizontal)
        assert line[4, 6] == np.median(src[4, 4:9])
        work = src.copy()
        ip.median(work, 3, dst=work)
        assert np.array_equal(work, out)
        assert ip.median(src.astype(np.float32), 3).size == 0
        assert ip.median(rng_image((5, 5, 3), np.uint8), 3, ip.FilterVertical).size == 0

    def test_convolve2_forms(self):
        src = rng_image((12, 14), np.uint8)
        k = [[1, 2, 1], [2, 4, 2], [1, 2, 1]]
        out = ip.convolve2(src, k, 16, 3)
        acc = sum(k[j][i] * src[j:j + 10, i:i + 12].astype(np.int64)
                  for j in range(3) for i in range(3))
        assert np.array_equal(out[2:-1, 2:-1], np.clip(acc[1:, 1:] // 16 + 3, 0, 255))
        # Pixels whose window crosses the edge keep the source; the square kind
        # counts half a window from the top and left edges as crossing.
        assert np.array_equal(out[:2], src[:2]) and np.array_equal(out[:, :2], src[:, :2])
        assert np.array_equal(out[-1], src[-1]) and np.array_equal(out[:, -1], src[:, -1])
        area = ip.convolve2(src, k, 16, 0, area=tarvo.Rect(2, 3, 6, 5))
        assert not area[:3].any() and not area[:, :2].any() and area[4, 4] == acc[3, 3] // 16
        # A float kernel filters nothing, as in C++.
        assert ip.convolve2(src, np.ones((3, 3), np.float32), 9).size == 0
        with pytest.raises(ValueError, match="square"):
            ip.convolve2(src, [1, 2, 1], 4)
        sep = ip.convolve2sep(src.astype(np.float32), [1.0, 2.0, 1.0], 4.0)
        assert np.allclose(sep[5, 5], ip.filter2D(src.astype(np.float32), -1,
                                                  np.outer([1, 2, 1], [1, 2, 1]) / 16.0)[5, 5])
        assert ip.kernelFactor(k) == 16 and ip.kernelFactor([0.5, 0.25]) == 0.75
