"""Contours, polygons, components, distances, moments, edge chains and Hough
through Python: the tool's pictures and printed figures, point-list
conventions, and a few shapes whose answers are known."""

import os
import subprocess

import numpy as np
import pytest

import tarvo
from conftest import DATA, tool_env

ip = tarvo.ip
COFFEE = os.path.join(DATA, "coffee.png")


@pytest.fixture(scope="module")
def tool_text(tmp_path_factory):
    path = os.environ.get("TARVO_TOOL")
    if not path or not os.path.exists(path):
        pytest.skip("TARVO_TOOL does not name the built tarvo tool")
    out = str(tmp_path_factory.mktemp("shapes") / "out.png")

    def run(op, options):
        res = subprocess.run([path, op] + options.split() + [COFFEE, out],
                             capture_output=True, text=True, env=tool_env())
        assert res.returncode == 0, res.stderr
        return res.stdout.splitlines(), tarvo.imread(out, tarvo.IMG_UNCHANGED)

    return run


def binary(grey, above):
    return np.where(grey > above, 255, 0).astype(np.uint8)


class TestSameAsTheTool:
    def test_shapes_listing(self, tool_text, coffee):
        lines, _ = tool_text("shapes", "--sigma 1.5 --eps 3 --draw polygon,hull --min-points 20")
        smooth = ip.gaussian(tarvo.RGBtoGray(coffee), 1.5)
        # the tool traces Canny on each gradient alone, joined
        edges = np.maximum(ip.canny(smooth, 40, 120, 1), ip.canny(smooth, 40, 120, 2))
        contours = ip.findContours(edges, ip.RetrExternal, ip.ChainApproxNone)
        shapes = [c for c in contours if len(c) >= 20]
        assert lines[-1] == "%d shapes of %d outer contours" % (len(shapes), len(contours))
        for line, c in zip(lines, shapes):
            words = line.replace(",", "").split()
            box, ell = ip.minAreaRect(c), ip.fitEllipse(c)
            assert int(words[2]) == len(c)
            assert int(words[5]) == len(ip.approxPolyDP(c, 3, True))
            assert int(words[8]) == len(ip.convexHull(c, True))
            assert words[19:] == ["%.1f" % ell.width, "x", "%.1f" % ell.height, "angle",
                                  "%.1f" % ell.angle]
            # The tool's rectangle reads points the hull has sorted; for collinear
            # sets only the rectangle itself, not its orientation, is the same.
            w, h = float(words[10]), float(words[12])
            assert sorted([w, h]) == sorted([float("%.1f" % box.width), float("%.1f" % box.height)])
            assert words[14:16] == ["(%.1f" % box.cx, "%.1f)" % box.cy]

    def test_contours_count(self, tool_text, coffee):
        lines, _ = tool_text("contours", "--mode tree --method changes --binarise otsu")
        grey = tarvo.RGBtoGray(coffee)
        bin_ = ip.Threshold(grey, ip.otsuThreshold(grey), 255, ip.ThreshBinary)[1]
        c = ip.findContours(bin_, ip.RetrTree, ip.ChainApproxSimple)
        assert lines[-1] == "%d contours, %d points" % (len(c), sum(len(p) for p in c))

    def test_components_floodfill_select(self, tool_text, coffee):
        grey = tarvo.RGBtoGray(coffee)
        lines, _ = tool_text("components", "--threshold 170 --min-count 40 --sort 1")
        regions = ip.ConnectedComponent(1, 1, 40).apply(binary(grey, 170), 0, False, True)
        assert lines[0] == "regions: %d" % len(regions)
        assert [r.count for r in regions] == sorted([r.count for r in regions], reverse=True)
        lines, picture = tool_text("floodfill", "--x 290 --y 140 --tolerance 40 --red 40 "
                                                "--green 200 --blue 255")
        work = coffee.copy()
        mask = ip.floodfill(work, (290, 140), 40, (40, 200, 255))
        assert lines[0] == "filled pixels: %d" % np.count_nonzero(mask)
        assert np.array_equal(work, picture)
        lines, _ = tool_text("select", "--x 120 --y 300 --tolerance 45")
        found, outer, holes = ip.fuzzySelection(coffee, (120, 300), 45)
        inside, _ = ip.fuzzySelection(coffee, (120, 300), 45, holes=False)
        assert found and lines[0] == "border points: %d, holes: %d, seed inside: %s" % (
            len(outer), len(holes), "yes" if inside else "no")

    def test_distance_thinning_moments(self, tool_text, coffee):
        grey = tarvo.RGBtoGray(coffee)
        lines, picture = tool_text("distance", "--type l1 --threshold 90")
        d = ip.distanceTransform(np.where(grey <= 90, 0, 255).astype(np.uint8), ip.DistL1, 3)
        assert lines[0] == "largest distance: %.6g" % d.max()
        scaled = np.clip(np.rint(d * np.float32(255.0 / d.max())), 0, 255).astype(np.uint8)
        assert np.array_equal(scaled, picture)
        _, picture = tool_text("thinning", "--threshold 160")
        assert np.array_equal(ip.thinning(binary(grey, 160)), picture)
        lines, _ = tool_text("moments", "--binary 1")
        m = ip.calcMoments(grey, 1)
        assert lines[0] == "m00 %.10g m10 %.10g m01 %.10g" % (m.m00, m.m10, m.m01)
        n = ip.Moments(m.m00, m.m10, m.m01, m.m20, m.m11, m.m02, m.m30, m.m21, m.m12, m.m03)
        assert lines[3] == "hu " + " ".join("%.6g" % h for h in ip.huMoments(n))

    def test_edge_chains_and_nms(self, tool_text, coffee):
        _, picture = tool_text("edge-chains", "--min-length 20 --non-edge 30 --high 14")
        drawn = np.zeros(coffee.shape[:2], np.uint8)
        for chain in ip.edgeChains(coffee, 30, 14, 10):
            assert chain.dtype == np.int32 and chain.shape[1] == 2 and len(chain) >= 10
            if len(chain) > 20:
                drawn[chain[:, 1], chain[:, 0]] = 255
        assert np.array_equal(drawn, picture)


class TestContoursAndPolygons:
    def test_nested_squares(self):
        img = np.zeros((12, 12), np.uint8)
        img[1:11, 1:11] = 255
        img[3:9, 3:9] = 0
        img[5:7, 5:7] = 9
        assert len(ip.findContours(img, ip.RetrExternal)) == 1
        tree = ip.findContours(img, ip.RetrTree, ip.ChainApproxSimple, (100, 200))
        assert len(tree) == 3
        outer = tree[0] - (100, 200)
        assert sorted(map(tuple, outer)) == [(1, 1), (1, 10), (10, 1), (10, 10)]
        assert tarvo.Rect(*ip.boundingRect(outer)) == (1, 1, 10, 10)
        assert ip.getBoundRect(outer) == (1, 1, 9, 9)
        # Outer borders and holes run in opposite directions.
        areas = [ip.contourArea(c) for c in tree]
        assert np.sign(areas[0]) == -np.sign(areas[1]) == np.sign(areas[2])
        codes = ip.findContours(img, ip.RetrExternal, ip.ChainCode)[0]
        steps = np.array([(1, 0), (1, -1), (0, -1), (-1, -1), (-1, 0), (-1, 1), (0, 1), (1, 1)])
        assert codes.dtype == np.uint8 and len(codes) == 36 and not steps[codes].sum(0).any()
        every = ip.findContours(img, ip.RetrExternal, ip.ChainApproxNone)[0]
        assert len(every) == 36
        assert ip.findContours(np.zeros((5, 5, 3), np.uint8)) == []
        # The image is never written, so a read-only array is used as it is.
        img.setflags(write=False)
        assert len(ip.findContours(img, ip.RetrList)) == 3

    def test_polygon_geometry(self):
        square = np.array([[1, 1], [1, 5], [5, 5], [5, 1]], np.int32)
        noisy = np.array([[0, 0], [5, 0.2], [10, 0], [10, 10]], np.float32)
        simple = ip.approxPolyDP(noisy, 0.5, False)
        assert simple.dtype == np.float32 and simple.tolist() == [[0, 0], [10, 0], [10, 10]]
        assert ip.approxPolyDP(noisy.tolist(), 0.1, False).shape == (4, 2)
        cloud = np.array([[3, 3], [0, 0], [6, 0], [6, 6], [0, 6], [2, 4]])
        before = cloud.copy()
        hull = ip.convexHull(cloud)
        assert np.array_equal(cloud, before)
        assert sorted(map(tuple, hull)) == [(0, 0), (0, 6), (6, 0), (6, 6)]
        box = ip.minAreaRect(square)
        assert (box.cx, box.cy) == (3, 3) and sorted((box.width, box.height)) == [4, 4]
        circle = np.array([(50 + 20 * np.cos(t), 40 + 10 * np.sin(t))
                           for t in np.linspace(0, 2 * np.pi, 40, endpoint=False)]).round()
        ell = ip.fitEllipse(circle.astype(np.int32))
        assert abs(ell.cx - 50) < 0.5 and abs(ell.cy - 40) < 0.5
        assert sorted([ell.width, ell.height]) == pytest.approx([20, 40], abs=1)
        assert ip.fitEllipse(square) == (0, 0, 0, 0, 0)
        assert ip.bresenham((0, 0), (3, 1)).tolist() == [[0, 0], [1, 0], [2, 1]]
        assert ip.crossPointTwoLines((0, 0), (2, 2), (0, 2), (2, 0)) == (1, 1)
        assert ip.intersectPointTwoLines((0, 0), (1, 1), (5, 0), (6, 0)) is None
        assert ip.triangleArea(0, 0, 4, 0, 0, 3) == 12

    def test_point_list_misuse(self):
        with pytest.raises(ValueError, match="points"):
            ip.convexHull(np.zeros((4, 3), np.int32))
        with pytest.raises(TypeError, match="integer"):
            ip.minAreaRect(np.zeros((4, 2), np.float32))
        with pytest.raises(ValueError, match="int32 range"):
            ip.contourArea(np.array([[0, 0], [2**40, 1]]))
        assert ip.convexHull([]).shape == (0, 2)
        assert ip.minAreaRect(np.empty((0, 2), np.int32)) == (0, 0, 0, 0, 0)


class TestRegionsDistancesHough:
    def test_components_and_their_outputs(self):
        img = np.zeros((10, 12), np.uint8)
        img[1:4, 1:5] = 200
        img[6:9, 7:8] = 9
        img[8, 1] = 1
        cc = ip.ConnectedComponent(1, 1, 2)
        regions = cc.apply(img, 0, True, True)
        assert [(r.x, r.y, r.width, r.height, r.count) for r in regions] == [
            (1, 1, 4, 3, 12), (7, 6, 1, 3, 3)]
        assert img[8, 1] == 0  # the rejected single pixel was erased
        pts = cc.createPointArrayFromConnect(regions[0])
        assert sorted(map(tuple, pts)) == [(x, y) for x in range(1, 5) for y in range(1, 4)]
        assert (cc.createImageFromConnect(regions[1]) == 0).all()
        cc.eraseConnect(regions[1], 77)
        assert (img[6:9, 7] == 77).all()
        assert cc.getWorkImage().dtype == np.int32
        assert ip.ConnectedComponent().apply(np.zeros((3, 3), np.int16)) == []

    def test_floodfill_paints_in_place_and_refuses_copies(self):
        img = np.zeros((6, 6, 3), np.uint8)
        img[:, 3:] = 100
        mask = ip.floodfill(img, (0, 0), 0, (1, 2, 3))
        assert (img[:, :3] == [1, 2, 3]).all() and (img[:, 3:] == 100).all()
        assert np.count_nonzero(mask) == 18
        assert not ip.floodfill(img, (9, 9), 0, 5).any()
        with pytest.raises(ValueError, match="writable"):
            ip.floodfill(img[:, ::2], (0, 0), 0, 5)

    def test_distance_forms(self):
        img = np.full((7, 9), 255, np.uint8)
        img[3, 4] = 0
        yy, xx = np.mgrid[:7, :9]
        assert np.allclose(ip.distanceTransform(img, ip.DistL2, 0), np.hypot(yy - 3, xx - 4))
        assert np.array_equal(ip.distanceTransform(img, ip.DistC, 3),
                              np.maximum(abs(yy - 3), abs(xx - 4)))
        # The one-argument form measures to the 255 pixels instead.
        assert ip.distanceTransform(img)[3, 4] == 1
        img[0, 0] = 0
        d, labels = ip.distanceTransform(img, ip.DistL1, 5, 1)
        assert labels[0, 0] == 1 and labels[3, 4] == 2 and labels[6, 8] == 2
        assert ip.distanceTransform(img.astype(np.float32), ip.DistL1, 3).size == 0

    def test_hough(self):
        img = np.full((60, 80), 255, np.uint8)
        img[20, 5:75] = 0
        lines = ip.houghLinesStd(img, 1, np.pi / 180, 50, 5)
        assert lines.shape[1:] == (2, 2) and 1 <= len(lines) <= 5
        segs = ip.houghLines(img, 1, np.pi / 180, 20, 30, 2, seed=5)
        assert np.array_equal(segs, ip.houghLines(img, 1, np.pi / 180, 20, 30, 2, seed=5))
        assert segs.shape[1:] == (2, 2) and (segs[:, :, 1] == 20).all()
        disc = np.full((80, 80), 200, np.uint8)
        disc[(np.mgrid[:80, :80] - np.array([40, 30])[:, None, None]).__pow__(2).sum(0) <= 100] = 0
        centre, r = ip.houghCircle(disc, radius=10)
        assert abs(centre.x - 30) <= 1 and abs(centre.y - 40) <= 1 and 9 <= r <= 13
        diag = np.array([[i, i] for i in range(10)])
        assert ip.houghLinePoints(diag, 2)[0] == 45

    def test_standard_hough_reports_the_run_of_the_line(self):
        # With a coarse angle step the line's cell is a strict peak and the
        # walk reports the run of feature pixels, from its far end back.
        img = np.full((20, 20), 255, np.uint8)
        img[2:18, 5] = 0
        lines = ip.houghLinesStd(img, 1, 1.5, 10, 5)
        assert lines.shape == (1, 2, 2)
        assert lines[0].tolist() == [[5, 17], [5, 1]]
