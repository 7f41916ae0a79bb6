"""Transformations, warps, meshes and corners through Python: the tool's
pictures byte for byte, and behaviour whose answer is known independently."""

import ctypes
import math
import os

import numpy as np
import pytest

import tarvo
from conftest import DATA, rng_image

ip = tarvo.ip
COFFEE = os.path.join(DATA, "coffee.png")


def crosses(img, pts):
    """The tool's drawing of corners: red arms reaching 3 pixels each way."""
    out = img.copy()
    h, w = out.shape[:2]
    for x, y in pts:
        out[y, max(x - 3, 0):min(x + 4, w)] = (255, 0, 0)
        out[max(y - 3, 0):min(y + 4, h), x] = (255, 0, 0)
    return out


def ripple_maps(rows, cols, s):
    """The tool's ripple map, computed in double and stored as float32."""
    two_pi = 2 * 3.14159265358979323846
    ys = np.array([s * math.sin(two_pi * y / 32.0) for y in range(rows)])
    xs = np.array([s * math.sin(two_pi * x / 32.0) for x in range(cols)])
    mx = (np.arange(cols)[None, :] + ys[:, None]).astype(np.float32)
    my = (np.arange(rows)[:, None] + xs[None, :]).astype(np.float32)
    return mx, my


def grid_mesh(n, amount, seed, img):
    """The tool's mesh-warp: a grid with one diagonal per cell, inner points
    moved by the C library's generator, which the library itself draws from."""
    libc = ctypes.CDLL(None)
    h, w = img.shape[:2]
    f32 = np.float32
    libc.srand(seed)
    src, dst, edges = [], [], []
    for j in range(n + 1):
        for i in range(n + 1):
            p = (f32(i) * f32(w - 1) / f32(n), f32(j) * f32(h - 1) / f32(n))
            q = p
            if 0 < i < n and 0 < j < n:
                dx = f32(libc.rand() & 0x7FFF) / f32(32767) * f32(2) - f32(1)
                dy = f32(libc.rand() & 0x7FFF) / f32(32767) * f32(2) - f32(1)
                q = (p[0] + dx * f32(amount), p[1] + dy * f32(amount))
            src.append(p)
            dst.append(q)
            k = j * (n + 1) + i
            edges += [(k, k + 1)] * (i < n) + [(k, k + n + 1)] * (j < n)
            edges += [(k, k + n + 2)] * (i < n and j < n)
    return np.array(src, np.float32), np.array(dst, np.float32), ip.TriangleModel(edges)


def tool_warp_affine(c):
    r = ip.getRotationMatrix2D((c.shape[1] / 2, c.shape[0] / 2), 17)
    return ip.warpAffine(c, r[[1, 0]], True)


def tool_keystone(c):
    w, h = c.shape[1] - 1, c.shape[0] - 1
    p = np.float32(20) / np.float32(100) * np.float32(w)
    corners = np.array([(0, 0), (w, 0), (w, h), (0, h)], np.float32)
    moved = np.array([(p, 0), (w - p, 0), (w, h), (0, h)], np.float32)
    return ip.warpPerspective(c, ip.getPerspectiveTransform(corners, moved))


def tool_remap_fixed(c):
    m1, m2 = ip.convertMaps(*ripple_maps(*c.shape[:2], 6.0), 10, False)
    return ip.remap(c, m1, m2, 1, tarvo.BorderFill)


@pytest.mark.parametrize(
    "op, options, compute",
    [
        ("rotate", "--angle 20", lambda c: ip.rotate(c, 20, ip.InterpBilinear, ip.OverflowColor)),
        ("rotate", "--quarter left", lambda c: ip.rotate(c, ip.RotateLeft90)),
        ("crop", "--x 20 --y 20 --width 120 --height 80 --angle 10",
         lambda c: ip.crop(c, 20, 20, 120, 80, 10)),
        ("expand", "--left 20 --top 10 --right 5 --bottom 7 --red 255 --blue 9",
         lambda c: ip.expand(c, 20, 10, 5, 7, (255, 0, 9))),
        ("resample", "--width 300 --height 200 --interpolation lanczos",
         lambda c: ip.resample(c, 300, 200, ip.InterpLanczos, ip.OverflowClamp)),
        ("skew", "--slope-x 0.3 --pivot-y 240", lambda c: ip.skew(c, 0.3, 0, 0, 240)),
        ("thumbnail", "--width 160 --height 160 --blue 255",
         lambda c: ip.thumbnail(c, 160, 160, (0, 0, 255))),
        ("warp-affine", "--angle 17", tool_warp_affine),
        ("warp-perspective", "--tilt 20", tool_keystone),
        ("remap", "--effect ripple --strength 6 --interpolation cubic --border mirror",
         lambda c: ip.remap(c, *ripple_maps(*c.shape[:2], 6.0), 2, tarvo.BorderMirror)),
        ("remap", "--effect ripple --strength 6 --fixed 1", tool_remap_fixed),
        ("mesh-warp", "--grid 6 --amount 15 --seed 7",
         lambda c: ip.warpMesh(c, *grid_mesh(6, 15, 7, c))[0]),
        ("fast", "--threshold 20 --arc 9 --suppress 1",
         lambda c: crosses(c, ip.cornerFast(tarvo.RGBtoGray(c), 20, 9, 1))),
        ("harris", "--subpix 1",
         lambda c: crosses(c, (ip.findCornerSubPix(
             tarvo.RGBtoGray(c), ip.cornerHarris(tarvo.RGBtoGray(c)), (5, 5), (-1, -1),
             (3, 30, 0.01)) + 0.5).astype(np.int32))),
    ],
)
def test_same_bytes_as_the_tool(tool, tmp_path, coffee, op, options, compute):
    expected = tool(op, options, COFFEE, tmp_path)
    got = compute(coffee)
    assert got.dtype == np.uint8 and got.shape == expected.shape
    assert np.array_equal(got, expected)


class TestTransformations:
    @pytest.mark.parametrize("dtype", [np.uint8, np.int16, np.int32, np.float32, np.float64])
    @pytest.mark.parametrize("channels", [1, 4])
    def test_quarter_turns_crops_and_pads_move_pixels_exactly(self, dtype, channels):
        shape = (23, 31) if channels == 1 else (23, 31, channels)
        a = rng_image(shape, dtype)
        assert np.array_equal(ip.rotate(a, ip.RotateLeft90), np.rot90(a, 1))
        assert np.array_equal(ip.rotate(a, ip.RotateRight90), np.rot90(a, -1))
        assert np.array_equal(ip.rotate(a[:, ::-1], ip.Rotate180), a[::-1, :])
        assert np.array_equal(ip.crop(a, (3, 5, 11, 7)), a[5:12, 3:14])
        assert np.array_equal(ip.crop(a, 3, 5, 14, 12), a[5:12, 3:14])
        padded = ip.expand(a, 2, 3, 4, 5, 7)
        pad = ((3, 5), (2, 4)) + (((0, 0),) if channels > 1 else ())
        want = np.pad(a, pad, constant_values=7)
        if channels == 4:
            want[..., 3][padded[..., 3] == 0] = 0  # the fourth channel pads with 0
        assert np.array_equal(padded, want)

    def test_an_int_angle_is_not_a_quarter_turn(self):
        a = rng_image((20, 30), np.uint8)
        assert ip.rotate(a, 1).shape != (30, 20)  # 1 degree, grown canvas
        assert ip.rotate(a, ip.RotateRight90).shape == (30, 20)

    def test_crop_ex_fills_outside_and_refusals_leave_dst(self):
        a = rng_image((10, 12, 3), np.uint8)
        out = ip.cropEx(a, (-2, 8, 5, 4), (1, 2, 3))
        assert out.shape == (4, 5, 3)
        assert np.array_equal(out[:2, 2:], a[8:, :3])
        assert (out[:, :2] == (1, 2, 3)).all() and (out[2:] == (1, 2, 3)).all()
        assert ip.crop(a, (8, 0, 5, 5)).size == 0  # reaches outside
        dst = np.full((5, 5, 3), 9, np.uint8)
        assert ip.crop(a, (8, 0, 5, 5), dst=dst) is dst and (dst == 9).all()
        assert ip.expand(a, -1, 0, 0, 0).size == 0

    def test_dst_in_place_and_misfit(self):
        a = rng_image((40, 50, 3), np.uint8)
        want = ip.skew(a, 0.2, 0.1, 5, 7, True)
        b = a.copy()
        assert ip.skew(b, 0.2, 0.1, 5, 7, True, dst=b) is b and np.array_equal(b, want)
        dst = np.empty((120, 100, 3), np.uint8)
        out = ip.thumbnail(a, 100, 120, 200, dst=dst)
        assert out is dst and np.array_equal(dst, ip.thumbnail(a, 100, 120, 200))
        with pytest.raises(ValueError):
            ip.thumbnail(a, 100, 120, dst=np.empty((100, 120, 3), np.uint8))
        with pytest.raises(ValueError):
            ip.crop(a, (0, 0, 10, 10), dst=a[5:15, 5:15])  # inside src, not src itself
        with pytest.raises(ValueError, match="fill"):
            ip.expand(a, 1, 1, 1, 1, 256)


class TestWarps:
    def test_affine_row_and_column_roles(self):
        a = rng_image((17, 17), np.float32)
        assert np.array_equal(ip.warpAffine(a, [[0, 1, 0], [1, 0, 0]]), a)
        assert np.array_equal(ip.warpAffine(a, [[1, 0, 0], [0, 1, 0]]), a.T)
        out = ip.warpAffine(a, [[0, 1, 0], [1, 0, 0]], dsize=(5, 3))
        assert out.shape == (3, 5) and np.array_equal(out, a[:3, :5])

    def test_perspective_writes_where_the_mask_says(self):
        a = rng_image((30, 40), np.float32) + 100
        t = ip.getPerspectiveTransform([(0, 0), (39, 0), (39, 29), (0, 29)],
                                       [(10, 5), (30, 2), (36, 27), (4, 24)])
        dst = np.full(a.shape, -1.0, np.float32)
        assert ip.warpPerspective(a, t, dst=dst) is dst
        mask = ip.warpPerspectiveMask(a, t)
        assert mask.dtype == np.uint8 and set(np.unique(mask)) == {0, 255}
        assert np.array_equal(mask == 255, dst == -1)

    def test_transforms_map_their_points(self):
        src = np.array([(0, 0), (10, 0), (10, 10), (0, 10)], np.float32)
        dst = np.array([(2, 1), (13, 3), (12, 14), (1, 11)], np.float32)
        aff = ip.getAffineTransform(src[:3], dst[:3])
        assert aff.shape == (2, 3)
        assert np.allclose(src[:3] @ aff[:, :2].T + aff[:, 2], dst[:3], atol=1e-4)
        per = ip.getPerspectiveTransform(src, dst)
        assert np.allclose(ip.warpPoint(src, per), dst, atol=1e-3)
        assert ip.warpPoint(src.astype(np.int32), per).dtype == np.int32
        p = ip.warpPoint((10, 10), per)
        assert abs(p.x - 12) < 1e-3 and abs(p.y - 14) < 1e-3
        assert ip.getAffineTransform(src[:2], dst[:2]).size == 0
        rot = ip.getRotationMatrix2D((5, 5), 90)
        assert np.allclose(rot @ [10, 5, 1], [5, 0], atol=1e-9)  # counter-clockwise on screen

    def test_maps_round_trip_and_identity_remap(self):
        a = rng_image((20, 24, 3), np.uint8)
        mx, my = np.meshgrid(np.arange(24, dtype=np.float32), np.arange(20, dtype=np.float32))
        assert np.array_equal(ip.remap(a, mx, my, 0), a)
        xy, none = ip.convertMaps(mx + 0.25, my, 12)
        assert xy.shape == (20, 24, 2) and none.size == 0
        bx, by = ip.convertMaps(xy, None, 4)
        assert np.array_equal(bx, mx + 0.25) and np.array_equal(by, my)
        assert ip.remap(a.astype(np.int32), mx, my).size == 0


class TestMeshes:
    def test_model_triangles_files_and_hostile_input(self, tmp_path):
        m = ip.TriangleModel([(0, 1), (1, 2), (2, 0), (2, 3), (3, 0), (1, 1)])
        assert m.edgeCount == 6
        assert m.triangles.tolist() == [[0, 1, 2], [0, 2, 3]]
        assert m.adjacentTriangles(3).tolist() == [[0, 2, 3]]
        assert m.findTriangle(2, 1, 0) == 1 and m.findTriangle(1, 2, 3) == 0
        assert m.Save(tmp_path / "e.bin") == 1
        back = ip.TriangleModel()
        assert back.load(str(tmp_path / "e.bin")) == 1
        assert np.array_equal(back.edges, m.edges) and np.array_equal(back.triangles, m.triangles)
        (tmp_path / "bad.bin").write_bytes(np.array([5, 0, 1, -3], np.int32).tobytes())
        assert back.loadTriangleList(tmp_path / "bad.bin") == 0
        assert np.array_equal(back.triangles, m.triangles)
        with pytest.raises(FileNotFoundError):
            back.load(tmp_path / "missing.bin")

    def test_warps_check_point_lists_and_carry_pixels(self):
        a = rng_image((30, 30, 3), np.uint8)
        m = ip.TriangleModel([(0, 1), (1, 2), (2, 0)])
        pts = np.array([(0, 0), (29, 0), (0, 29)], np.float32)
        with pytest.raises(ValueError, match="every point"):
            ip.warpMesh(a, pts[:2], pts, m)
        out, bounds = ip.warpMesh(a, pts, pts, m)
        assert out.shape == a.shape and bounds.x == 0 and bounds.y == 0
        assert (out[25:, 25:] == 0).all()  # outside the triangle
        dst = np.full_like(a, 5)
        tri = ip.warpTriangle(a, pts, pts, dst=dst)
        assert tri is dst and (dst[25:, 25:] == 5).all() and (dst[2:10, 2:10] != 5).any()
        kept, _ = ip.warping(a, pts, pts, m, dst=np.full_like(a, 5))
        assert (kept[25:, 25:] == 5).all()
        assert ip.warpTriangle(a[..., 0], pts, pts).size == 0

    def test_barycentric_coefficients(self):
        pts = [(0, 0), (4, 0), (0, 4)]
        assert ip.computeCoefficients(pts, (0, 1, 2), 0, 0) == pytest.approx((1, 0, 0))
        assert ip.computeCoefficients(pts, (0, 1, 2), 1, 2) == pytest.approx((0.25, 0.25, 0.5))
        assert ip.computeCoefficients(pts, (0, -1, 2), 1, 1) is None
        with pytest.raises(ValueError):
            ip.computeCoefficients(pts, (0, 1, 3), 1, 1)


class TestCorners:
    def square(self):
        img = np.zeros((40, 40), np.uint8)
        img[10:30, 12:32] = 200
        return img

    def test_fast_and_harris_find_a_square_corners(self):
        img = self.square()
        corners = [(12, 10), (31, 10), (12, 29), (31, 29)]
        for pts in (ip.cornerFast(img, 40, 9, 0), ip.cornerHarris(img, threshold=100)):
            assert pts.dtype == np.int32 and len(pts) >= 4
            for c in corners:
                assert (np.abs(pts - c).max(axis=1) <= 2).any()
        # Suppression keeps a corner only when it beats every neighbour: the
        # equal scores along the square's edges cancel out, and brighter
        # corner pixels stand alone.
        assert len(ip.cornerFast(img, 40, 9, 1)) == 0
        for x, y in corners:
            img[y, x] = 250
        assert ip.cornerFast(img, 40, 9, 1).tolist() == [list(c) for c in corners]
        mask = np.zeros_like(img)
        assert len(ip.cornerHarris(img, mask, threshold=100)) == 0
        assert len(ip.cornerFast(img.astype(np.float32), 40)) == 0

    def test_sub_pixel_refinement_and_window_sampling(self):
        img = self.square()
        got = ip.findCornerSubPix(img, [(13, 11)], (4, 4))
        assert got.dtype == np.float32 and np.abs(got[0] - (11.5, 9.5)).max() < 0.3
        ramp = np.tile(np.arange(50, dtype=np.uint8) * 3, (20, 1))
        win = ip.getRectSubPixel(ramp, (5, 3), (20.25, 9.5))
        assert win.shape == (3, 5)
        assert np.allclose(win, 3 * (np.arange(5) + 18.25)[None, :].repeat(3, 0))
        edge = ip.getRectSubPixel(ramp, (3, 1), (0, 0))  # outside: replicated border
        assert np.allclose(edge, [[0, 0, 3]])
        with pytest.raises(ValueError):
            ip.getRectSubPixel(ramp[:0], (3, 3), (1, 1))
