"""Runs the rows of the bench and prints them as a table; see README.md here. Started by script/bench."""

import argparse
import dataclasses
import json
import os
import platform
import subprocess
import sys
import time

import harness
import rows


def machine():
    model = "unknown"
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        for line in file:
            if line.startswith("model name"):
                model = line.split(":", 1)[1].strip()
                break
    commit = subprocess.run(["git", "-C", harness.TOP, "describe", "--always", "--dirty"], capture_output=True, check=False)
    return {
        "cpu": model,
        "cores": os.cpu_count(),
        "kernel": platform.release(),
        "commit": commit.stdout.decode().strip(),
        "date": time.strftime("%Y-%m-%d"),
    }


def verdict(figure):
    return {True: "pass", False: "FAIL", None: ""}[figure.holds]


def table(results):
    lines = ["| row | figure | goal | measured | |", "|---|---|---|---|---|"]
    for name, figures in results.items():
        lines += [f"| {name} | {f.what} | {f.goal} | {f.measured} | {verdict(f)} |" for f in figures]
    return "\n".join(lines)


def arguments():
    parser = argparse.ArgumentParser(prog="script/bench")
    parser.add_argument("--quick", action="store_true", help="short windows: tells a bad figure, not a good one")
    parser.add_argument("--list", action="store_true", help="only name the rows")
    parser.add_argument("rows", nargs="*", choices=[[], *rows.ROWS], metavar="ROW", help=", ".join(rows.ROWS))
    return parser.parse_args()


def main():
    asked = arguments()
    if asked.list:
        print("\n".join(rows.ROWS))
        return 0
    os.makedirs(harness.OUT, exist_ok=True)
    for name in os.listdir(harness.OUT):
        if name.endswith((".log", ".jsonl", ".json", ".md")):
            os.remove(os.path.join(harness.OUT, name))
    where = machine()
    print(", ".join(f"{key} {value}" for key, value in where.items()), flush=True)
    results = {}
    for name in asked.rows or rows.ROWS:
        try:
            results[name] = rows.ROWS[name](asked.quick)
        except (harness.BenchError, subprocess.CalledProcessError) as error:
            results[name] = [rows.Figure("not measured", "", str(error), False)]
        for figure in results[name]:
            print(f"{name:13} {figure.what:58} {figure.goal:22} {figure.measured:30} {verdict(figure)}", flush=True)
    with open(os.path.join(harness.OUT, "table.md"), "w", encoding="utf-8") as file:
        file.write(table(results) + "\n")
    with open(os.path.join(harness.OUT, "results.json"), "w", encoding="utf-8") as file:
        json.dump({"machine": where, "quick": asked.quick,
                   "rows": {n: [dataclasses.asdict(f) for f in fs] for n, fs in results.items()}}, file, indent=1)
    failed = sum(f.holds is False for fs in results.values() for f in fs)
    print(f"{sum(f.holds is True for fs in results.values() for f in fs)} passed, {failed} failed; "
          f"raw figures in {os.path.relpath(harness.OUT, harness.TOP)}/")
    return 1 if failed else 0


sys.exit(main())
