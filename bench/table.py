#!/usr/bin/env python3
"""Prints the benchmark table of bench/run from Google Benchmark JSON files.

    python3 bench/table.py encoder.json headers.json ... stream.json
    python3 bench/table.py --stream WORK > stream.json

The second form gathers the 1 GiB download rounds of bench/run (ours in
WORK/stream-N.json, the curl tool's "bytes seconds" in WORK/curl-N.txt) into
one file holding the median round of each.

Each figure is the median of the repetitions, taken from the rate counters
(bytes_per_second, items_per_second), which Google Benchmark computes from CPU
time, or from wall-clock time for the benchmarks that ask for it (the loopback
ones). A ratio is always "ours / peer" in speed, so above 1 means we are faster.
Where a benchmark reports cpu_us (the client's CPU microseconds per request,
all threads), the CPU column shows ours / peer and their ratio in the same
sense: peer time / our time, above 1 meaning we spend less.
"""

import glob
import json
import sys

MIB = 1024.0 * 1024.0

# (goal, our benchmark, peer benchmark or None, what is compared, target)
# what: "bytes" compares bytes_per_second, "items" items_per_second,
# "latency" shows ns per item, "rss" the peak resident set.
# target: ("ratio>=", x) against this peer, ("ratio+cpu>=", x) the same for
# the rate and for the CPU time per request, ("fastest>=", x) against the
# fastest peer of the case (judged on that row), ("ns<=", x), ("rss<", bytes),
# or None for a figure shown for reference.
ROWS = [
    ("1 encode", "BM_PercentEncoder_Random1MiB", "BM_CurlEscape_Random1MiB", "bytes", ("fastest>=", 2.0)),
    ("1 encode", "BM_PercentEncoder_Random1MiB", "BM_BoostUrlEncode_Random1MiB", "bytes", ("fastest>=", 2.0)),
    ("1 encode", "BM_PercentEncoder_Random1MiB", "BM_Memcpy_Random1MiB", "bytes", None),
    ("1 encode", "BM_PercentEncoder_Text1MiB", "BM_CurlEscape_Text1MiB", "bytes", ("fastest>=", 2.0)),
    ("1 encode", "BM_PercentEncoder_Text1MiB", "BM_BoostUrlEncode_Text1MiB", "bytes", ("fastest>=", 2.0)),
    ("1 encode", "BM_PercentEncoder_Text1MiB", "BM_Memcpy_Text1MiB", "bytes", None),
    ("1 encode", "BM_PercentEncoder_Query40B", "BM_CurlEscape_Query40B", "bytes", ("ratio>", 1.0)),
    ("1 encode", "BM_PercentEncoder_Query40B", "BM_BoostUrlEncode_Query40B", "bytes", ("ratio>", 1.0)),
    ("1 encode", "BM_PercentEncoder_Query40B", "BM_Memcpy_Query40B", "bytes", None),
    ("2 headers", "BM_HttpHeaders_ResponseWorkload", "BM_HttplibHeaders_ResponseWorkload", "items", ("ratio>=", 1.0)),
    ("3 parse", "BM_HttpHeaders_AddHeader", None, "bytes", None),
    ("3 parse", "BM_ContentType_Parse", None, "bytes", None),
    ("3 parse", "BM_Accept_Parse", None, "bytes", None),
    ("3 parse", "BM_Cookie_Parse", None, "bytes", None),
    ("4 frame", "BM_HttpClient_MakeRequest", None, "latency", ("ns<=", 2000.0)),
    ("5 loopback", "BM_CurlHttpClient_Get1KiB", "BM_CurlEasy_Get1KiB", "bytes", ("ratio+cpu>=", 0.97)),
    ("5 loopback", "BM_CurlHttpClient_Post1KiB", "BM_CurlEasy_Post1KiB", "items", ("ratio>=", 0.95)),
    ("5 loopback", "BM_CurlHttpClient_Get64KiB", "BM_CurlEasy_Get64KiB", "bytes", ("ratio>=", 1.0)),
    ("5 loopback", "BM_CurlHttpClient_Get1MiB", "BM_CurlEasy_Get1MiB", "bytes", ("ratio>=", 1.0)),
    ("5 loopback", "BM_CurlHttpClient_Async16x1KiB", "BM_CurlMulti_Async16x1KiB", "bytes", ("ratio>=", 0.8)),
    ("5 loopback", "BM_CurlHttpClient_AsyncFutures16x1KiB", "BM_CurlMulti_Async16x1KiB", "bytes", ("ratio>=", 0.75)),
    ("5 loopback", "BM_CurlHttpClient_Async256x1KiB", "BM_CurlMulti_Async256x1KiB", "bytes", ("ratio>=", 0.85)),
    ("5 loopback", "BM_CurlHttpClient_AsyncFutures256x1KiB", "BM_CurlMulti_Async256x1KiB", "bytes", None),
    ("5 loopback", "BM_CurlHttpClient_Async16x1MiB", "BM_CurlMulti_Async16x1MiB", "bytes", ("ratio>=", 1.0)),
    ("5 loopback", "BM_CurlHttpClient_AsyncFutures16x1MiB", "BM_CurlMulti_Async16x1MiB", "bytes", None),
    ("5 loopback", "BM_CurlHttpClient_StreamToFile1GiB", "BM_CurlTool_StreamToFile1GiB", "bytes", ("ratio>=", 0.95)),
    ("5 loopback", "BM_CurlHttpClient_StreamToFile1GiB", None, "rss", ("rss<", 32 * MIB)),
]


def median_entry(entries):
    ordered = sorted(entries, key=lambda entry: entry["bytes_per_second"])
    return ordered[len(ordered) // 2]


def gather_stream(work):
    """The median download of ours and of the curl tool, as Google Benchmark JSON."""
    ours = []
    for path in sorted(glob.glob(work + "/stream-*.json")):
        with open(path, encoding="utf-8") as handle:
            ours.extend(json.load(handle)["benchmarks"])
    tool = []
    for path in sorted(glob.glob(work + "/curl-*.txt")):
        with open(path, encoding="utf-8") as handle:
            size, seconds = (float(field) for field in handle.read().split())
        tool.append({"name": "BM_CurlTool_StreamToFile1GiB", "run_type": "iteration", "real_time": seconds,
                     "time_unit": "s", "bytes_per_second": size / seconds})
    json.dump({"benchmarks": [median_entry(ours), median_entry(tool)]}, sys.stdout)
    print()


def load(paths):
    """Maps each benchmark name to its median entry (or its only entry)."""
    results = {}
    for path in paths:
        with open(path, encoding="utf-8") as handle:
            data = json.load(handle)
        for entry in data.get("benchmarks", []):
            name = entry.get("run_name", entry["name"]).replace("/real_time", "")
            if entry.get("run_type") == "aggregate":
                if entry.get("aggregate_name") == "median":
                    results[name] = entry
            else:
                results.setdefault(name, entry)
    return results


def speed(entry, what):
    if what == "bytes":
        return entry.get("bytes_per_second")
    if what in ("items", "latency"):
        return entry.get("items_per_second")
    return None


def show(entry, what):
    if entry is None:
        return "missing"
    if what == "rss":
        return "peak RSS %.1f MiB (%.0f MiB/s)" % (entry["peak_rss_bytes"] / MIB, entry["bytes_per_second"] / MIB)
    rate = speed(entry, what)
    if rate is None:
        return "no counter"
    if what == "bytes":
        per_item = entry.get("items_per_second")
        text = "%.1f MiB/s" % (rate / MIB)
        if per_item:
            text += " (%.0f ns)" % (1e9 / per_item)
        return text
    if what == "latency":
        return "%.0f ns" % (1e9 / rate)
    return "%.0f /s (%.0f ns)" % (rate, 1e9 / rate)


def cpu(entry):
    return entry.get("cpu_us") if entry is not None else None


def show_cpu(mine, theirs):
    """Our and the peer's CPU microseconds per request and their ratio, or "-"."""
    ours, peers = cpu(mine), cpu(theirs)
    if ours is None:
        return "-"
    if peers is None:
        return "%.1f" % ours
    return "%.1f / %.1f (%.2fx)" % (ours, peers, peers / ours)


def main(paths):
    results = load(paths)
    fastest = {}
    for _, ours, peer, what, target in ROWS:
        if target and target[0] == "fastest>=" and peer in results:
            rate = speed(results[peer], what)
            if rate and rate > fastest.get(ours, (0.0, None))[0]:
                fastest[ours] = (rate, peer)

    header = ("Goal", "Ours", "Our figure", "Peer", "Peer figure", "Ours/peer", "CPU us/request ours / peer",
              "Target", "Verdict")
    rows = []
    met = missed = 0
    for goal, ours, peer, what, target in ROWS:
        mine = results.get(ours)
        theirs = results.get(peer) if peer else None
        ratio = None
        if mine is not None and theirs is not None and speed(mine, what) and speed(theirs, what):
            ratio = speed(mine, what) / speed(theirs, what)
        verdict = ""
        target_text = ""
        if target:
            kind, value = target
            ok = None
            if kind == "fastest>=":
                target_text = ">= %.2fx fastest peer" % value
                if fastest.get(ours, (0.0, None))[1] == peer:
                    ok = ratio is not None and ratio >= value
            elif kind == "ratio>=":
                target_text = ">= %.2fx" % value
                ok = ratio is not None and ratio >= value
            elif kind == "ratio+cpu>=":
                target_text = ">= %.2fx, CPU too" % value
                ok = bool(ratio is not None and ratio >= value and cpu(mine) and cpu(theirs) and
                      cpu(theirs) / cpu(mine) >= value)
            elif kind == "ratio>":
                target_text = "> %.2fx" % value
                ok = ratio is not None and ratio > value
            elif kind == "ns<=":
                target_text = "<= %.0f ns" % value
                ok = mine is not None and speed(mine, what) is not None and 1e9 / speed(mine, what) <= value
            elif kind == "rss<":
                target_text = "< %.0f MiB" % (value / MIB)
                ok = mine is not None and mine["peak_rss_bytes"] < value
            if ok is not None:
                verdict = "met" if ok else "MISSED"
                met += 1 if ok else 0
                missed += 0 if ok else 1
        rows.append((goal, ours.replace("BM_", ""), show(mine, what),
                     peer.replace("BM_", "") if peer else "-", show(theirs, what) if peer else "-",
                     "%.2fx" % ratio if ratio is not None else "-", show_cpu(mine, theirs),
                     target_text or "reference", verdict))

    widths = [max(len(str(row[i])) for row in rows + [header]) for i in range(len(header))]
    line = lambda cells: "| " + " | ".join(str(c).ljust(w) for c, w in zip(cells, widths)) + " |"
    print(line(header))
    print("|" + "|".join("-" * (w + 2) for w in widths) + "|")
    for row in rows:
        print(line(row))
    print()
    print("Medians of the repetitions. Goals met: %d, missed: %d." % (met, missed))
    return 0


if __name__ == "__main__":
    if sys.argv[1:2] == ["--stream"]:
        sys.exit(gather_stream(sys.argv[2]))
    sys.exit(main(sys.argv[1:]))
