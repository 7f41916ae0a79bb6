"""python3 -m tarvo.batch [--scheduler ADDRESS] [--jobs N] [--recursive] [--quiet]
IN_DIR OUT_DIR -- OP [options] [-- OP [options] ...]

The tool's batch command as Dask tasks, one per file: on the cluster whose
scheduler listens at ADDRESS, or on local threads without --scheduler. Each
result is written under the same relative name in OUT_DIR through a temporary
file and a rename. Progress on stderr; failures are listed at the end with
their reason and the exit status is then 1. Ctrl-C cancels the files not yet
started, lets those in hand finish and exits with status 130.
"""

import os
import sys
import time

from . import dask as _tdask


def _usage(to):
    to.write(__doc__.split("\n\n")[0] + "\n")


def _files(folder, recursive, skip):
    out = []
    skip = os.path.abspath(skip)
    for base, dirs, names in os.walk(folder):
        dirs[:] = sorted(d for d in dirs if not d.startswith(".")
                         and os.path.abspath(os.path.join(base, d)) != skip)
        out += [os.path.join(base, n) for n in names
                if not n.startswith(".") and os.path.isfile(os.path.join(base, n))]
        if not recursive:
            break
    return sorted(out, key=lambda p: os.path.relpath(p, folder))


class _Progress:
    def __init__(self, total, quiet):
        self.total, self.quiet, self.done = total, quiet or total == 0, 0
        self.tty = sys.stderr.isatty()
        self.start = time.monotonic()
        self.tenth = 0

    def advance(self):
        self.done += 1
        if self.quiet:
            return
        elapsed = time.monotonic() - self.start
        if self.tty:
            rate = self.done / elapsed if elapsed > 0 else 0.0
            left = (self.total - self.done) / rate if rate > 0 else 0
            filled = 30 * self.done // self.total
            sys.stderr.write("\r[%s%s] %d/%d  %.1f pictures/s  %d:%02d left " % (
                "#" * filled, " " * (30 - filled), self.done, self.total, rate,
                int(left) // 60, int(left) % 60))
            if self.done == self.total:
                sys.stderr.write("\n")
        else:
            tenth = self.done * 10 // self.total
            if tenth <= self.tenth:
                return
            self.tenth = tenth
            sys.stderr.write("tarvo batch: %d/%d pictures (%d%%), %.1f s\n"
                             % (self.done, self.total, tenth * 10, elapsed))
        sys.stderr.flush()


def main(argv=None):
    argv = list(sys.argv[1:] if argv is None else argv)
    scheduler, jobs, recursive, quiet, folders = None, None, False, False, []
    i = 0
    while i < len(argv) and argv[i] != "--":
        w = argv[i]
        if w in ("-h", "--help"):
            _usage(sys.stdout)
            return 0
        if w in ("--scheduler", "--jobs"):
            if i + 1 >= len(argv):
                sys.stderr.write("tarvo batch: option '%s' needs a value\n" % w)
                return 2
            if w == "--scheduler":
                scheduler = argv[i + 1]
            else:
                try:
                    jobs = int(argv[i + 1])
                except ValueError:
                    jobs = 0
                if not 1 <= jobs <= 4096:
                    sys.stderr.write("tarvo batch: option '--jobs' needs a whole number in "
                                     "1..4096, got '%s'\n" % argv[i + 1])
                    return 2
            i += 2
            continue
        if w == "--recursive":
            recursive = True
        elif w == "--quiet":
            quiet = True
        elif w.startswith("-"):
            sys.stderr.write("tarvo batch: unknown batch option '%s'\n" % w)
            return 2
        else:
            folders.append(w)
        i += 1
    if len(folders) != 2:
        sys.stderr.write("tarvo batch: batch needs an input and an output folder\n")
        return 2
    try:
        chain = _tdask.parse_chain(argv[i:])
    except ValueError as e:
        sys.stderr.write("tarvo batch: %s\n" % e)
        return 2
    src, dst = folders
    if not os.path.isdir(src):
        sys.stderr.write("tarvo batch: '%s' is not a folder\n" % src)
        return 2
    os.makedirs(dst, exist_ok=True)
    if os.path.samefile(src, dst):
        sys.stderr.write("tarvo batch: the output folder must differ from the input folder\n")
        return 2
    files = _files(src, recursive, dst)
    targets = [os.path.join(dst, os.path.relpath(p, src)) for p in files]
    progress = _Progress(len(files), quiet)
    results = {}
    interrupted = False
    if scheduler:
        import distributed
        with distributed.Client(scheduler) as client:
            futures = client.map(_tdask.run_file, files, targets, [chain] * len(files),
                                 pure=False)
            try:
                for f in distributed.as_completed(futures):
                    path, reason = f.result()
                    results[path] = reason
                    progress.advance()
            except KeyboardInterrupt:
                interrupted = True
                client.cancel([f for f in futures if not f.done()])
    else:
        from concurrent.futures import ThreadPoolExecutor, as_completed
        # The library releases the GIL while it works: threads run in parallel.
        with ThreadPoolExecutor(max_workers=jobs or os.cpu_count()) as pool:
            futures = [pool.submit(_tdask.run_file, p, t, chain) for p, t in zip(files, targets)]
            try:
                for f in as_completed(futures):
                    path, reason = f.result()
                    results[path] = reason
                    progress.advance()
            except KeyboardInterrupt:
                interrupted = True
                for f in futures:
                    f.cancel()
    failed = [(p, results[p]) for p in files if results.get(p)]
    if failed:
        sys.stderr.write("tarvo batch: %d of %d failed:\n" % (len(failed), len(files)))
        for p, reason in failed:
            sys.stderr.write("  %s: %s\n" % (os.path.relpath(p, src), reason))
    if interrupted:
        sys.stderr.write("tarvo batch: interrupted; %d done\n" % len(results))
        return 130
    if not quiet and files:
        sys.stderr.write("tarvo batch: %d pictures in %.1f s, %d failed\n"
                         % (len(files), time.monotonic() - progress.start, len(failed)))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
