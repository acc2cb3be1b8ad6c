#!/usr/bin/env python3
"""Runs the benchmarks of a folder and judges them: report.py PROGRAMS RESULTS [NAME...]

Every program runs, whatever became of the one before. What wants.tsv holds against them ends in one table; RESULTS gets results.json and performance.svg. Where
others used the machine while a program ran, its ratios are shown and not judged. Ends with 0, 1 (a want was missed, or a program failed) or 2 (not all was judged).
"""

import html
import json
import math
import os
import pathlib
import re
import resource
import subprocess
import sys
import time

# With mains of their own; the others are Google Benchmark's.
OWN = {"availability_bench": [], "events_bench": [], "jobs_bench": ["--json", "{json}"], "session_bench": []}
OTHERS = [
    "--benchmark_out={json}",
    "--benchmark_out_format=json",
    "--benchmark_repetitions=3",
    "--benchmark_enable_random_interleaving=true",
    "--benchmark_report_aggregates_only=true",
]
# Beyond these shares of the machine's time nothing is judged.
MOST_OF_OTHERS, MOST_STOLEN = 0.10, 0.01


# ---- The machine


def machine_times():
    """Seconds of all processors so far: at work, stolen by the host, altogether."""
    fields = [int(text) / os.sysconf("SC_CLK_TCK") for text in pathlib.Path("/proc/stat").read_text().splitlines()[0].split()[1:]]
    user, nice, system, idle, wait, irq, soft, steal = fields[:8]
    busy = user + nice + system + irq + soft
    return busy, steal, busy + idle + wait + steal


def own_times():
    """Seconds of this process and of the children that have ended."""
    return sum(usage.ru_utime + usage.ru_stime for usage in map(resource.getrusage, (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)))


class Watch:
    """How far others used the machine since it was made."""

    def __init__(self):
        self.machine, self.own = machine_times(), own_times()

    def disturbance(self):
        busy, stolen, total = (now - then for now, then in zip(machine_times(), self.machine))
        others = max(0.0, busy - (own_times() - self.own))
        if total <= 0:
            return ""
        if stolen / total > MOST_STOLEN:
            return f"{stolen / total:.0%} of the machine's time was stolen by its host"
        if others / total > MOST_OF_OTHERS:
            return f"others used {others / total:.0%} of the machine"
        return ""


# ---- Running


def run(program, folder):
    """What a program printed, its exit code, what it measured, and what disturbed it."""
    name, out = program.name, folder / (program.name + ".json")
    out.unlink(missing_ok=True)
    arguments = [argument.format(json=out) for argument in OWN.get(name, OTHERS)]
    print(f"\n== {name}", flush=True)
    watch, printed = Watch(), []
    with subprocess.Popen([program, *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as process:
        for line in process.stdout:
            printed.append(line)
            print(line, end="", flush=True)
    disturbed = watch.disturbance()
    measured = {}
    if out.exists():
        for entry in json.loads(out.read_text())["benchmarks"]:
            if entry.get("aggregate_name", "median") == "median":
                measured[entry.get("run_name", entry["name"])] = entry
    return {"text": "".join(printed), "code": process.returncode, "measured": measured, "disturbed": disturbed}


def figure(measure, found):
    """The figure that a measure names; none when the program did not give it."""
    try:
        return float(measure)
    except ValueError:
        pass
    if measure.startswith("~"):
        match = re.search(measure[1:], found["text"])
        return float(match[1]) if match else None
    if measure in found["measured"]:
        return found["measured"][measure].get("cpu_time")
    name, _, counter = measure.rpartition(":")
    return found["measured"].get(name, {}).get(counter)


def judge(wants, runs):
    for program, job, measure, floor, most in wants:
        if program not in runs:
            continue
        ours, base = (figure(each, runs[program]) for each in (measure, floor))
        row = {"program": program, "job": job, "ratio": None, "most": float(most), "verdict": "not measured"}
        if ours is not None and base:
            row["ratio"] = ours / base
            row["verdict"] = "not judged" if runs[program]["disturbed"] else "good" if row["ratio"] <= row["most"] else "MISSED"
        yield row


def read_wants(path):
    for line in path.read_text().splitlines():
        if line and not line.startswith("#"):
            yield line.split("\t")


# ---- Drawing

INK, GOOD, BAD, PALE, LINE = "#1b2a36", "#2f7f86", "#c2542d", "#9fb4bd", "#d5dde1"


class Drawing:
    def __init__(self, width):
        self.width, self.height, self.parts = width, 0, []

    def text(self, x, y, words, size=13, anchor="start", weight="normal", fill=INK):
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" text-anchor="{anchor}" font-weight="{weight}" fill="{fill}">{html.escape(words)}</text>')

    def bar(self, x, y, width, fill, height=14):
        self.parts.append(f'<rect x="{x:.1f}" y="{y:.1f}" width="{max(width, 1.5):.1f}" height="{height}" rx="2" fill="{fill}"/>')

    def line(self, x, top, bottom, fill=LINE):
        self.parts.append(f'<line x1="{x:.1f}" y1="{top:.1f}" x2="{x:.1f}" y2="{bottom:.1f}" stroke="{fill}"/>')

    def svg(self):
        return (
            f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {self.width} {self.height}" font-family="sans-serif">\n'
            f'<rect width="{self.width}" height="{self.height}" fill="#ffffff"/>\n' + "\n".join(self.parts) + "\n</svg>\n"
        )


JOBS = {"logon": "log on", "list": "list 10,000", "load": "load 1,000", "mime": "MIME of 1,000", "send": "send 100", "mark": "mark 1,000 as read", "export": "MIME of 10,000"}
ROADS = {"rival": PALE, "bulk": GOOD, "table": GOOD, "lean": "#6b9bd1", "single": BAD}


def draw_jobs(drawing, measured):
    """Wall time of the jobs over each line, by roads, as multiples of the rival's: one step of the scale is ten times as long."""
    lines = sorted({int(name.split("/")[1]) for name in measured})
    left, step = 200, 110
    for line in lines:
        drawing.height += 34
        drawing.text(16, drawing.height, f"Over a line of {line} ms, against the rival that was written by hand" if line else "On one machine, against the rival that was written by hand", 16, weight="bold")
        top = drawing.height + 8
        for job, title in JOBS.items():
            roads = [road for road in ROADS if f"{job}/{line}/{road}" in measured and road != "rival"]
            if f"{job}/{line}/rival" not in measured or not roads:
                continue
            rival = measured[f"{job}/{line}/rival"]["wall"]
            drawing.height += 12
            drawing.text(left - 12, drawing.height + 11, title, anchor="end")
            for road in roads:
                ratio = measured[f"{job}/{line}/{road}"]["wall"] / rival
                length = step * math.log10(max(ratio, 1) * 1.12)
                drawing.bar(left, drawing.height, length, ROADS[road])
                drawing.text(left + length + 6, drawing.height + 11, f"{road} {ratio:.2f}" if ratio < 10 else f"{road} {ratio:.0f}", 12)
                drawing.height += 17
        for power in range(4):
            x = left + step * math.log10(10**power * 1.12)
            drawing.line(x, top, drawing.height)
            drawing.text(x, drawing.height + 14, f"{10**power:,} x", 11, "middle", fill=PALE)
        drawing.height += 20


def draw(rows, runs):
    drawing = Drawing(820)
    jobs = runs.get("jobs_bench", {}).get("measured", {})
    if jobs:
        draw_jobs(drawing, jobs)
    drawing.height += 40
    drawing.text(16, drawing.height, "Ratios of a run, and the most that is wanted (1 is the line)", 16, weight="bold")
    top, left, scale = drawing.height + 8, 420, 240
    for row in rows:
        if row["ratio"] is None:
            continue
        part = row["ratio"] / row["most"]
        drawing.height += 19
        drawing.text(left - 12, drawing.height + 11, row["job"], 12, "end")
        drawing.bar(left, drawing.height, scale * min(part, 1.5), GOOD if part <= 1 else BAD)
        drawing.text(left + scale * min(part, 1.5) + 6, drawing.height + 11, f"{row['ratio']:.2f} of {row['most']:g}", 11)
    drawing.line(left + scale, top, drawing.height + 18, INK)
    drawing.height += 32
    return drawing.svg()


# ---- The whole


def main(programs, results, *names):
    results = pathlib.Path(results)
    results.mkdir(parents=True, exist_ok=True)
    watch = Watch()
    time.sleep(2)
    at_start = watch.disturbance()
    if at_start:
        print(f"The machine is busy before anything was run: {at_start}. What runs into that is not judged.")
    found = sorted(path for path in pathlib.Path(programs).glob("*_bench") if not names or path.name in names or path.name[: -len("_bench")] in names)
    runs = {path.name: run(path, results) for path in found}
    rows = list(judge(read_wants(pathlib.Path(__file__).with_name("wants.tsv")), runs))

    print(f"\n{'':20} {'':64} {'ratio':>8} {'wanted':>8}")
    for row in rows:
        ratio = f"{row['ratio']:8.2f}" if row["ratio"] is not None else "        "
        print(f"{row['program'][: -len('_bench')]:20} {row['job']:64} {ratio} {row['most']:8g}  {row['verdict']}")
    for name, each in runs.items():
        if each["code"] != 0:
            print(f"{name} ended with {each['code']}.")
        if each["disturbed"]:
            print(f"{name} is not judged: {each['disturbed']}.")
    kept = {name: {"code": each["code"], "disturbed": each["disturbed"], "measured": list(each["measured"].values())} for name, each in runs.items()}
    (results / "results.json").write_text(json.dumps({"when": time.strftime("%Y-%m-%d"), "wants": rows, "programs": kept}, indent=1) + "\n")
    (results / "performance.svg").write_text(draw(rows, runs))
    print(f"Written: {results / 'results.json'}, {results / 'performance.svg'}")

    # A program that ends in failure has missed a want of its own: a figure of a disturbed run counts for nothing there, either.
    failed = [name for name, each in runs.items() if each["code"] != 0 and not each["disturbed"]]
    if failed or any(row["verdict"] == "MISSED" for row in rows):
        return 1
    return 2 if any(row["verdict"] != "good" for row in rows) or any(each["disturbed"] for each in runs.values()) else 0


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
