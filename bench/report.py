#!/usr/bin/env python3
"""Turns the summary lines of trvx_dll_bench and trvx_peer_bench (bench/dll_groups.h)
into the tables make bench prints, and the mean ratios into a data file for
bench/chart.gp.
Usage: report.py SUMMARY CHART_DATA"""
import math
import sys

DLL, DLL64, I386, X64, FFMPEG = "trvx.dll", "trvx.dll x64", "libjpeg-turbo i386", "libjpeg-turbo x86-64", "ffmpeg"
CAMERA = "ffmpeg-420"
# TRVX_CPU values in the order of the tables; the machine's own class comes last.
FORCED = ["31", "15", "3", "0", "159"]
# The kernels a processor class runs (AMD with SSE2, 159, the plain arithmetic in
# SSE2), and the libjpeg-turbo mode each is held against: the same instruction set, and
# for 159, whose bytes are the plain ones, what a host would otherwise run.
PATH = {"0": "plain", "1": "MMX", "3": "MMX", "15": "SSE", "31": "SSE2", "135": "SSE", "143": "SSE",
        "159": "plain SSE2"}
PEER_MODE = {"plain": "none", "MMX": "MMX", "SSE": "SSE", "SSE2": "SSE2", "plain SSE2": "default"}
I386_MODES = ["default", "SSE2", "SSE", "MMX", "none"]
X64_MODES = ["default", "SSE2", "none"]
FRAMES = {"-": "", "two-thread": "2-thr.", "one-thread": "1-thr.", "libjpeg-turbo": "libjpeg", CAMERA: "ffm420"}
HEADLINE = {"encode": None, "decode": "two-thread"}
TITLE = {"encode": "compress (ICCompress, quality 7000)", "decode": "decompress (ICDecompress)"}
LABEL, WIDTH = 34, 8


def class_of(configuration):
    return configuration.split()[-1]


def path_of(configuration):
    return PATH.get(class_of(configuration), "plain")


def dll_label(configuration, side=DLL):
    build = " x64" if side == DLL64 else ""
    if configuration.startswith("own"):
        return f"own{build} {class_of(configuration)} ({path_of(configuration)})"
    return f"{path_of(configuration)}{build} ({configuration})"


def processors_label(processors):
    return f"{processors} CPU{'s' if processors != 1 else ''}"


def target(direction, configuration, processors, peer, side=DLL, mode=None):
    """The goal of a DLL/peer ratio, or None."""
    path = path_of(configuration)
    if side == DLL64:
        return 1.6 if path == "SSE2" and processors == 2 else None
    if peer == "i386":
        if path == "plain SSE2":
            return (1.6 if mode == "none" else 1.0) if processors == 2 else None
        if processors == 1:
            return 0.9
        return 1.6 if path in ("SSE2", "plain") else None
    return 1.0 if path == "SSE2" and processors == 2 else None


def mean(values):
    values = [v for v in values if v > 0]
    return math.exp(sum(map(math.log, values)) / len(values)) if values else 0.0


def main(summary_path, chart_path):
    fps, columns, configurations = {}, {}, []
    with open(summary_path) as summary:
        for line in summary:
            direction, size, fmt, frames, side, configuration, processors, value = line.rstrip("\r\n").split("\t")
            column = (size, frames, fmt)
            columns.setdefault(direction, [])
            if column not in columns[direction]:
                columns[direction].append(column)
            if side in (DLL, DLL64) and (side, configuration, int(processors)) not in configurations:
                configurations.append((side, configuration, int(processors)))
            fps[(direction, column, side, configuration, int(processors))] = float(value)
    configurations.sort(key=lambda c: (c[0] == DLL64, FORCED.index(c[1]) if c[1] in FORCED else len(FORCED), -c[2]))

    def value(direction, column, side, configuration, processors=1):
        return fps.get((direction, column, side, configuration, processors), 0.0)

    def ratio(a, b):
        return a / b if a > 0 and b > 0 else 0.0

    def table(direction, title, cols, rows, extra=()):
        sizes = list(dict.fromkeys(size for size, _, _ in cols))
        print(("\n" + " " * LABEL + "".join(f"{size:^{WIDTH * sum(s == size for s, _, _ in cols)}}"
                                            for size in sizes)).rstrip())
        if direction == "decode":
            print((" " * LABEL + "".join(f"{FRAMES[frames]:>{WIDTH}}" for _, frames, _ in cols)).rstrip())
        print(f"{title:<{LABEL}}" + "".join(f"{fmt:>{WIDTH}}" for _, _, fmt in cols) +
              "".join(f"{e:>{WIDTH}}" for e in extra))
        for label, values, digits, tail in rows:
            if any(values):
                print(f"  {label:<{LABEL - 2}}" + "".join(f"{v:{WIDTH}.{digits}f}" for v in values) + tail)

    chart, verdicts = {}, []
    for direction in ("encode", "decode"):
        if direction not in columns:
            continue
        cols = columns[direction]
        print(f"\n{TITLE[direction]}")
        rows = [(f"dll {dll_label(c, d)}, {processors_label(p)}", [value(direction, col, d, c, p) for col in cols], 1, "")
                for d, c, p in configurations]
        rows += [(f"i386 libjpeg-turbo {m}", [value(direction, col, I386, m) for col in cols], 1, "")
                 for m in I386_MODES]
        rows += [(f"x86-64 libjpeg-turbo {m}", [value(direction, col, X64, m) for col in cols], 1, "")
                 for m in X64_MODES]
        rows.append(("x86-64 ffmpeg 5.1, one thread", [value(direction, col, FFMPEG, "one thread") for col in cols], 1, ""))
        table(direction, "frames/s", cols, rows)

        # The headline columns carry the means and the targets; the others follow alone.
        headline = [col for col in cols if HEADLINE[direction] in (None, col[1])]
        camera = [col for col in cols if col[1] == CAMERA]
        others = [col for col in cols if col not in headline and col not in camera]
        means = {}
        for peer, title in (("i386", "dll / i386 same path"), ("x86-64", "dll / x86-64 default")):
            side = I386 if peer == "i386" else X64
            rows, other_rows = [], []
            for d, c, p in configurations:
                if d == DLL64 and peer == "i386":
                    continue
                modes = [PEER_MODE[path_of(c)]] if peer == "i386" else ["default"]
                # 159 also answers to the peer without SIMD, what its bytes are.
                if peer == "i386" and path_of(c) == "plain SSE2":
                    modes.append("none")
                for mode in modes:

                    def ratios(group):
                        return [ratio(value(direction, col, d, c, p), value(direction, col, side, mode)) for col in group]

                    chosen = ratios(headline)
                    goal = target(direction, c, p, peer, d, mode)
                    means.setdefault((d, c, p, peer), mean(chosen))
                    verdict = ""
                    if goal is not None:
                        verdict = f"  >={goal:.1f} " + ("met" if min(chosen) >= goal else "MISSED")
                        verdicts.append((direction, f"{dll_label(c, d)}, {processors_label(p)} / {peer} {mode}",
                                         min(chosen), mean(chosen), goal))
                    label = f"{dll_label(c, d)}, {processors_label(p)} / {mode}"
                    rows.append((label, chosen + [mean(chosen), min(chosen)], 2, verdict))
                    other_rows.append((label, ratios(others), 2, ""))
            table(direction, title, headline, rows, ("mean", "worst"))
            if others:
                table(direction, title, others, other_rows)
        if camera:
            table(direction, "dll / ffmpeg, its own frames", camera,
                  [(f"{dll_label(c, d)}, {processors_label(p)}",
                    [ratio(value(direction, col, d, c, p), value(direction, col, FFMPEG, "one thread")) for col in camera],
                    2, "") for d, c, p in configurations])
        chart[direction] = [(c, p, means[(d, c, p, "i386")], means[(d, c, p, "x86-64")], target(direction, c, p, "i386"),
                             target(direction, c, p, "x86-64")) for d, c, p in configurations if d == DLL]

    print(f"\nRatios pair each path with {I386} in the same instruction set: SSE2 with SSE2, SSE with"
          "\nSSE, MMX with MMX, plain code with no SIMD; AMD's 159, plain bytes from SSE2, with the"
          "\ndefault. Mean (geometric) and worst are over every column when compressing, over the"
          "\ncodec's own two-thread frames when decompressing.")
    print("\ntargets (worst ratio):")
    for direction, what, worst, average, goal in verdicts:
        print(f"  {direction:<7}{what:<44}{worst:6.2f}  (mean {average:.2f})  >= {goal:.1f}  "
              + ("met" if worst >= goal else "MISSED"))

    with open(chart_path, "w") as data:
        for direction in ("encode", "decode"):
            data.write(f"# {direction}: configuration, processors, mean ratio to i386 same path, to x86-64 default,"
                       " their targets\n")
            for c, p, a, b, ta, tb in chart.get(direction, []):
                label = dll_label(c).replace(" (", "\\n(")
                data.write(f'"{label}" "{processors_label(p)}" {a:.3f} {b:.3f} '
                           f'{"NaN" if ta is None else ta} {"NaN" if tb is None else tb}\n')
            data.write("\n\n")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
