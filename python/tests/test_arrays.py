"""Arrays in and out: borrowing, copies, layouts, lifetimes, misuse."""

import gc

import numpy as np
import pytest

import tarvo
from conftest import rng_image

ip = tarvo.ip
DTYPES = [np.uint8, np.int16, np.int32, np.float32, np.float64]


def addr(a):
    return a.__array_interface__["data"][0]


class TestBorrowing:
    def test_row_contiguous_layouts_are_borrowed(self):
        a = np.zeros((20, 30, 3), np.float32)
        views = {
            "whole": a,
            "row slice": a[5:15],
            "column window": a[2:9, 4:20],
            "every other row": a[::2],
            "one channel plane as 2-D": np.zeros((8, 9), np.int16)[:, 1:5],
        }
        for name, v in views.items():
            ptr, copied, stride = tarvo._tarvo._matInfo(v)
            assert not copied, name
            assert ptr == addr(v), name
            assert stride == v.strides[0], name

    def test_other_layouts_are_copied_once(self):
        a = np.arange(20 * 30, dtype=np.float64).reshape(20, 30)
        for name, v in {
            "transposed": a.T,
            "negative row stride": a[::-1],
            "column step": a[:, ::2],
            "big-endian": a.astype(">f8"),
            "channel step": np.zeros((4, 5, 6), np.uint8)[:, :, ::2],
        }.items():
            ptr, copied, stride = tarvo._tarvo._matInfo(v)
            assert copied, name
            assert ptr != addr(v), name

    def test_read_only_is_copied_only_when_written(self):
        a = np.zeros((4, 4), np.uint8)
        a.setflags(write=False)
        assert not tarvo._tarvo._matInfo(a, False)[1]
        assert tarvo._tarvo._matInfo(a, True)[1]

    def test_results_own_library_pixels_without_copy(self, camera):
        out = ip.gaussian(camera, 1.0)
        assert out.base is not None and "capsule" in type(out.base).__name__.lower()
        assert not np.shares_memory(out, camera)
        # The capsule-backed array is writable like any result.
        out[0, 0] = 7
        assert out[0, 0] == 7

    def test_dst_is_written_in_place(self, camera):
        dst = np.empty_like(camera)
        res = ip.gaussian(camera, 1.0, dst=dst)
        assert res is dst
        assert np.array_equal(dst, ip.gaussian(camera, 1.0))
        # A window of a bigger array is a valid dst; the frame stays untouched.
        big = np.full((camera.shape[0] + 2, camera.shape[1] + 2), 9, np.uint8)
        inner = big[1:-1, 1:-1]
        res = ip.gaussian(camera, 1.0, dst=inner)
        assert np.shares_memory(res, big)
        assert np.array_equal(inner, dst)
        assert (big[0] == 9).all() and (big[:, -1] == 9).all()

    def test_source_as_dst_runs_in_place(self, camera):
        for f in (lambda s, **k: ip.gaussian(s, 2.0, **k),
                  lambda s, **k: ip.erode(s, **k),
                  lambda s, **k: ip.resize(s, s.shape[1], s.shape[0], ip.ResizeCubic, **k),
                  lambda s, **k: ip.histogramEqualize(s, **k)):
            expected = f(camera)
            work = camera.copy()
            assert f(work, dst=work) is work
            assert np.array_equal(work, expected)

    def test_partial_overlap_is_refused(self):
        a = np.zeros((40, 40), np.uint8)
        with pytest.raises(ValueError, match="overlaps"):
            ip.gaussian(a[:30], 1.0, dst=a[10:])
        with pytest.raises(ValueError, match="overlaps"):
            ip.gaussian(a[:, :30], 1.0, dst=a[:, 10:])


class TestLayoutsGiveTheSameResults:
    @pytest.mark.parametrize("dtype", DTYPES)
    @pytest.mark.parametrize("cn", [1, 3, 4])
    def test_every_dtype_and_channel_count(self, dtype, cn):
        shape = (23, 31) if cn == 1 else (23, 31, cn)
        src = rng_image(shape, dtype)
        ref = ip.gaussian(src, 1.3)
        assert ref.dtype == dtype and ref.shape == src.shape
        # Channels are interleaved correctly: each equals its plane filtered alone.
        if cn > 1:
            for k in range(cn):
                plane = np.ascontiguousarray(src[:, :, k])
                assert np.array_equal(ref[:, :, k], ip.gaussian(plane, 1.3))
        big = np.zeros((src.shape[0] * 2, src.shape[1] + 5) + src.shape[2:], dtype)
        big[::2, 2:2 + src.shape[1]] = src
        ro = src.copy()
        ro.setflags(write=False)
        for name, view in {
            "strided rows": big[::2, 2:2 + src.shape[1]],
            "transposed": np.ascontiguousarray(np.swapaxes(src, 0, 1)).swapaxes(0, 1),
            "negative stride": src[::-1].copy()[::-1],
            "fortran order": np.asfortranarray(src),
            "read-only": ro,
        }.items():
            assert np.array_equal(ip.gaussian(view, 1.3), ref), name

    def test_layouts_through_several_families(self, coffee):
        src = coffee[50:150, 100:260]
        grey = tarvo.RGBtoGray(coffee)[::2, ::-1]  # negative stride, copied
        cont = np.ascontiguousarray(grey)
        cases = [
            (lambda s: ip.canny(s, 30, 90), grey, cont),
            (lambda s: ip.Threshold(s, 100, 255, ip.ThreshBinary)[1], grey, cont),
            (lambda s: ip.colorize(s, 30, 200, 0.5), src, np.ascontiguousarray(src)),
            (lambda s: ip.resize(s, 77, 33, ip.ResizeLanczos4), src, np.ascontiguousarray(src)),
            (lambda s: ip.integralImage(s), np.asfortranarray(src), np.ascontiguousarray(src)),
        ]
        for f, view, contiguous in cases:
            assert np.array_equal(f(view), f(contiguous))


class TestLifetimes:
    def test_results_outlive_inputs_and_temporaries(self):
        src = rng_image((64, 48, 3), np.float32)
        expected = ip.gaussian(src.copy(), 2.0).copy()
        out = ip.gaussian(src, 2.0)
        view = out[10:20, ::3]
        expected_view = expected[10:20, ::3]
        del src, out
        gc.collect()
        # Reuse the freed memory before reading the view back.
        junk = [np.full((64, 48, 3), 1e9, np.float32) for _ in range(8)]
        assert np.array_equal(view, expected_view)
        levels, scales = ip.createPyramid(rng_image((64, 64), np.uint8), 18, 1.2)
        first = levels[0]
        del levels, junk
        gc.collect()
        assert first.shape == (64, 64) and first.dtype == np.float32
        assert scales[0] == 1.0

    def test_kernel_builders_return_owned_arrays(self):
        k = ip.computeGaussianKernel(1.0, True)
        gc.collect()
        assert k.dtype == np.float32 and k.shape == (7,)
        assert abs(np.abs(k).sum() - 1.0) < 1e-6
        assert ip.computeGaussianKernel(-1.0, True) is None
        g = ip.getGaussianKernel(5, 0.0)
        assert g.shape == (5, 1) and np.allclose(g[:, 0] * 16, [1, 4, 6, 4, 1])


class TestMisuse:
    @pytest.mark.parametrize("dtype", [np.int64, np.uint16, np.bool_, np.float16, np.complex64])
    def test_other_dtypes_raise_type_error_naming_the_argument(self, dtype):
        with pytest.raises(TypeError, match="src"):
            ip.gaussian(np.zeros((4, 4), dtype), 1.0)

    def test_non_arrays_raise_type_error(self):
        with pytest.raises(TypeError, match="src must be a numpy array"):
            ip.gaussian([[1, 2], [3, 4]], 1.0)
        with pytest.raises(TypeError, match="dst"):
            ip.gaussian(np.zeros((4, 4), np.uint8), 1.0, dst=[[0]])

    @pytest.mark.parametrize("shape", [(5,), (2, 3, 4, 5), (4, 4, 65), (4, 4, 0)])
    def test_impossible_shapes_raise_value_error(self, shape):
        with pytest.raises(ValueError, match="src"):
            ip.gaussian(np.zeros(shape, np.uint8), 1.0)

    def test_empty_arrays_give_the_documented_empty_results(self):
        for shape in [(0, 5), (5, 0), (0, 0, 3)]:
            e = np.zeros(shape, np.uint8)
            assert ip.gaussian(e, 1.0).size == 0
            assert ip.canny(e, 1, 2).size == 0
            assert ip.Threshold(e, 1, 255, 0) [0] == 0.0
            assert ip.otsuThreshold(e) == 0
            assert ip.resize(e, 4, 4, 1).size == 0

    def test_dst_that_does_not_fit_raises(self, camera):
        with pytest.raises(ValueError, match="does not fit"):
            ip.gaussian(camera, 1.0, dst=np.empty((3, 3), np.uint8))
        with pytest.raises(ValueError, match="does not fit"):
            ip.gaussian(camera, 1.0, dst=np.empty(camera.shape, np.float32))
        with pytest.raises(ValueError, match="does not fit"):
            ip.canny(camera, 1, 2, dst=np.empty(camera.shape + (3,), np.uint8))
        ro = np.empty_like(camera)
        ro.setflags(write=False)
        with pytest.raises(ValueError, match="read-only"):
            ip.gaussian(camera, 1.0, dst=ro)
        with pytest.raises(ValueError, match="layout"):
            ip.gaussian(camera, 1.0, dst=np.empty(camera.shape[::-1], np.uint8).T)

    def test_refused_parameters_return_what_the_library_leaves(self, camera):
        # Unknown resize code: the destination stays as it was.
        assert ip.resize(camera, 10, 10, 99).size == 0
        keep = np.full((10, 10), 5, np.uint8)
        ip.resize(camera, 10, 10, 99, dst=keep)
        assert (keep == 5).all()
        # int32 data is not thresholded: thresh comes back and a new dst is zeros.
        t, out = ip.Threshold(np.ones((4, 4), np.int32), 0.5, 9, 0)
        assert t == 0.5 and out.dtype == np.int32 and not out.any()
        # An unknown Laplacian selector writes nothing: zeros.
        assert not ip.laplace(camera, 2, ddepth=tarvo.MAT_Tfloat).any()
        with pytest.raises(ValueError):
            ip.RGBtoHSL(256, 0, 0)
