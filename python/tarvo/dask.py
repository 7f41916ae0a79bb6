"""tarvo on Dask: pictures larger than memory, and many pictures at once.

apply(op, array, **params) runs one operation over a dask array chunk by
chunk. Each chunk is grown by the operation's reach (the radius the tool's
table declares for these parameters) on the sides where it has neighbours;
at the picture's true edges the operation's own border rule applies, as on
the whole picture. The middle of each grown chunk is therefore exactly what
the whole-picture call gives there, and the assembled result equals
tarvo.ip.<op> on the whole array bit for bit.

    import dask.array as da, tarvo, tarvo.dask
    big = da.from_zarr("scene.zarr")              # (rows, cols) uint8, any chunks
    smooth = tarvo.dask.apply("gaussian", big, sigma=3.0)
    edges = tarvo.dask.apply("sobel", smooth, dx=1, dy=0, ksize=3)
    edges.to_zarr("edges.zarr")

Operations whose result depends on the whole picture run as a reduction and
then a map where that gives the same result (histogramEqualize, the Otsu and
percentile types of Threshold: a histogram summed over the chunks first,
computed when apply is called); the others (canny, contours, ...) raise ValueError naming why.
Operations that change the size (pyrDown, pyrUp, resize by a whole factor)
are accepted when the chunk sizes divide exactly.

batch(paths, chain, out_dir, client=None) runs a chain of the tool's rows
over many files, one task per file, and returns each file's status.
"""

import os

import dask
import dask.array as da
import numpy as np

from . import _tarvo
from ._tarvo import ip

__all__ = ["apply", "apply_row", "reach", "batch", "parse_chain", "run_file"]


# ---------------------------------------------------------------- reach


def reach(row, **params):
    """(radius, note) of a row of the tarvo tool for these parameters (option
    names, '_' for '-'): radius 0 for a point operation, -1 when the result
    may depend on the whole picture; note says what sets it or why."""
    r, note, _ = _tarvo._tool_reach(row, params)
    return r, note


def _row_radius(row, **params):
    r, note, _ = _tarvo._tool_reach(row, params)
    if r < 0:
        raise ValueError("%s cannot be tiled: it needs the whole picture (%s)" % (row, note))
    return r


class _Call:
    """tarvo.ip.<name>(block, *args, **kwargs), looked up by name when called so
    that it pickles for the workers; index picks one item of a tuple result."""

    def __init__(self, name, *args, index=None, **kwargs):
        self.name, self.args, self.kwargs, self.index = name, args, kwargs, index

    def __call__(self, block):
        out = getattr(ip, self.name)(block, *self.args, **self.kwargs)
        return out if self.index is None else out[self.index]


class _Row:
    """A row of the tarvo tool with its options, run on a block."""

    def __init__(self, row, words):
        self.row, self.words = row, list(words)

    def __call__(self, block):
        return _tarvo._tool_run(self.row, block, self.words)


class _Table:
    """A byte lookup table applied to a block."""

    def __init__(self, table):
        self.table = table

    def __call__(self, block):
        return self.table[block]


class _Resize:
    def __init__(self, num, den, interpolation):
        self.num, self.den, self.interpolation = num, den, interpolation

    def __call__(self, block):
        return ip.resize(block, block.shape[1] * self.num // self.den,
                         block.shape[0] * self.num // self.den, self.interpolation)


class _Plan:
    """How one call tiles: a chunk function, its reach in source pixels, and
    the size factor num / den of the result (1 / 1 unless it resamples)."""

    def __init__(self, fn, radius, periodic=False, num=1, den=1):
        self.fn, self.radius, self.periodic, self.num, self.den = fn, radius, periodic, num, den


def _element_extent(element, anchor):
    """Largest row or column distance an element reaches from its anchor."""
    if element is None:
        h = w = 3
    else:
        shape = np.shape(element)
        if len(shape) < 2 or shape[0] == 0 or shape[1] == 0:
            h = w = 3
        else:
            h, w = shape[0], shape[1]
    ax = anchor[0] if anchor[0] >= 0 else w // 2
    ay = anchor[1] if anchor[1] >= 0 else h // 2
    return max(ax, w - 1 - ax, ay, h - 1 - ay, 0)


def _kernel_extent(shape, anchor):
    h, w = shape
    ax = anchor[0] if anchor[0] >= 0 else w // 2
    ay = anchor[1] if anchor[1] >= 0 else h // 2
    return max(ax, w - 1 - ax, ay, h - 1 - ay, 0)


def _morph(name, row):
    def plan(element=None, anchor=(-1, -1), iterations=1, borderType=_tarvo.BorderFill,
             borderValue=None, kernelWidth=None, kernelHeight=None):
        if kernelWidth is not None or kernelHeight is not None:
            # The binary window form: a band of half the window along the
            # edges is left alone, inside the reach.
            kw, kh = int(kernelWidth or 0), int(kernelHeight or 0)
            r = _row_radius(row, size=max(kw, kh) + 1, iterations=1)
            return _Plan(_Call(name, kw, kh), r)
        size = 2 * _element_extent(element, anchor) + 1
        r = _row_radius(row, size=size, iterations=max(int(iterations), 0))
        kw = dict(element=element, anchor=anchor, iterations=iterations, borderType=borderType)
        if borderValue is not None:
            kw["borderValue"] = borderValue
        return _Plan(_Call(name, **kw), r, periodic=(borderType & 0xFFFF) == _tarvo.BorderWrap)
    return plan


def _threshold(thresh, maxval, type):
    r, note, _ = _tarvo._tool_reach("threshold", dict(value=thresh, max=maxval, type=type))
    if r >= 0:
        return _Plan(_Call("Threshold", thresh, maxval, type, index=1), r)
    if type in (ip.ThreshPercentUp, ip.ThreshPercentDown):
        return "percentile"
    if type & ip.ThreshOtsuBit:
        return "otsu"
    raise ValueError("Threshold of type %d cannot be tiled: %s" % (type, note))


def _filter2d(ddepth, kernel, anchor=(-1, -1), delta=0, borderType=_tarvo.BorderClamp):
    k = np.asarray(kernel)
    r = _kernel_extent(k.shape[:2], anchor)
    return _Plan(_Call("filter2D", ddepth, kernel, anchor, delta, borderType), r,
                 periodic=(borderType & 0xFFFF) == _tarvo.BorderWrap)


def _sep_filter2d(ddepth, rowKernel, columnKernel, anchor=(-1, -1), delta=0,
                  borderType=_tarvo.BorderClamp):
    r = _kernel_extent((np.size(columnKernel), np.size(rowKernel)), anchor)
    return _Plan(_Call("sepFilter2D", ddepth, rowKernel, columnKernel, anchor, delta, borderType),
                 r,
                 periodic=(borderType & 0xFFFF) == _tarvo.BorderWrap)


def _gaussian(sigma, support=None):
    r = _row_radius("gaussian", sigma=sigma, support=support or 0)
    if support is None:
        return _Plan(_Call("gaussian", sigma), r)
    return _Plan(_Call("gaussian", sigma, support), r)


def _equalize(bins=256, mask=None):
    if bins != 256 or mask is not None:
        raise ValueError("histogramEqualize is tiled only in its integer form (bins=256, no mask)")
    return "equalize"


def _pyr(name, num, den, radius):
    def plan(dstsize=(0, 0), borderType=_tarvo.BorderMirrorNoEdge):
        if tuple(dstsize) != (0, 0):
            raise ValueError("%s cannot be tiled with an explicit dstsize" % name)
        return _Plan(_Call(name, (0, 0), borderType), radius,
                     periodic=(borderType & 0xFFFF) == _tarvo.BorderWrap, num=num, den=den)
    return plan


def _no_tiles(name, row):
    def plan(**_):
        r, note, _ = _tarvo._tool_reach(row, {})
        raise ValueError("%s cannot be tiled: it needs the whole picture (%s)" % (name, note))
    return plan


def _point_row(name, row, args):
    """A library function whose tool row declares its reach; args maps the
    function's argument names to the row's options."""
    def plan(**params):
        opts = {args[k]: v for k, v in params.items() if k in args}
        r = _row_radius(row, **opts)
        return _Plan(_Call(name, **params), r)
    return plan


_FUNCS = {
    "gaussian": _gaussian,
    "sobel": _point_row("sobel", "sobel", {"dx": "dx", "dy": "dy", "ksize": "ksize"}),
    "laplace": _point_row("laplace", "laplace", {}),
    "erode": _morph("erode", "erode"),
    "dilate": _morph("dilate", "dilate"),
    "opening": _morph("opening", "opening"),
    "closing": _morph("closing", "closing"),
    "filter2D": _filter2d,
    "sepFilter2D": _sep_filter2d,
    "colorize": _point_row("colorize", "colorize", {}),
    "shiftRGB": _point_row("shiftRGB", "shift-rgb", {}),
    "hsl": _point_row("hsl", "hsl", {}),
    "colorTemperature": _point_row("colorTemperature", "color-temperature", {}),
    "adaptiveThreshold": _point_row("adaptiveThreshold", "adaptive-threshold",
                                    {"blockSize": "block", "method": "method"}),
    "Threshold": _threshold,
    "histogramEqualize": _equalize,
    "canny": _no_tiles("canny", "canny"),
    "histogramStretch": _no_tiles("histogramStretch", "stretch"),
    "pyrDown": _pyr("pyrDown", 1, 2, 2),
    "pyrUp": _pyr("pyrUp", 2, 1, 1),
}


def _resize_plan(width, height, interpolation=ip.ResizeScaleXY, shape=None):
    rows, cols = shape[0], shape[1]
    if width == cols * (width // cols) and height == rows * (width // cols) and width >= cols:
        num, den = width // cols, 1
    elif cols == width * (cols // max(width, 1)) and rows == height * (cols // max(width, 1)):
        num, den = 1, cols // max(width, 1)
    else:
        raise ValueError("resize is tiled only by one whole factor on both sides "
                         "(%dx%d to %dx%d is not)" % (cols, rows, width, height))
    r = _row_radius("resize", scale=num / den, interpolation=interpolation)
    r = -(-r // den) * den  # a whole number of output pixels
    return _Plan(_Resize(num, den, interpolation), r, num=num, den=den)


# ---------------------------------------------------------------- tiling


def _spatial(x):
    return x.chunks[0], x.chunks[1]


def _tile(x, plan, out_dtype, out_channels):
    """Runs plan.fn on every chunk grown by plan.radius and keeps its middle."""
    r, num, den = plan.radius, plan.num, plan.den
    for axis in (0, 1):
        if any(c % den for c in x.chunks[axis]):
            raise ValueError("chunk sizes %s do not divide by %d, the resize factor"
                             % (x.chunks[axis], den))
        if r and min(x.chunks[axis]) < r:
            raise ValueError("a chunk of %d pixels is smaller than the reach %d: rechunk"
                             % (min(x.chunks[axis]), r))
    depth = {0: r, 1: r}
    boundary = {0: "periodic" if plan.periodic else "none",
                1: "periodic" if plan.periodic else "none"}
    if x.ndim == 3:
        depth[2], boundary[2] = 0, "none"
    grown = da.overlap.overlap(x, depth=depth, boundary=boundary) if r else x
    nb = x.numblocks
    t = r * num // den  # halo in result pixels
    fn = plan.fn

    def run(block, block_info=None):
        loc = block_info[0]["chunk-location"]
        out = np.asarray(fn(np.ascontiguousarray(block)))
        if out.size == 0:
            raise ValueError("the library refused a chunk of shape %s" % (block.shape,))
        if not t:
            return out
        cut = []
        for axis in (0, 1):
            lo = t if plan.periodic or loc[axis] > 0 else 0
            hi = t if plan.periodic or loc[axis] < nb[axis] - 1 else 0
            cut.append(slice(lo, out.shape[axis] - hi))
        return out[tuple(cut)]

    chunks = tuple(tuple(c * num // den for c in x.chunks[a]) for a in (0, 1))
    kwargs = {}
    if out_channels:
        chunks += ((out_channels,),)
        if x.ndim == 2:
            kwargs["new_axis"] = 2
    elif x.ndim == 3:
        kwargs["drop_axis"] = 2
    return grown.map_blocks(run, chunks=chunks, dtype=out_dtype,
                            meta=np.empty((0,) * len(chunks), out_dtype), **kwargs)


def _probe(fn, x, radius):
    """Result dtype and channel count (0 for a 2-D result) of fn on a small
    picture like x's chunks."""
    side = 2 * radius + 16
    shape = (side, side) + tuple(x.shape[2:])
    out = np.asarray(fn(np.zeros(shape, x.dtype)))
    if out.size == 0:
        raise ValueError("the library refuses %s pictures with %d channel(s) for this call"
                         % (x.dtype, x.shape[2] if x.ndim == 3 else 1))
    return out.dtype, (out.shape[2] if out.ndim == 3 else 0)


def _histogram(x):
    """Histogram of a uint8 dask array, summed over its chunks (computed now)."""
    def count(b):
        return np.bincount(np.asarray(b).ravel(), minlength=256).astype(np.int64)
    parts = [dask.delayed(count)(b) for b in x.to_delayed().ravel()]
    return np.asarray(dask.compute(dask.delayed(sum)(parts))[0], dtype=np.int64)


def _sorted_picture(hist, shape):
    """A picture of x's shape with x's histogram: the library reads only that
    from it for the whole-picture statistics."""
    return np.repeat(np.arange(256, dtype=np.uint8), hist).reshape(shape)


def apply(op, array, **params):
    """Runs tarvo.ip.<op> over a dask array chunk by chunk; equals the call on
    the whole array bit for bit. op: a tarvo.ip function or its name, or the
    name of a tarvo tool row (params are then its options, '_' for '-').
    array: a dask or numpy array of shape (rows, cols) or (rows, cols, ch).
    Raises ValueError naming the reason when the operation cannot be tiled
    this way. Returns a dask array."""
    name = op if isinstance(op, str) else getattr(op, "__name__", str(op))
    x = array if isinstance(array, da.Array) else da.from_array(np.asarray(array))
    if x.ndim not in (2, 3):
        raise ValueError("apply takes (rows, cols) or (rows, cols, channels) arrays")
    if x.ndim == 3 and x.numblocks[2] != 1:
        x = x.rechunk({2: -1})
    if name == "resize":
        plan = _resize_plan(shape=x.shape, **params)
    elif name in _FUNCS:
        plan = _FUNCS[name](**params)
    elif name in _tarvo._tool_rows():
        return apply_row(name, x, **params)
    else:
        raise ValueError("%s has no tiled form" % name)

    if plan in ("otsu", "percentile", "equalize"):
        if x.dtype != np.uint8 or x.ndim != 2:
            raise ValueError("%s is tiled on one-channel uint8 pictures only" % name)
        hist = _histogram(x)
        whole = _sorted_picture(hist, x.shape)
        if plan == "percentile":
            # Samples below the level k get one value, the others the other:
            # a binary threshold at k - 1.
            k, _ = ip.Threshold(whole, params["thresh"], params["maxval"], params["type"])
            fixed = ip.ThreshBinary if params["type"] == ip.ThreshPercentUp else ip.ThreshBinaryInv
            plan = _Plan(_Call("Threshold", k - 1, params["maxval"], fixed, index=1), 0)
        elif plan == "otsu":
            level, _ = ip.Threshold(whole, params["thresh"], params["maxval"], params["type"])
            fixed = params["type"] & ~ip.ThreshOtsuBit
            plan = _Plan(_Call("Threshold", level, params["maxval"], fixed, index=1), 0)
        else:
            eq = np.asarray(ip.histogramEqualize(whole)).ravel()
            starts = np.concatenate(([0], np.cumsum(hist)[:-1]))
            table = np.where(hist > 0, eq[np.minimum(starts, eq.size - 1)], 0).astype(np.uint8)
            plan = _Plan(_Table(table), 0)
    dtype, channels = _probe(plan.fn, x, plan.radius)
    return _tile(x, plan, dtype, channels)


def apply_row(row, array, **options):
    """Runs a row of the tarvo tool over a dask array chunk by chunk; equals
    `tarvo <row>` on the whole picture bit for bit. options are the row's
    (as keywords, '_' for '-'). Rows that need the whole picture or change its
    size raise ValueError with the reason. Returns a dask array."""
    x = array if isinstance(array, da.Array) else da.from_array(np.asarray(array))
    if x.ndim not in (2, 3):
        raise ValueError("apply_row takes (rows, cols) or (rows, cols, channels) arrays")
    if x.ndim == 3 and x.numblocks[2] != 1:
        x = x.rechunk({2: -1})
    words = []
    for k, v in options.items():
        words += ["--" + k.replace("_", "-"), str(v)]
    r, note, resizes = _tarvo._tool_reach(row, options)
    if r < 0:
        raise ValueError("%s cannot be tiled: it needs the whole picture (%s)" % (row, note))
    if resizes:
        raise ValueError("%s changes the picture's size: use the library function" % row)
    plan = _Plan(_Row(row, words), r)
    dtype, channels = _probe(plan.fn, x, plan.radius)
    return _tile(x, plan, dtype, channels)


# ---------------------------------------------------------------- batches


def parse_chain(chain):
    """A chain as a list of (row, [options]): accepts "gaussian --sigma 2",
    ["gaussian", "--sigma", "2"], or a list of either, or the words after the
    folders on the command line ("--" before each operation)."""
    if isinstance(chain, str):
        chain = [chain]
    chain = list(chain)
    if chain and all(isinstance(w, str) for w in chain) and "--" in chain:
        steps, cur = [], None
        for w in chain:
            if w == "--":
                cur = []
                steps.append(cur)
            elif cur is None:
                raise ValueError("expected '--' before an operation, got '%s'" % w)
            else:
                cur.append(w)
        chain = steps
    elif chain and all(isinstance(w, str) for w in chain) and " " not in chain[0] \
            and len(chain) > 1 and chain[1].startswith("--"):
        chain = [chain]
    out = []
    for step in chain:
        words = step.split() if isinstance(step, str) else [str(w) for w in step]
        if not words:
            raise ValueError("an operation name must follow '--'")
        if words[0] not in _tarvo._tool_rows():
            raise ValueError("unknown operation '%s'" % words[0])
        out.append((words[0], words[1:]))
    if not out:
        raise ValueError("no operation given")
    return out


def run_file(src, dst, chain):
    """Runs a parsed chain on one file and writes dst through a temporary and
    a rename. Returns (src, None) or (src, reason); never raises."""
    try:
        img = _tarvo.imread(src, _tarvo.IMG_UNCHANGED)
        for row, options in chain:
            img = _tarvo._tool_run(row, img, options)
        folder = os.path.dirname(dst) or "."
        os.makedirs(folder, exist_ok=True)
        base, ext = os.path.splitext(os.path.basename(dst))
        temp = os.path.join(folder, ".%s.tarvo-%d.tmp%s" % (base, os.getpid(), ext))
        try:
            _tarvo.imwrite(temp, img)
            os.replace(temp, dst)
        finally:
            if os.path.exists(temp):
                os.remove(temp)
        return src, None
    except Exception as e:  # the reason goes to the caller's list
        return src, str(e) or type(e).__name__


def batch(paths, chain, out_dir, client=None, root=None):
    """Runs a chain of tool rows over files, one Dask task per file, on the
    given distributed.Client (or the local threaded scheduler). Each result
    goes to out_dir under its path relative to root (default: the folder the
    paths share). Returns a list of (path, reason) in the order of paths,
    reason None for success."""
    steps = parse_chain(chain)
    paths = [os.fspath(p) for p in paths]
    if not paths:
        return []
    if root is None:
        root = os.path.commonpath([os.path.dirname(os.path.abspath(p)) for p in paths])
    targets = [os.path.join(out_dir, os.path.relpath(os.path.abspath(p), root)) for p in paths]
    if client is not None:
        futures = client.map(run_file, paths, targets, [steps] * len(paths), pure=False)
        return client.gather(futures)
    tasks = [dask.delayed(run_file, pure=False)(p, t, steps) for p, t in zip(paths, targets)]
    return list(dask.compute(*tasks, scheduler="threads"))
