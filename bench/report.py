#!/usr/bin/env python3
"""Writes a page with the results of benchmarks, given as JSON files: qor compared with each peer.

    report.py FILE.json ...           prints the page
    report.py --charts PAGE [--check] draws the tables of a page as bar charts, in the folder charts/
                                      beside it; with --check it draws nothing, and fails if a chart
                                      would change

A benchmark is named WORK_who/arguments. A ratio is the peer's time divided by qor's: above 1, qor is
faster. Times are medians: of real time for benchmarks with UseRealTime, else of processor time.
"""

import html
import json
import pathlib
import platform
import re
import subprocess
import sys

UNITS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
PACKAGES = ["libace-dev", "libboost-dev", "libevent-dev", "libfmt-dev", "libmsgpack-cxx-dev",
            "libprotobuf-dev", "libpugixml-dev", "libsimdjson-dev", "libspdlog-dev", "libssl-dev",
            "libtinyxml2-dev", "libyaml-cpp-dev", "libzmq3-dev", "nlohmann-json3-dev",
            "rapidjson-dev", "zlib1g-dev"]
# Suffixes of a name that are a part of the workload, and not a peer.
OWN = {"", "off", "on", "nothing_due", "ms"}


def parts(name):
    """The workload of a benchmark, and "qor" or the peer."""
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
    """Sorted by name, with numbers in names sorted by value."""
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


CHART_STYLE = """
  text { font: 12.5px system-ui, sans-serif; fill: #1c2733 }
  .work { font-weight: 600 }
  .bar { fill: #a9b5c1 }
  .own { fill: #2f6fb2 }
  @media (prefers-color-scheme: dark) {
    text { fill: #e3e9ef }
    .bar { fill: #5b6874 }
    .own { fill: #6aa9e6 }
  }
"""


def compared(page):
    """{area: {workload: [(qor or peer, time as text, nanoseconds)]}}, read from the tables of a page.
    Leaves out workloads without a peer or without a time of qor."""
    areas, area = {}, None
    for line in page.splitlines():
        if line.startswith("## "):
            area = line[3:]
        row = re.match(r"\| (\w.*?) \| (\S+ \S+) \| (.+) \|$", line)
        if not row or row[1] == "Workload":
            continue
        times = [("qor", row[2])]
        for peer in row[3].split(", "):
            who, text = re.match(r"(.*?) (\S+ (?:ns|µs|ms|s))\b", peer).groups()
            times.append((who, text))
        values = [(who, text, float(text.split()[0]) * UNITS[text.split()[1].replace("µ", "u")])
                  for who, text in times]
        areas.setdefault(area, {})[row[1]] = values
    return areas


def chart(area, works):
    """A bar for qor and each peer of each workload. Within a workload, lengths are proportional to
    the times."""
    left, room, bar, parts, y = 130, 430, 15, [], 8
    for work, times in works.items():
        y += 20
        parts.append(f'<text class="work" x="8" y="{y}">{html.escape(work)}</text>')
        longest = max(time for _, _, time in times)
        for who, text, time in times:
            length = max(1.0, time / longest * room)
            kind = "bar own" if who == "qor" else "bar"
            parts.append(f'<text x="16" y="{y + bar + 2}">{html.escape(who)}</text>'
                         f'<rect class="{kind}" x="{left}" y="{y + 6}" width="{length:.1f}" '
                         f'height="{bar - 4}" rx="2"/>'
                         f'<text x="{left + length + 6:.1f}" y="{y + bar + 1}">{text}</text>')
            y += bar
        y += 8
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 640 {y + 8}" width="640" role="img">',
        f"<title>{area}: times, shorter is faster</title>", f"<style>{CHART_STYLE}</style>",
        *parts, "</svg>", ""])


def draw(page, check):
    page = pathlib.Path(page)
    folder = page.parent / "charts"
    drawn = {f"{area}.svg": chart(area, works)
             for area, works in compared(page.read_text(encoding="utf-8")).items()}
    present = {path.name: path.read_text(encoding="utf-8") for path in folder.glob("*.svg")}
    if check:
        if drawn != present:
            sys.exit(f"report: bench/report.py --charts {page} would change {folder}")
        return
    folder.mkdir(exist_ok=True)
    for name in present.keys() - drawn.keys():
        (folder / name).unlink()
    for name, svg in drawn.items():
        (folder / name).write_text(svg, encoding="utf-8")


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
    print("Each row compares qor with its peers: other libraries, or plain system calls, that do the "
          "same work in the same program. Times are medians of 7 repetitions in random order. The "
          "bold number after a peer's time is that time divided by qor's: if it is above 1, qor is "
          "faster. In the charts, the length of a bar is proportional to the time, and the longest "
          "bar of a workload is its slowest. `qor view` is `JsonView`; the sources in `bench/` "
          "describe the workloads. `bench/report.sh` measures again and writes this page and its "
          "charts.\n")
    for line in machine(context):
        print(f"- {line}")
    for area, works in areas.items():
        print(f"\n## {area}\n")
        if any("qor" in table[work] and len(table[work]) > 1 for work in works):
            print(f"![{area}: times, shorter is faster](charts/{area}.svg)\n")
        print(f"| Workload | qor | Peers |\n|---|---|---|")
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
    if sys.argv[1] == "--charts":
        draw(sys.argv[2], "--check" in sys.argv[3:])
    else:
        main(sys.argv[1:])
