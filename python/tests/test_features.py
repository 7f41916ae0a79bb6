"""Feature files through Python: nested structures round-trip, the tool reads
what Python writes, and broken files raise OSError with the reason."""

import os
import subprocess

import numpy as np
import pytest

import tarvo
from conftest import tool_env


def tree(f, depth=0):
    """The lines `tarvo features` prints for a structure."""
    pad = "  " * depth
    if isinstance(f, tarvo.FeatureSet):
        n = len(f.elements)
        dim = sum(dimension(e) for e in f.elements)
        lines = ["%s%s: %d element%s, dimension %d" % (pad, f.id, n, "" if n == 1 else "s", dim)]
        return lines + [line for e in f.elements for line in tree(e, depth + 1)]
    return ["%s%s: %d x %d, dimension %d" % (pad, f.id, f.width, f.height, len(f.values))]


def dimension(f):
    if isinstance(f, tarvo.FeatureSet):
        return sum(dimension(e) for e in f.elements)
    return len(f.values)


def test_nested_sets_round_trip_and_match_the_tool(tmp_path):
    rng = np.random.default_rng(5)
    inner = tarvo.FeatureSet("FSet", [tarvo.FeatureVec("gray", 4, 1, rng.random(4)),
                                      tarvo.FeatureSet("FSet", [])])
    outer = tarvo.FeatureSet("FSet", [tarvo.FeatureVec("gray", 2, 3, np.arange(6) / 7), inner])
    path = tmp_path / "set.feat"
    tarvo.writeFeature(path, outer)
    back = tarvo.readFeature(str(path))
    assert isinstance(back, tarvo.FeatureSet) and len(back.elements) == 2
    v = back.elements[0]
    assert (v.id, v.width, v.height) == ("gray", 2, 3)
    assert v.values.dtype == np.float32 and np.array_equal(v.values, np.float32(np.arange(6) / 7))
    w = back.elements[1].elements[0]
    assert np.array_equal(w.values, np.float32(inner.elements[0].values))
    assert back.elements[1].elements[1] == tarvo.FeatureSet("FSet", [])

    tool = os.environ.get("TARVO_TOOL")
    if tool and os.path.exists(tool):
        res = subprocess.run([tool, "features", str(path)], capture_output=True, text=True,
                             env=tool_env())
        assert res.returncode == 0 and res.stdout.splitlines() == tree(back)


def test_broken_files_raise_os_error_with_the_reason(tmp_path):
    good = tmp_path / "v.feat"
    tarvo.writeFeature(good, tarvo.FeatureVec("gray", 3, 3, np.ones(9)))
    cut = tmp_path / "cut.feat"
    cut.write_bytes(good.read_bytes()[:45])
    (tmp_path / "short.feat").write_bytes(b"short")
    (tmp_path / "alien.feat").write_bytes(b"lbp_" + b"_" * 40)
    for name, reason in [("cut.feat", "truncated"), ("short.feat", "too short"),
                         ("alien.feat", "known feature identifier")]:
        with pytest.raises(OSError, match=reason):
            tarvo.readFeature(tmp_path / name)
    with pytest.raises(FileNotFoundError):
        tarvo.readFeature(tmp_path / "missing.feat")
    with pytest.raises(IsADirectoryError):
        tarvo.readFeature(tmp_path)
    with pytest.raises(TypeError):
        tarvo.writeFeature(tmp_path / "x.feat", tarvo.FeatureSet("FSet", [None]))
