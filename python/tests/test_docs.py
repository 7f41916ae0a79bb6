"""Docstrings: every function has one, and rows of the tool feed them."""

import os
import subprocess

import pytest

import tarvo
from conftest import tool_env

ip = tarvo.ip


def functions(mod):
    return [getattr(mod, n) for n in dir(mod) if not n.startswith("_") and callable(getattr(mod, n))]


def test_every_function_documents_arguments_and_refusals():
    for f in functions(ip) + [tarvo.imread, tarvo.imwrite, tarvo.RGBtoGray]:
        doc = f.__doc__ or ""
        name = f.__name__
        assert doc.startswith(name + "("), name
        assert len(doc) > 120, name


def test_help_reads_like_a_manual_page():
    doc = ip.canny.__doc__
    for section in ("Arguments:", "Returns:", "Refused input:", "Command line:"):
        assert section in doc


def test_tool_rows_feed_the_docstrings():
    path = os.environ.get("TARVO_TOOL")
    if not path or not os.path.exists(path):
        pytest.skip("TARVO_TOOL does not name the built tarvo tool")
    for fn, op in [(ip.gaussian, "gaussian"), (ip.canny, "canny"), (ip.erode, "erode"),
                   (ip.resize, "resize"), (ip.Threshold, "threshold"),
                   (ip.colorize, "colorize"), (ip.histogramEqualize, "equalize"),
                   (ip.level, "level"), (ip.circleTransform, "circle-transform"),
                   (ip.findContours, "contours"), (ip.distanceTransform, "distance"),
                   (ip.houghLines, "hough-segments"), (ip.rotate, "rotate"),
                   (ip.resample, "resample"), (ip.remap, "remap"), (ip.cornerFast, "fast")]:
        help_text = subprocess.run([path, op, "--help"], capture_output=True, text=True,
                                   env=tool_env()).stdout
        doc = " ".join(fn.__doc__.split())
        assert "tarvo " + op + " --help" in doc
        # Each option line of the tool's help that the docstring maps shows the same words.
        options = [line.split(None, 1)[1].split(" (")[0] for line in help_text.splitlines()
                   if line.startswith("  --") and len(line.split(None, 1)) == 2]
        summary = help_text.splitlines()[1].rstrip(".")
        assert summary in doc or any(" ".join(o.split()) in doc for o in options), op


def test_every_tool_row_declares_its_reach():
    """Tiling and `tarvo batch --help` read the declaration; a row that forgets
    it would silently count as whole-picture."""
    for row in tarvo._tarvo._tool_rows():
        radius, note, _ = tarvo._tarvo._tool_reach(row)
        assert note != "no reach declared", row
        assert radius >= 0 or note, row
