#!/usr/bin/env python3
"""Writes docs/performance.md from Google Benchmark's JSON output of
sfpdrv_bench and the bus-traffic table docs/access-counts.tsv.

Targets live in the benchmark code, as a counter named target_<unit>
(target_ns, target_us, target_ratio, target_accesses): the figure compared
with it is the benchmark's counter carrying the same unit (overhead_ns,
us_per_report, ratio, accesses), or else its time per iteration in that unit.
Every target is an upper bound. What each benchmark measures is said once,
in WHAT below, by benchmark family (the name before the first '/').

Each benchmark runs several times; the record shows the median of the runs
(the JSON's "median" aggregate), which a busy moment of a shared machine
moves least.

usage: perf_record.py ACCESS_COUNTS_TSV OUTPUT_MD BENCH_JSON...
"""
import json
import os
import sys

WHAT = {
    "BM_CallbackDirect": "a callback that returns at once, called through a function "
    "pointer (the baseline of BM_PortRead)",
    "BM_PortRead": "a 1-byte `sfp_port_read` whose callback returns at once; "
    "`overhead_ns` is its cost minus the baseline",
    "BM_PortReadSim": "the same read served by the simulated module, access log off",
    "BM_TraceRecord": "one `pelog_write` of seven integers on an open 64 KiB buffer",
    "BM_PortReadFailing": "a read whose callback fails: the status comes back and one "
    "error record is written",
    "BM_NameFromType": "`sfp_xcvr_get_name_from_type` over types across the table",
    "BM_NameFromTypeMultiRate": "the same on a multi-rate port",
    "BM_CodeId": "`sfp_xcvr_get_code_id` over the same types",
    "BM_KvItuChannel": "the ITU channel lookup of the 100 GHz grid over DWDM types",
    "BM_50GhzKvItuChannel": "the ITU channel lookup of the 50 GHz grid over DWDM types",
    "BM_OpticsSpeed": "`sfp_get_optics_speed` over the same types",
    "BM_Detect": "`sfp_xcvr_detect_type` on the A0h bytes of a simulated profile or a "
    "crafted module, trace records included",
    "BM_Conversion": "one wavelength, frequency or channel conversion "
    "(`sfp_xcvr_<name>`) over a spread of inputs",
    "BM_ChanFromFreq": "one `sfp_xcvr_get_chan_from_freq`",
    "BM_CheckCompliance": "`sfp_xcvr_check_compliance` (two checksums and the vendor "
    "CRC) on the A0h bytes of each profile",
    "BM_DecodeSfpId": "`sfp_xcvr_decode_sfp_id` of the same bytes, type detection included",
    "BM_CreatePortsInParallel": "48 ports of simulated 25G optics created from 48 "
    "threads at once with real sleeps, against one creation alone (`ratio`)",
    "BM_DecodeStatus": "`sfp_xcvr_decode_sfp_status` of the 10GBASE-SR diagnostic page, "
    "as it is and with external calibration constants",
    "BM_HwStatus": "one `sfp_port_hw_status` on a simulated module: module `accesses` "
    "per call (the target is the fewest the record allows); time includes the debug file",
    "BM_EepromReport": "the full 9000-byte EEPROM report (`sfp_drv_sfp_get_eeprom_str`)",
    "BM_RenderMetrics48Ports": "`sfpctl metrics`: the Prometheus text of 48 ports "
    "(five simulated profiles and a missing image), CPU time per rendering",
    "BM_ScrapeBusBytes48Ports": "one scrape of 48 simulated 10GBASE-SR ports: module bytes "
    "per port against one status snapshot's (`target_bytes`), modules identified once",
    "BM_I2cBus": "the i2c-dev backend over the fake kernel at a transfer limit of 16 or 128 "
    "bytes (25G optic): creation, status snapshot, report; `transfers` against the fewest "
    "the module's layout allows at that limit",
}

TIME_SCALE = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def figure_of(bench, unit):
    """The figure to compare with target_<unit>, and how it was found."""
    if isinstance(bench.get(unit), (int, float)):
        return bench[unit], unit
    for name, value in bench.items():
        if name.startswith("min_"):
            continue
        if name.startswith("target_") or not isinstance(value, (int, float)):
            continue
        if unit in name.split("_") and name not in ("real_time", "cpu_time"):
            return value, name
    if unit in TIME_SCALE:
        ns = bench["real_time"] * TIME_SCALE[bench.get("time_unit", "ns")]
        return ns / TIME_SCALE[unit], "time"
    return None, None


def number(value):
    if value == 0:
        return "0"
    if abs(value) >= 100:
        return f"{value:.0f}"
    if abs(value) >= 1:
        return f"{value:.3g}"
    return f"{value:.3f}"


def counters_text(bench):
    skip = {"name", "run_name", "run_type", "repetitions", "repetition_index", "threads",
            "iterations", "real_time", "cpu_time", "time_unit", "family_index",
            "per_family_instance_index", "label", "error_occurred", "error_message",
            "aggregate_name", "aggregate_unit"}
    parts = [f"{k} {number(v)}" for k, v in bench.items()
             if k not in skip and not k.startswith("target_") and isinstance(v, (int, float))]
    return ", ".join(parts)


def medians(benchmarks):
    """The median of each benchmark's runs (its only run when it ran once);
    a run that failed stands for the benchmark."""
    chosen = {}
    for bench in benchmarks:
        is_median = bench.get("aggregate_name") == "median"
        if bench.get("run_type") == "aggregate" and not is_median:
            continue
        name = bench.get("run_name", bench["name"])
        current = chosen.get(name)
        if (current is None or bench.get("error_occurred")
                or (is_median and not current.get("error_occurred"))):
            chosen[name] = dict(bench, name=name)
    return list(chosen.values())


def bench_rows(benchmarks):
    rows = []
    for bench in medians(benchmarks):
        name = bench["name"]
        family = name.split("/")[0]
        time = f"{number(bench['real_time'])} {bench.get('time_unit', 'ns')}"
        targets = [(k[len("target_"):], v) for k, v in bench.items() if k.startswith("target_")]
        if bench.get("error_occurred"):
            verdict = f"error: {bench.get('error_message', '')}"
            rows.append((name, WHAT.get(family, ""), time, "", "", verdict))
            continue
        if not targets:
            rows.append((name, WHAT.get(family, ""), time, counters_text(bench), "-",
                         "informative"))
            continue
        unit, target = targets[0]
        figure, source = figure_of(bench, unit)
        shown = f"{number(figure)} {unit}" + ("" if source == "time" else f" (`{source}`)")
        met = "met" if figure is not None and figure <= target else "**NOT MET**"
        rows.append((name, WHAT.get(family, ""), time, shown, f"≤ {number(target)} {unit}", met))
    return rows


def load_average():
    """The machine's load when the record was made, as a clause."""
    try:
        with open("/proc/loadavg", encoding="utf-8") as f:
            one, five, fifteen = f.read().split()[:3]
    except OSError:
        return ""
    return f" with a load average of {one} / {five} / {fifteen} (1 / 5 / 15 min)"


def read_counts(path):
    with open(path, encoding="utf-8") as f:
        lines = [line.rstrip("\n").split("\t") for line in f if line.strip()]
    return lines[1:]


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    counts_path, output_path = sys.argv[1], sys.argv[2]
    benchmarks = []
    context = {}
    for path in sys.argv[3:]:
        with open(path, encoding="utf-8") as f:
            data = json.load(f)
        context = context or data["context"]
        benchmarks += data["benchmarks"]
    out = []
    out.append("# Performance record")
    out.append("")
    out.append("Generated by `scripts/perf-record.sh` from the benchmarks' JSON output "
               "(`sfpdrv_bench --benchmark_format=json`, release build) and "
               "`docs/access-counts.tsv`; do not edit by hand. Targets are set beside each "
               "benchmark as `target_<unit>` counters; [bench/README.md](../bench/README.md) "
               "says how to run the benchmarks.")
    out.append("")
    out.append(f"Machine: {context.get('num_cpus', '?')} CPUs at "
               f"{context.get('mhz_per_cpu', '?')} MHz, sfpdrv release build, recorded "
               f"{context.get('date', '?')}{load_average()}. Each figure is the median of "
               f"{max((b.get('repetitions', 1) for b in benchmarks), default=1)} runs; times on a shared machine vary "
               "with its load from run to run, the access counts do not.")
    out.append("")
    out.append("## Benchmarks")
    out.append("")
    out.append("| benchmark | what it measures | time per iteration | figure | target | |")
    out.append("| --- | --- | --- | --- | --- | --- |")
    rows = bench_rows(benchmarks)
    for row in rows:
        out.append("| `" + row[0] + "` | " + " | ".join(row[1:]) + " |")
    missed = [row[0] for row in rows if row[5] == "**NOT MET**"]
    out.append("")
    out.append(f"{sum(1 for r in rows if r[5] == 'met')} targets met, {len(missed)} not met"
               + (": " + ", ".join(f"`{m}`" for m in missed) if missed else "") + ".")
    out.append("")
    out.append("## Bus traffic per operation")
    out.append("")
    out.append("Module accesses (callback calls) and bytes moved by one call of each exported "
               "operation on the simulated module (behind the simulated adapter for `qsa/`, "
               "adapter calls and forwarded module calls together), counted from the "
               "simulator's access logs on the virtual clock. `create/` is port creation with "
               "the module present. The table is `docs/access-counts.tsv`; the ctest "
               "`access_counts` fails when an operation makes more traffic than it says "
               "(update it with `scripts/perf-record.sh --counts` when that is intended).")
    out.append("")
    out.append("| operation | accesses | bytes |")
    out.append("| --- | ---: | ---: |")
    for name, accesses, size in read_counts(counts_path):
        out.append(f"| `{name}` | {accesses} | {size} |")
    with open(output_path, "w", encoding="utf-8") as f:
        f.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
