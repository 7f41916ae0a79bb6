"""tarvo.dask: tiled results equal whole-picture results, batches on a cluster."""

import os
import shutil
import subprocess
import sys

import numpy as np
import pytest

import tarvo
from conftest import DATA, tool_env

if os.environ.get("TARVO_SANITIZED"):
    pytest.skip("the Dask tests run in the Release build only (worker processes under the "
                "sanitizer runtime add minutes and test no other code)", allow_module_level=True)

dask = pytest.importorskip("dask")
distributed = pytest.importorskip("distributed")
import dask.array as da  # noqa: E402

import tarvo.dask as td  # noqa: E402

ip = tarvo.ip
BORDERS = [tarvo.BorderFill, tarvo.BorderClamp, tarvo.BorderMirror, tarvo.BorderWrap,
           tarvo.BorderMirrorNoEdge]


@pytest.fixture(scope="module")
def client():
    """Two worker processes on the loopback address, shut down whatever the
    tests do."""
    cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                       host="127.0.0.1", dashboard_address=None)
    try:
        c = distributed.Client(cluster)
        try:
            yield c
        finally:
            c.close()
    finally:
        cluster.close()


@pytest.fixture(scope="module")
def scene():
    """A 3000 x 2000 picture with smooth areas, edges and noise, grey and colour."""
    rng = np.random.default_rng(7)
    y, x = np.mgrid[0:2000, 0:3000]
    base = (128 + 90 * np.sin(x / 97.0) * np.cos(y / 61.0)).astype(np.int32)
    base[(x // 180 + y // 140) % 2 == 0] += 40
    grey = np.clip(base + rng.integers(-20, 21, base.shape), 0, 255).astype(np.uint8)
    colour = np.stack([grey, np.roll(grey, 37, axis=1), 255 - grey], axis=2)
    return grey, colour


@pytest.fixture(scope="module")
def tiled(client, scene):
    grey, colour = scene
    g = client.persist(da.from_array(grey, chunks=(512, 512)))
    c = client.persist(da.from_array(colour, chunks=(512, 512, 3)))
    return g, c


def same(got, ref):
    return got.shape == ref.shape and got.dtype == ref.dtype and np.array_equal(got, ref)


def test_stencils_on_the_cluster_equal_whole_picture(client, scene, tiled):
    grey, colour = scene
    g, c = tiled
    box5 = np.full((5, 5), 1 / 25.0, np.float32)
    cases = [("gaussian", grey, g, dict(sigma=s), lambda s=s: ip.gaussian(grey, s))
             for s in (0.8, 2.0, 4.5)]
    cases.append(("gaussian", colour, c, dict(sigma=1.5, support=5),
                  lambda: ip.gaussian(colour, 1.5, 5)))
    for b in BORDERS:
        cases.append(("filter2D", grey, g, dict(ddepth=-1, kernel=box5, borderType=b),
                      lambda b=b: ip.filter2D(grey, -1, box5, (-1, -1), 0, b)))
        cases.append(("erode", grey, g, dict(iterations=2, borderType=b),
                      lambda b=b: ip.erode(grey, None, (-1, -1), 2, b)))
        el = ip.getStructuringElement(tarvo.ip.MorphEllipse, (7, 5))
        cases.append(("dilate", colour, c, dict(element=el, borderType=b),
                      lambda b=b, el=el: ip.dilate(colour, el, (-1, -1), 1, b)))
    for dx, dy, k in ((1, 0, 3), (0, 1, 5), (1, 1, 7)):
        cases.append(("sobel", grey, g, dict(dx=dx, dy=dy, ksize=k),
                      lambda dx=dx, dy=dy, k=k: ip.sobel(grey, dx, dy, k)))
    cases.append(("colorize", colour, c, dict(hue=20, saturation=200, blend=0.7),
                  lambda: ip.colorize(colour, 20, 200, 0.7)))
    cases.append(("Threshold", grey, g, dict(thresh=140, maxval=200, type=ip.ThreshBinaryInv),
                  lambda: ip.Threshold(grey, 140, 200, ip.ThreshBinaryInv)[1]))
    cases.append(("pyrDown", grey, g, {}, lambda: ip.pyrDown(grey)))
    cases.append(("pyrUp", colour, c, {}, lambda: ip.pyrUp(colour)))
    graphs = [td.apply(name, arr, **p) for name, _, arr, p, _ in cases]
    results = client.compute(graphs, sync=True)
    for (name, _, _, p, ref), got in zip(cases, results):
        assert same(got, ref()), (name, p)


def test_two_pass_routes_equal_whole_picture(client, scene, tiled):
    grey, _ = scene
    g, _ = tiled
    with dask.config.set(scheduler=client.get):
        eq = td.apply("histogramEqualize", g).compute()
        otsu = td.apply(ip.Threshold, g, thresh=0, maxval=255,
                        type=ip.ThreshOtsuBit | ip.ThreshBinary).compute()
        percent = [td.apply("Threshold", g, thresh=p, maxval=m, type=t).compute()
                   for p, m, t in ((30, 255, ip.ThreshPercentUp), (72.5, 90, ip.ThreshPercentDown))]
    assert same(eq, ip.histogramEqualize(grey))
    assert same(percent[0], ip.Threshold(grey, 30, 255, ip.ThreshPercentUp)[1])
    assert same(percent[1], ip.Threshold(grey, 72.5, 90, ip.ThreshPercentDown)[1])
    assert same(otsu, ip.Threshold(grey, 0, 255, ip.ThreshOtsuBit | ip.ThreshBinary)[1])


def test_refusals_name_the_reason(tiled):
    g, c = tiled
    with pytest.raises(ValueError, match="canny cannot be tiled.*hysteresis"):
        td.apply("canny", g, lowThreshold=40, highThreshold=120)
    with pytest.raises(ValueError, match="contours cannot be tiled.*border is traced"):
        td.apply("contours", g)
    with pytest.raises(ValueError, match="one-channel uint8"):
        td.apply("Threshold", c[..., 0].astype(np.float32), thresh=0, maxval=255,
                 type=ip.ThreshOtsuBit)
    with pytest.raises(ValueError, match="one whole factor"):
        td.apply("resize", g, width=1000, height=700)
    with pytest.raises(ValueError, match="do not divide by 2"):
        td.apply("pyrDown", g.rechunk((500, 511)))
    with pytest.raises(ValueError, match="smaller than the reach"):
        td.apply("gaussian", g.rechunk((4, 512)), sigma=3)
    with pytest.raises(ValueError, match="no tiled form"):
        td.apply("integralImage", g)


def test_every_local_tool_row_tiles_exactly():
    """A row whose declared reach is too small shows here: its tiles differ
    from the whole picture near the chunk edges."""
    rng = np.random.default_rng(3)
    pictures = [rng.integers(0, 256, (150, 170), dtype=np.uint8),
                rng.integers(0, 256, (150, 170, 3), dtype=np.uint8)]
    options = {"gaussian": dict(sigma=2.2), "erode": dict(size=5, iterations=2),
               "opening": dict(size=3, iterations=2), "adaptive-threshold": dict(block=9),
               "denoise": dict(method="weighted5"), "sobel-magnitude": dict(ksize=5),
               "median": dict(window=4), "convolve-sep": dict(size=6)}
    tiled_rows = 0
    for row in tarvo._tarvo._tool_rows():
        opts = options.get(row, {})
        r, note = td.reach(row, **opts)
        if r < 0:
            assert note, row
            with pytest.raises(ValueError, match="needs the whole picture"):
                td.apply_row(row, pictures[0], **opts)
            continue
        if tarvo._tarvo._tool_reach(row, opts)[2]:
            with pytest.raises(ValueError, match="changes the picture's size"):
                td.apply_row(row, pictures[0], **opts)
            continue
        for img in pictures:
            x = da.from_array(img, chunks=(40, 48) + img.shape[2:])
            try:
                ref = tarvo._tarvo._tool_run(row, img, [w for k, v in opts.items()
                                                         for w in ("--" + k, str(v))])
            except ValueError:
                continue  # the row does not take this picture
            got = td.apply_row(row, x, **opts).compute(scheduler="sync")
            assert same(got, ref), (row, img.shape)
            tiled_rows += 1
    assert tiled_rows >= 20


def test_reach_follows_the_parameters():
    assert td.reach("gaussian", sigma=2.6)[0] == 5
    assert td.reach("gaussian", sigma=2.6, support=2)[0] == 2
    assert td.reach("erode", size=7, iterations=3)[0] == 9
    assert td.reach("closing", size=5)[0] == 4
    assert td.reach("threshold", type=0)[0] == 0
    assert td.reach("threshold", type=ip.ThreshOtsuBit)[0] == -1
    assert td.reach("resize", width=300)[0] == -1
    with pytest.raises(ValueError, match="no parameter 'radius'"):
        td.reach("gaussian", radius=3)


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    """20 pictures, grey and colour, in two folders, and one corrupt file."""
    root = tmp_path_factory.mktemp("batch")
    src = root / "in"
    (src / "sub").mkdir(parents=True)
    grey = tarvo.imread(os.path.join(DATA, "camera.png"), tarvo.IMG_UNCHANGED)
    colour = tarvo.imread(os.path.join(DATA, "coffee.png"), tarvo.IMG_UNCHANGED)
    for i in range(20):
        img = (grey if i % 2 else colour)[i * 7:, i * 5:]
        tarvo.imwrite(str(src / ("sub" if i >= 15 else "") / ("p%02d.png" % i)),
                      np.ascontiguousarray(img))
    (src / "broken.png").write_bytes(b"\x89PNG\r\n\x1a\n" + b"\0" * 40)
    return root


CHAIN = "-- gaussian --sigma 1.5 -- sobel-magnitude --ksize 3".split()


def pictures_under(folder):
    out = {}
    for base, _, names in os.walk(folder):
        for n in names:
            p = os.path.join(base, n)
            out[os.path.relpath(p, folder)] = tarvo.imread(p, tarvo.IMG_UNCHANGED)
    return out


def test_batch_on_the_cluster_equals_local_run(client, folder):
    src = folder / "in"
    paths = sorted(str(p) for p in src.rglob("*.png"))
    assert len(paths) == 21
    remote = td.batch(paths, CHAIN, str(folder / "remote"), client=client, root=str(src))
    local = td.batch(paths, CHAIN, str(folder / "local"), root=str(src))
    assert [p for p, _ in remote] == paths
    assert [(p, r is None) for p, r in remote] == [(p, r is None) for p, r in local]
    failed = [(p, r) for p, r in remote if r]
    assert len(failed) == 1 and failed[0][0].endswith("broken.png")
    a, b = pictures_under(folder / "remote"), pictures_under(folder / "local")
    assert sorted(a) == sorted(b) and len(a) == 20
    assert not [n for n in a if os.path.basename(n).startswith(".")]
    for name in a:
        assert same(a[name], b[name]), name

    # The same chain through the command line of the tool.
    tool = os.environ.get("TARVO_TOOL")
    if tool and os.path.exists(tool):
        res = subprocess.run([tool, "batch", "--recursive", "--quiet", str(src),
                              str(folder / "tool")] + CHAIN,
                             capture_output=True, text=True, env=tool_env())
        assert res.returncode == 1 and "broken.png" in res.stderr, res.stderr
        c = pictures_under(folder / "tool")
        assert sorted(c) == sorted(a)
        for name in a:
            assert same(a[name], c[name]), name


def test_batch_module_on_the_scheduler(client, folder):
    out = folder / "cli"
    env = dict(os.environ)
    res = subprocess.run([sys.executable, "-m", "tarvo.batch", "--scheduler",
                          client.scheduler.address, "--recursive", str(folder / "in"),
                          str(out)] + CHAIN, capture_output=True, text=True, env=env)
    assert res.returncode == 1, res.stderr
    assert "1 of 21 failed" in res.stderr and "broken.png" in res.stderr
    assert "21/21 pictures (100%)" in res.stderr
    local = folder / "cli-local"
    res = subprocess.run([sys.executable, "-m", "tarvo.batch", "--jobs", "2", "--quiet",
                          str(folder / "in"), str(local)] + CHAIN,
                         capture_output=True, text=True, env=env)
    assert res.returncode == 1 and "broken.png" in res.stderr
    a, b = pictures_under(out), pictures_under(local)
    assert len(a) == 20 and len(b) == 15  # without --recursive, sub/ is left out
    for name in b:
        assert same(a[name], b[name]), name
    shutil.rmtree(out)
