"""Each family through Python: same bytes as the tarvo tool on the sample
pictures, plus the argument and return conventions that the binding adds."""

import os

import numpy as np
import pytest

import tarvo
from conftest import DATA, rng_image

ip = tarvo.ip
COFFEE = os.path.join(DATA, "coffee.png")


@pytest.mark.parametrize(
    "op, options, compute",
    [
        ("colorize", "--hue 20 --saturation 200 --blend 0.7",
         lambda c: ip.colorize(c, 20, 200, 0.7)),
        ("hsl", "--hue 120 --saturation 20 --lightness 5", lambda c: ip.hsl(c, 120, 20, 5)),
        ("equalize", "", lambda c: ip.histogramEqualize(c)),
        ("stretch", "--mode 2", lambda c: ip.histogramStretch(c, 2)),
        ("gaussian", "--sigma 2.5", lambda c: ip.gaussian(c, 2.5)),
        ("gaussian", "--sigma 1 --support 4", lambda c: ip.gaussian(c, 1, 4)),
        ("erode", "--size 5 --iterations 2",
         lambda c: ip.erode(c, ip.getStructuringElement(ip.MorphRect, (5, 5)), iterations=2)),
        ("dilate", "--size 5",
         lambda c: ip.dilate(c, ip.getStructuringElement(ip.MorphRect, (5, 5)))),
        ("resize", "--width 211 --height 97 --interpolation 2",
         lambda c: ip.resize(c, 211, 97, ip.ResizeCubic)),
        ("canny", "--low 40 --high 120", lambda c: ip.canny(c, 40, 120)),
        ("pyr-down", "--levels 2 --border clamp",
         lambda c: ip.pyrDown(ip.pyrDown(c, borderType=1), borderType=1)),
        ("pyr-up", "", lambda c: ip.pyrUp(c)),
        ("sobel", "--dx 1 --dy 0",
         lambda c: np.abs(ip.sobel(c, 1, 0, ddepth=tarvo.MAT_Tshort).astype(np.int32))
         .clip(0, 255).astype(np.uint8)),
        ("threshold", "--value 90 --max 200 --type 1",
         lambda c: ip.Threshold(tarvo.RGBtoGray(c), 90, 200, ip.ThreshBinaryInv)[1]),
        ("adaptive-threshold", "--block 15 --delta 4",
         lambda c: ip.adaptiveThreshold(c, 255, ip.AdaptiveMean, ip.ThreshBinary, 15, 4)),
    ],
)
def test_same_bytes_as_the_tool(tool, tmp_path, coffee, op, options, compute):
    expected = tool(op, options, COFFEE, tmp_path)
    got = compute(coffee)
    assert got.dtype == np.uint8
    assert got.shape == expected.shape
    assert np.array_equal(got, expected)


class TestFiles:
    def test_round_trip_and_flags(self, tmp_path, coffee):
        for ext in ("png", "bmp", "ppm"):
            path = tmp_path / ("c." + ext)
            tarvo.imwrite(path, coffee[::2, 1::3])  # a strided view is written as it looks
            assert np.array_equal(tarvo.imread(path), coffee[::2, 1::3])
        grey = tarvo.imread(COFFEE, tarvo.IMG_GRAYSCALE)
        assert grey.shape == coffee.shape[:2]
        tarvo.imwrite(str(tmp_path / "g.pgm"), grey)
        assert tarvo.imread(tmp_path / "g.pgm", tarvo.IMG_GRAY).shape == grey.shape

    def test_failures_raise_os_error_with_the_reason(self, tmp_path):
        with pytest.raises(FileNotFoundError):
            tarvo.imread(tmp_path / "missing.png")
        with pytest.raises(IsADirectoryError):
            tarvo.imread(tmp_path)
        junk = tmp_path / "junk.png"
        junk.write_bytes(b"not a picture at all")
        with pytest.raises(OSError, match="not a PNG"):
            tarvo.imread(junk)
        img = np.zeros((4, 4), np.uint8)
        with pytest.raises(OSError, match="unknown extension"):
            tarvo.imwrite(tmp_path / "x.tiff", img)
        with pytest.raises(OSError, match="uint8"):
            tarvo.imwrite(tmp_path / "x.png", img.astype(np.float32))
        with pytest.raises(OSError, match="uint8"):
            tarvo.imwrite(tmp_path / "x.png", np.zeros((4, 4, 2), np.uint8))
        with pytest.raises(OSError):
            tarvo.imwrite(tmp_path / "no" / "such" / "x.png", img)


class TestConventions:
    def test_threshold_returns_value_first(self, camera):
        t, out = ip.Threshold(camera, 0, 255, ip.ThreshBinary | ip.ThreshOtsuBit)
        assert t == ip.otsuThreshold(camera)
        assert np.array_equal(out, np.where(camera > t, 255, 0).astype(np.uint8))
        mask = np.zeros_like(camera)
        mask[:100] = 1
        assert ip.otsuThreshold(camera, mask) == ip.otsuThreshold(np.ascontiguousarray(camera[:100]))

    def test_integral_tables_and_box_sums(self):
        src = rng_image((9, 11, 2), np.uint8)
        s, t, sq = ip.integralImage(src, tilted=True)
        assert s.dtype == np.int32 and sq.dtype == np.float64 and t.shape == s.shape
        ref = np.zeros((10, 12, 2), np.int64)
        ref[1:, 1:] = src.astype(np.int64).cumsum(0).cumsum(1)
        assert np.array_equal(s, ref)
        assert np.array_equal(ip.integralImage(src, sqsum=True)[1][1:, 1:],
                              (src.astype(np.float64) ** 2).cumsum(0).cumsum(1))
        s0 = np.ascontiguousarray(s[:, :, 0])
        assert ip.sumIntegralImage(s0, tarvo.Rect(2, 3, 4, 5)) == src[3:8, 2:6, 0].sum()
        assert ip.sumIntegralImage(s0, (0, 0, 99, 1)) == 0.0
        st, tt = ip.integralTiltedImage(src)
        assert np.array_equal(st, s) and np.array_equal(tt, t)
        # Tables given are written in place.
        sum_dst = np.empty_like(s)
        sq_dst = np.empty_like(sq)
        r = ip.integralImage(src, sum=sum_dst, sqsum=sq_dst)
        assert r[0] is sum_dst and r[1] is sq_dst and np.array_equal(sum_dst, s)

    def test_filter2d_matches_a_direct_correlation(self):
        src = rng_image((12, 15), np.float32)
        k = [[0.0, 1.0, 0.5], [2.0, -1.0, 0.0]]
        out = ip.filter2D(src, -1, k, (1, 0), 0.25, tarvo.BorderClamp)
        pad = np.pad(src.astype(np.float64), ((0, 1), (1, 1)), mode="edge")
        ref = np.full(src.shape, 0.25)
        for j in range(2):
            for i in range(3):
                ref += k[j][i] * pad[j:j + 12, i:i + 15]
        assert np.allclose(out, ref, atol=1e-4)
        row = ip.sepFilter2D(src, tarvo.MAT_Tdouble, [1, 2, 1], [1], borderType=tarvo.BorderClamp)
        assert row.dtype == np.float64
        assert np.allclose(row, ip.filter2D(src.astype(np.float64), -1, [[1, 2, 1]]), atol=1e-4)
        # float32 into float64 is a pair the 2-D filter does not serve: zeros.
        assert not ip.filter2D(src, tarvo.MAT_Tdouble, [[1, 2, 1]]).any()

    def test_pyramids_and_borders(self):
        src = rng_image((13, 17, 3), np.uint8)
        assert ip.pyrDown(src).shape == (7, 9, 3)
        assert ip.pyrUp(src, (20, 30)).shape == (30, 20, 3)
        padded = ip.copyMakeBorder(src, 1, 2, 3, 4, tarvo.BorderFill, (10, 20, 30))
        assert padded.shape == (16, 24, 3)
        assert np.array_equal(padded[1:14, 3:20], src)
        assert (padded[0] == [10, 20, 30]).all()
        wrap = ip.copyMakeBorder(src, 2, 2, 2, 2, tarvo.BorderWrap)
        assert np.array_equal(wrap, np.pad(src, ((2, 2), (2, 2), (0, 0)), mode="wrap"))

    def test_morphology_forms(self):
        src = np.zeros((9, 9), np.uint8)
        src[2:7, 2:7] = 255
        assert ip.erode(src, 3, 3).sum() == 9 * 255
        assert ip.dilate(src, np.ones((3, 3), np.uint8)).sum() == 49 * 255
        cross = ip.getStructuringElement(ip.MorphCross, (3, 3))
        assert ip.opening(src, cross).shape == src.shape
        assert np.array_equal(ip.closing(src, 3, 3), src)
        assert ip.getStructuringElement(7, (3, 3)).size == 0

    def test_scalar_helpers(self):
        h, s, l = ip.RGBtoHSL(200, 40, 40)
        assert ip.HSLtoRGB(h, s, l) == pytest.approx((200, 40, 40), abs=2)
        assert ip.borderInterpolate(-1, 5, tarvo.BorderMirrorNoEdge) == 1
        assert ip.normalizeAnchor((-1, 2), (5, 7)) == (2, 2)
        kx, ky = ip.getDerivKernels(1, 0, 3)
        assert kx.ravel().tolist() == [-1, 0, 1] and ky.ravel().tolist() == [1, 2, 1]
        assert ip.convertSigma2Seq(4.0, 1.0, 2.0) == 2
