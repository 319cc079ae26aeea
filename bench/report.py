#!/usr/bin/env python3
"""Makes one table of the results of benchmarks, given as files of JSON: qor beside each peer.

A benchmark is named WORK_who/arguments. The ratio is the peer's time by qor's: above 1 qor is
faster. Times are medians, of the processor's time where a thread is measured alone.
"""

import json
import platform
import re
import subprocess
import sys

UNITS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
PACKAGES = ["libace-dev", "libboost-dev", "libevent-dev", "libfmt-dev", "libmsgpack-cxx-dev",
            "libprotobuf-dev", "libpugixml-dev", "libsimdjson-dev", "libspdlog-dev", "libssl-dev",
            "libtinyxml2-dev", "libyaml-cpp-dev", "libzmq3-dev", "nlohmann-json3-dev",
            "rapidjson-dev", "zlib1g-dev"]
# What stands behind the work is no peer.
OWN = {"", "off", "on", "nothing_due", "ms"}


def parts(name):
    """The work, and who does it."""
    name = re.sub(r"/(real_time|threads:1|iterations:\d+|repeats:\d+|process_time|manual_time)\b", "", name)
    old = re.match(r"(encode|decode)(Qor|Msgpack|Protobuf)(.*)", name)
    if old:
        return f"Nbr{old[1].capitalize()}{old[3]}", old[2].lower()
    head, slash, arguments = name.partition("/")
    work, _, who = head.partition("_")
    if who in OWN:
        work, who = head.replace("_", " ").strip(), "qor"
    if who.endswith("_unlocked"):
        who, work = who[: -len("_unlocked")], work + ", without locks"
    return work + slash + arguments, who.replace("_", " ")


def in_order(works):
    """Numbers in names by their values."""
    return sorted(works, key=lambda work: [int(piece) if piece.isdigit() else piece
                                           for piece in re.split(r"(\d+)", work)])


def shown(nanoseconds):
    for unit in ("ns", "us", "ms"):
        if nanoseconds < 1000 * UNITS[unit]:
            value = nanoseconds / UNITS[unit]
            return f"{value:.3g} {'µs' if unit == 'us' else unit}"
    return f"{nanoseconds / 1e9:.3g} s"


def output_of(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return ""


def machine(context):
    with open("/proc/cpuinfo", encoding="ascii", errors="replace") as file:
        model = re.search(r"model name\s*:\s*(.*)", file.read())
    with open("/etc/os-release", encoding="utf-8") as file:
        system = re.search(r'PRETTY_NAME="(.*)"', file.read())
    yield f"{model[1] if model else platform.machine()}, {context['num_cpus']} cores"
    yield f"{system[1] if system else platform.system()}, Linux {platform.release()}"
    yield output_of("c++", "--version").splitlines()[0]
    versions = output_of("dpkg-query", "-W", "-f=${Package} ${Version}; ", *PACKAGES)
    yield versions.rstrip("; ") or "the versions of the peers are not known"


def main(paths):
    table, areas, notes, context = {}, {}, [], None
    for path in paths:
        with open(path, encoding="utf-8") as file:
            report = json.load(file)
        context = context or report["context"]
        area = re.search(r"qor_(\w+)_bench", path)[1]
        for run in report["benchmarks"]:
            work, who = parts(run["run_name"])
            if run.get("run_type") == "aggregate":
                if run["aggregate_name"] != "median":
                    continue
                kind = "real_time" if "real_time" in run["run_name"] else "cpu_time"
                areas.setdefault(area, {}).setdefault(work, None)
                table.setdefault(work, {})[who] = run[kind] * UNITS[run["time_unit"]]
            else:
                counters = [f"{key} {value:.4g}" for key, value in run.items()
                            if isinstance(value, (int, float)) and key in
                            ("firings", "least", "median", "p99", "most", "KiB", "bytes")]
                if counters:
                    notes.append(f"{run['run_name'].split('/')[0]}: {', '.join(counters)}")

    print("# Performance\n")
    print("Each workload beside the peers that one would pick instead, in one binary, as medians of "
          "7 interleaved repetitions. The number behind a peer's time is that time by qor's: above 1 "
          "qor is faster. `bench/report.sh` makes this page anew.\n")
    for line in machine(context):
        print(f"- {line}")
    for area, works in areas.items():
        print(f"\n## {area}\n\n| Workload | qor | Peers |\n|---|---|---|")
        for work in in_order(works):
            times = dict(table[work])
            own = times.pop("qor", None)
            peers = ", ".join(
                f"{who} {shown(time)}" + (f" (**{time / own:.2f}**)" if own else "")
                for who, time in sorted(times.items()))
            print(f"| {work} | {shown(own) if own else ''} | {peers} |")
    if notes:
        print("\n## Distributions\n")
        for note in notes:
            print(f"- {note}")


if __name__ == "__main__":
    main(sys.argv[1:])
