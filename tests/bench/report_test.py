"""Programs that print what a benchmark would, and what the report makes of it."""

import contextlib
import io
import json
import pathlib
import tempfile
import unittest
from unittest import mock

import report

QUIET = ""


class Report(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def program(self, name, entries=None, prints="", code=0):
        """A program of that name which writes these entries where it is told to."""
        lines = ["#!/bin/sh", f"printf '%s\\n' '{prints}'"]
        if entries is not None:
            lines += ['for each in "$@"; do case $each in --benchmark_out=*) out=${each#*=};; *.json) out=$each;; esac; done']
            lines += [f"cat > \"$out\" <<'END'\n{json.dumps({'benchmarks': entries})}\nEND"]
        path = self.folder / name
        path.write_text("\n".join(lines + [f"exit {code}", ""]), encoding="utf-8")
        path.chmod(0o755)

    def run_report(self, wants, disturbed=QUIET, names=()):
        """The exit code, the rows of the result, what was printed."""
        printed = io.StringIO()
        with (
            mock.patch.object(report.Watch, "disturbance", lambda watch: disturbed),
            mock.patch.object(report, "read_wants", lambda path: wants),
            mock.patch.object(report.time, "sleep"),
            contextlib.redirect_stdout(printed),
        ):
            code = report.main(self.folder, self.folder / "out", *names)
        kept = json.loads((self.folder / "out" / "results.json").read_text())
        self.assertTrue((self.folder / "out" / "performance.svg").read_text().startswith("<svg"))
        return code, {row["job"]: (row["ratio"], row["verdict"]) for row in kept["wants"]}, printed.getvalue()

    ENTRIES = [
        {"name": "Ours_mean", "run_name": "Ours", "aggregate_name": "mean", "cpu_time": 99.0},
        {"name": "Ours_median", "run_name": "Ours", "aggregate_name": "median", "cpu_time": 3.0, "bytes": 50.0},
        {"name": "Floor_median", "run_name": "Floor", "aggregate_name": "median", "cpu_time": 2.0, "bytes": 100.0},
    ]

    def test_ratios_are_of_medians_counters_and_what_is_printed(self):
        self.program("a_bench", self.ENTRIES)
        self.program("session_bench", prints="ratio 1.25 CPU, 0.5 wall")
        wants = [
            ("a_bench", "time", "Ours", "Floor", "2"),
            ("a_bench", "memory", "Ours:bytes", "Floor:bytes", "1"),
            ("a_bench", "number", "Ours:bytes", "10", "4"),
            ("session_bench", "printed", r"~ratio ([\d.]+) CPU", "1", "1.3"),
        ]
        code, rows, printed = self.run_report(wants)
        self.assertEqual(rows, {"time": (1.5, "good"), "memory": (0.5, "good"), "number": (5.0, "MISSED"), "printed": (1.25, "good")})
        self.assertEqual(code, 1)
        self.assertRegex(printed, r"time +1\.50 +2  good")

    def test_everything_as_wanted_is_success(self):
        self.program("a_bench", self.ENTRIES)
        self.assertEqual(self.run_report([("a_bench", "time", "Ours", "Floor", "1.5")])[0], 0)

    def test_every_program_runs_though_one_fails(self):
        self.program("a_bench", self.ENTRIES, code=7)
        self.program("b_bench", self.ENTRIES)
        code, rows, printed = self.run_report([(name, name, "Ours", "Floor", "2") for name in ("a_bench", "b_bench")])
        self.assertEqual(rows, {"a_bench": (1.5, "good"), "b_bench": (1.5, "good")})
        self.assertEqual(code, 1)
        self.assertIn("a_bench ended with 7.", printed)

    def test_a_busy_machine_is_not_judged(self):
        self.program("a_bench", self.ENTRIES, code=1)
        code, rows, printed = self.run_report([("a_bench", "time", "Ours", "Floor", "1")], disturbed="others used 80% of the machine")
        self.assertEqual(rows, {"time": (1.5, "not judged")})
        self.assertEqual(code, 2)
        self.assertIn("a_bench is not judged: others used 80% of the machine.", printed)

    def test_what_was_not_measured_is_said(self):
        self.program("a_bench", self.ENTRIES)
        code, rows, _ = self.run_report([("a_bench", "gone", "Nothing", "Floor", "1"), ("c_bench", "not there", "Ours", "Floor", "1")])
        self.assertEqual(rows, {"gone": (None, "not measured")})
        self.assertEqual(code, 2)

    def test_programs_can_be_named(self):
        for name in ("a_bench", "b_bench"):
            self.program(name, self.ENTRIES)
        wants = [(name, name, "Ours", "Floor", "2") for name in ("a_bench", "b_bench")]
        self.assertEqual(list(self.run_report(wants, names=("b",))[1]), ["b_bench"])

    def test_jobs_are_drawn_against_their_rival(self):
        jobs = [{"name": f"load/20/{road}", "wall": wall} for road, wall in (("rival", 0.2), ("bulk", 0.22), ("single", 40.0))]
        self.program("jobs_bench", jobs)
        self.run_report([("jobs_bench", "load", "load/20/bulk:wall", "load/20/rival:wall", "1.2")])
        drawn = (self.folder / "out" / "performance.svg").read_text()
        for words in ("Over a line of 20 ms", "bulk 1.10", "single 200", "load 1,000"):
            self.assertIn(words, drawn)

    def test_load_is_seen(self):
        times = iter([(0.0, 0.0, 0.0), (9.0, 0.0, 10.0), (0.0, 0.0, 0.0), (1.0, 0.5, 10.0), (0.0, 0.0, 0.0), (9.0, 0.0, 10.0)])
        own = iter([0.0, 1.0, 0.0, 1.0, 0.0, 8.9])
        with mock.patch.object(report, "machine_times", lambda: next(times)), mock.patch.object(report, "own_times", lambda: next(own)):
            self.assertEqual(report.Watch().disturbance(), "others used 80% of the machine")
            self.assertEqual(report.Watch().disturbance(), "5% of the machine's time was stolen by its host")
            self.assertEqual(report.Watch().disturbance(), "")

    def test_the_wants_are_rows_of_five(self):
        wants = list(report.read_wants(pathlib.Path(report.__file__).with_name("wants.tsv")))
        self.assertGreater(len(wants), 30)
        for want in wants:
            self.assertEqual(len(want), 5, want)
            self.assertTrue((pathlib.Path(report.__file__).parent / (want[0] + ".cpp")).exists(), want)
            self.assertGreater(float(want[4]), 0)


if __name__ == "__main__":
    unittest.main()
