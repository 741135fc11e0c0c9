#!/usr/bin/env python3
"""Turns trvx_benchmark's --summary lines into the tables of the native core benchmark
that make bench prints after the DLL's (bench/report.py): the core on x86-64 against
libjpeg-turbo and ffmpeg, for profiling.
Usage: core_report.py SUMMARY"""
import math
import sys

PATHS = ["SSE2", "plain", "SSE", "MMX"]
PEERS = [("libjpeg-turbo", "default", "libjpeg-turbo, default SIMD"), ("libjpeg-turbo", "SSE2", "libjpeg-turbo, SSE2"),
         ("libjpeg-turbo", "none", "libjpeg-turbo, no SIMD"), ("ffmpeg", "default", "ffmpeg (libavcodec)")]
CONFIGURATIONS = [(path, threads) for path in PATHS for threads in (2, 1)]
LABEL, WIDTH = 31, 8


def like_for_like(path):
    # The codec's SIMD paths against libjpeg-turbo's SSE2, its plain code against no SIMD.
    return "none" if path == "plain" else "SSE2"


def name(path, threads):
    return f"{path}, {threads} thread{'s' if threads == 2 else ''}"


def mean(values):
    values = [v for v in values if v > 0]
    return math.exp(sum(map(math.log, values)) / len(values)) if values else 0.0


def main(summary_path):
    fps, groups = {}, {}
    with open(summary_path) as summary:
        for line in summary:
            direction, size, fmt, side, configuration, threads, value = line.rstrip("\n").split("\t")
            groups.setdefault(direction, [])
            if (size, fmt) not in groups[direction]:
                groups[direction].append((size, fmt))
            fps[(direction, size, fmt, side, configuration, int(threads))] = float(value)

    def ratio(codec, peer):
        return codec / peer if peer > 0 else 0.0

    print("native core benchmark (trvx_benchmark, x86-64, the codec's sessions called directly)")
    for direction, columns in groups.items():
        sizes = list(dict.fromkeys(size for size, _ in columns))
        print(("\n" + " " * LABEL + "".join(f"{size:^{WIDTH * sum(s == size for s, _ in columns)}}"
                                             for size in sizes)).rstrip())

        def header(title, last=""):
            print((f"{title:<{LABEL}}" + "".join(f"{fmt:>{WIDTH}}" for _, fmt in columns) + f"{last:>{WIDTH}}").rstrip())

        header(f"{direction}, frames per second")
        rows = [(f"codec {name(p, t)}", [fps[(direction, *c, "codec", p, t)] for c in columns])
                for p, t in CONFIGURATIONS]
        rows += [(label, [fps[(direction, *c, side, mode, 1)] for c in columns]) for side, mode, label in PEERS]
        for label, values in rows:
            print(f"  {label:<{LABEL - 2}}" + "".join(f"{v:{WIDTH}.1f}" for v in values))
        for title, peer_of in (("codec / libjpeg-turbo", lambda p: ("libjpeg-turbo", like_for_like(p))),
                               ("codec / ffmpeg", lambda p: ("ffmpeg", "default"))):
            header(f"{direction}, {title}", "mean")
            for p, t in CONFIGURATIONS:
                ratios = [ratio(fps[(direction, *c, "codec", p, t)], fps[(direction, *c, *peer_of(p), 1)])
                          for c in columns]
                print(f"  {name(p, t):<{LABEL - 2}}" + "".join(f"{r:{WIDTH}.2f}" for r in ratios + [mean(ratios)]))
    print("\ncodec / libjpeg-turbo: the codec's SIMD paths against its SSE2, plain code against no SIMD;"
          "\nmean: geometric mean over sizes and formats.")


if __name__ == "__main__":
    main(sys.argv[1])
