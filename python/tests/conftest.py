"""Shared fixtures: the sample pictures and the tarvo tool of the same build."""

import os
import subprocess

import numpy as np
import pytest

import tarvo

DATA = os.environ.get(
    "TARVO_DATA", os.path.join(os.path.dirname(__file__), "..", "..", "data"))


@pytest.fixture(scope="session")
def coffee():
    img = tarvo.imread(os.path.join(DATA, "coffee.png"), tarvo.IMG_COLOR)
    img.setflags(write=False)
    return img


@pytest.fixture(scope="session")
def camera():
    img = tarvo.imread(os.path.join(DATA, "camera.png"), tarvo.IMG_GRAY)
    img.setflags(write=False)
    return img


def tool_env():
    """The environment for the tool: a sanitizer runtime preloaded for the
    interpreter must not reach a tool that carries its own."""
    env = dict(os.environ)
    env.pop("LD_PRELOAD", None)
    return env


@pytest.fixture(scope="session")
def tool():
    path = os.environ.get("TARVO_TOOL")
    if not path or not os.path.exists(path):
        pytest.skip("TARVO_TOOL does not name the built tarvo tool")

    def run(op, options, src, tmp_path):
        out = str(tmp_path / (op + ".png"))
        cmd = [path, op] + options.split() + [src, out]
        res = subprocess.run(cmd, capture_output=True, text=True, env=tool_env())
        assert res.returncode == 0, res.stderr
        return tarvo.imread(out, tarvo.IMG_UNCHANGED)

    return run


def rng_image(shape, dtype, seed=1):
    rng = np.random.default_rng(seed)
    if np.dtype(dtype).kind == "f":
        return (rng.random(shape) * 200 - 50).astype(dtype)
    info = np.iinfo(dtype)
    lo, hi = max(info.min, -1000), min(info.max, 1000)
    return rng.integers(lo, hi + 1, size=shape).astype(dtype)
