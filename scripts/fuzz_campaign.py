#!/usr/bin/env python3
"""Runs every fuzz target for a number of processor hours. Can be stopped and continued.

    scripts/fuzz_campaign.py HOURS [--jobs N] [--slice SECONDS]

Runs N targets at a time (default: one for each processor), for SECONDS each (default 300); the target
with the least processor time is next. Ends when each target has reached HOURS, or on SIGINT or SIGTERM,
and prints a table of all targets. build/fuzz/campaign.json keeps times, runs and findings for the next
call, and build/fuzz/corpus the inputs that run more code. "scripts/fuzz.sh merge" adds these inputs to
the seed corpora.
"""
import argparse
import concurrent.futures
import json
import os
import pathlib
import re
import signal
import subprocess
import threading

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = ROOT / "build" / "fuzz"
STATE = BUILD / "campaign.json"
INTERRUPTED = 72  # the exit status of a fuzzer after SIGINT


class Campaign:
    def __init__(self, hours, slice_seconds):
        self.seconds, self.slice = hours * 3600, slice_seconds
        self.lock, self.busy, self.over = threading.Lock(), {}, False
        self.targets = json.loads(STATE.read_text()) if STATE.exists() else {}
        # The state may also have targets that no longer exist.
        self.existing = [path.name[len("qor_"):-len("_fuzz")]
                         for path in (BUILD / "fuzz").glob("qor_*_fuzz")]
        for name in self.existing:
            self.targets.setdefault(name, {"seconds": 0.0, "runs": 0, "findings": 0})

    def next(self):
        """The next target to run, or None if there is none; marks it as busy."""
        with self.lock:
            left = [name for name in self.existing
                    if name not in self.busy and self.targets[name]["seconds"] < self.seconds]
            if self.over or not left:
                return None
            name = min(left, key=lambda name: self.targets[name]["seconds"])
            self.busy[name] = None
            return name

    def fuzz(self, name):
        found = BUILD / "corpus" / name
        found.mkdir(parents=True, exist_ok=True)
        with open(BUILD / f"{name}.log", "w+", errors="replace") as log:
            fuzzer = subprocess.Popen(
                [BUILD / "fuzz" / f"qor_{name}_fuzz", f"-max_total_time={self.slice}", "-print_final_stats=1",
                 "-entropic_scale_per_exec_time=1",
                 f"-artifact_prefix={found}-", found, ROOT / "fuzz" / "corpus" / name],
                stdout=log, stderr=log, stdin=subprocess.DEVNULL, process_group=0)
            self.busy[name] = fuzzer
            if self.over:
                fuzzer.send_signal(signal.SIGINT)
            _, status, usage = os.wait4(fuzzer.pid, 0)
            log.seek(0)
            text = log.read()
        runs = re.findall(r"^(?:#|stat::number_of_executed_units: )(\d+)", text, re.M)
        with self.lock:
            row = self.targets[name]
            row["seconds"] += usage.ru_utime + usage.ru_stime
            row["runs"] += max(map(int, runs), default=0)
            if os.waitstatus_to_exitcode(status) not in (0, INTERRUPTED):
                row["findings"] += 1
                print(f"{name}: a finding, in {found}-*; see {BUILD / name}.log", flush=True)
                os.rename(BUILD / f"{name}.log", BUILD / f"{name}.{row['findings']}.log")
            del self.busy[name]
            STATE.with_suffix(".new").write_text(json.dumps(self.targets, indent=1))
            STATE.with_suffix(".new").rename(STATE)

    def work(self):
        while (name := self.next()) is not None:
            self.fuzz(name)

    def stop(self, *_):
        self.over = True
        for fuzzer in list(self.busy.values()):
            if fuzzer is not None:
                fuzzer.send_signal(signal.SIGINT)

    def table(self):
        print("| Target | Processor time | Runs | Findings |\n|---|---|---|---|")
        for name, row in sorted(self.targets.items()):
            print(f"| `{name}` | {row['seconds'] / 60:.0f} min | {row['runs']:,} | {row['findings']} |")
        print(f"| all | {sum(row['seconds'] for row in self.targets.values()) / 3600:.1f} h "
              f"| {sum(row['runs'] for row in self.targets.values()):,} "
              f"| {sum(row['findings'] for row in self.targets.values())} |")


def main():
    options = argparse.ArgumentParser()
    options.add_argument("hours", type=float)
    options.add_argument("--jobs", type=int, default=os.cpu_count())
    options.add_argument("--slice", type=int, default=300)
    given = options.parse_args()
    subprocess.run([ROOT / "scripts" / "setup.sh", "fuzz"], check=True)
    subprocess.run(["cmake", "--preset", "fuzz"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "fuzz"], cwd=ROOT, check=True)
    campaign = Campaign(given.hours, given.slice)
    for ending in (signal.SIGINT, signal.SIGTERM):
        signal.signal(ending, campaign.stop)
    with concurrent.futures.ThreadPoolExecutor(given.jobs) as workers:
        for worker in [workers.submit(campaign.work) for _ in range(given.jobs)]:
            worker.result()
    campaign.table()


main()
