#!/usr/bin/env python3
"""Runs all benchmarks and prints a table: figure, measured value, floor measured in the same run, ratio, target.

    compare.py BIN_FOLDER [--quick]
"""
import json
import os
import subprocess
import sys

BIN = sys.argv[1]
QUICK = "--quick" in sys.argv[2:]
SECONDS = 5 if QUICK else 20
REPETITIONS = 3

rows = []


def row(figure, measured, unit, floor, limit, reached, target):
    ratio = f"{measured / floor:6.2f}" if floor else "     -"
    rows.append((figure, f"{measured:.4g} {unit}", f"{floor:.4g}" if floor else "-", ratio, target,
                 "ok" if reached(measured, floor, limit) else "MISSED"))


def at_most(measured, _, limit):
    return measured <= limit


def at_least(measured, _, limit):
    return measured >= limit


def difference_at_most(measured, floor, limit):
    return measured <= floor + limit


def ratio_at_most(measured, floor, limit):
    return measured <= limit * floor


def micro():
    command = [f"{BIN}/quarnex_benchmarks", "--benchmark_format=json", f"--benchmark_repetitions={REPETITIONS}"]
    results = json.loads(subprocess.run(command, capture_output=True, check=True).stdout)["benchmarks"]
    best = {}  # the fastest repetition; slower ones shared the processor with another program
    for result in results:
        if result.get("run_type") != "iteration":
            continue
        name = result["name"].split("/iterations")[0]
        if name not in best or result["cpu_time"] < best[name]["cpu_time"]:
            best[name] = result
    rate = lambda name, key: best[name][key] / (1e9 if key == "bytes_per_second" else 1e6)
    each = lambda name: 1e9 / best[name]["items_per_second"]
    row("checksum of 2 KiB", rate("checksum", "bytes_per_second"), "GB/s",
        rate("checksum_floor", "bytes_per_second"), 10, at_least, "10 GB/s")
    for size in (100, 2048):
        row(f"cutting frames of {size} bytes", rate(f"cutting/{size}", "bytes_per_second"), "GB/s",
            rate(f"cutting_floor/{size}", "bytes_per_second"), 1, at_least, "1 GB/s")
    row("BufferPut and BufferGet", best["put_get"]["cpu_time"], "ns", best["put_get_floor"]["cpu_time"], 50, at_most,
        "50 ns")
    row("a trace without any sink", best["trace_without_sink"]["cpu_time"], "ns", None, 5, at_most, "5 ns")
    row("a logged line", each("logged_line"), "ns", each("logged_line_floor"), 150, at_most, "150 ns")
    for name, calls in (("connected", "a question"), ("text", "a text in or out"), ("snapshot", "a snapshot")):
        row(f"{calls} in C, beside C++", each(name + "_c"), "ns", each(name + "_cpp"), 20, difference_at_most, "+20 ns")
    python = json.loads(subprocess.run(["python3", "bench/python_calls.py"], capture_output=True, check=True,
                                       env={**os.environ, "QUARNEX_LIBRARY": f"{BIN}/../libquarnex.so.1"}).stdout)
    for name, calls, most in (("connected", "a question", 2), ("text", "a text in or out", 2), ("snapshot", "a snapshot", 15)):
        row(f"{calls} in Python, beside C++", python[name], "ns", each(name + "_cpp"), most * 1000, difference_at_most,
            f"+{most} us")
    for name, part in (("quiet_tick", "engine"), ("posix_quiet_tick", "with its adapter")):
        row(f"tick of one quiet link, {part}", each(name + "/manual_time" if name + "/manual_time" in best else name),
            "ns", each("quiet_tick_floor"), 40, at_most, "40 ns")
        row(f"allocations of a quiet tick, {part}", best[name]["allocations"], "", None, 0, at_most, "0")
    hostile(best)
    attacks(best)


def hostile(best):
    """Reports the most expensive kind of bytes, and the growth of its cost with the amount."""
    cost = lambda kind, size: 1e9 / best[f"hostile_bytes/{kind}/{size}"]["bytes_per_second"]
    kept = lambda size: 1e9 / best[f"kept_bytes_floor/{size}"]["bytes_per_second"]
    kinds, sizes = range(3), (1, 16, 64, 1024)
    row("a hostile byte", max(cost(kind, size) for kind in kinds for size in sizes), "ns", None, 3, at_most, "3 ns")
    growth = max((cost(kind, 1024) - kept(1024)) / (cost(kind, 1) - kept(1)) for kind in kinds)
    row("the same without storing it, 1 GiB to 1 MiB", growth, "times", kept(1024) / kept(1), 1.1, at_most,
        "flat within 10 %")
    for size in sizes[2:]:
        row(f"delay of 999 links by {size} MiB to another",
            max(best[f"hostile_bytes/{kind}/{size}"]["longest_tick_ms"] for kind in kinds), "ms", None, 20, at_most,
            "20 ms")
    row("a byte of a damaged frame, no sink open", best["damaged_frame"]["cpu_time"] / 30_000, "ns", None, 3, at_most,
        "3 ns")


def attacks(best):
    """Reports the memory of a host whose 20 links are attacked for hours of virtual time."""
    for number, attack in enumerate(("a flood of queries", "peers that never read", "peers that never acknowledge")):
        result = best[f"attacked_host/{number}"]
        row(f"bytes held by a link, {attack}, {result['virtual_hours']:.0f} h", result["held_mib_of_a_link"], "MiB", None,
            1.1, at_most, "1.1 MiB")


def pair(program, links, kind):
    """Runs a server and a client process that are linked to each other, and returns both reports."""
    processes = []
    try:
        for side in ("server", "client"):
            processes.append(subprocess.Popen([f"{BIN}/{program}", side, str(links), kind, str(SECONDS)],
                                              stdout=subprocess.PIPE, text=True))
            assert processes[-1].stdout.readline().strip() == "listening"
        for process in processes:
            assert process.stdout.readline().strip() == "connected"
        return [json.loads(process.stdout.readline()) for process in processes]
    finally:
        for process in processes:
            process.kill()
            process.wait()


def microseconds(reports):
    return 1e6 * sum(report["cpu"] for report in reports) / max(1, sum(report["exchanges"] for report in reports))


def share_of_a_cpu(reports):
    """CPU use of one host, in per cent, the mean of both."""
    return 100 * sum(report["cpu"] / report["seconds"] for report in reports) / len(reports)


def idle():
    costs = []
    for links in (1000, 5000) if QUICK else (1000, 5000, 9500):
        floor = microseconds(pair("quarnex_floor", links, "idle"))
        reports = pair("quarnex_links", links, "idle")
        costs.append(microseconds(reports))
        row(f"CPU of an idle exchange, {links} links", costs[-1], "us", floor, 1.25, ratio_at_most, "1.25 of floor")
    row("the same, most links / fewest links", costs[-1] / costs[0], "times", None, 1.25, at_most, "flat")
    for report, side, descriptors in zip(reports, ("server", "client"), (2, 1)):
        row(f"memory of an idle {side} link", report["heap"] / links, "bytes", None, 1280, at_most, "1280 bytes")
        row(f"descriptors of a {side} link", report["descriptors"] // links, "", None, descriptors, at_most,
            str(descriptors))
        row(f"threads of a {side} process", report["threads"], "", None, 1, at_most, "1")


def busy():
    floor = microseconds(pair("quarnex_floor", 1000, "busy")) / 20
    reports = pair("quarnex_links", 1000, "busy")
    row("CPU of a text, busy links", microseconds(reports) / 20, "us", floor, 1.4, ratio_at_most, "1.4 of floor")
    recorded = pair("quarnex_links", 1000, "recorded")
    row("CPU of a text, busy links, recorded", microseconds(recorded) / 20, "us", None, 0, at_least, "-")
    row("cost of recording a busy host", share_of_a_cpu(recorded) - share_of_a_cpu(reports), "% of a CPU", None, 10,
        at_most, "10 % of a CPU")


micro()
idle()
busy()
widths = [max(len(line[i]) for line in rows) for i in range(6)]
for line in [("figure", "measured", "floor", "ratio", "target", "")] + rows:
    print("| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |")
