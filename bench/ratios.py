"""Prints ours/peer time ratios from Google Benchmark JSON files.

A benchmark named "<group>/kelvane[/args]" is compared with every
"<group>/<peer>[/args]" that has the same args. A ratio below 1 means Kelvane
is faster than the peer. With repetitions, the fastest run of each side is
compared, which is the steadiest figure on a shared machine. Wall time is
used because some peers run as separate processes.
"""
import json
import sys
from collections import defaultdict


def main(paths):
    groups = defaultdict(dict)
    for path in paths:
        try:
            with open(path) as f:
                benchmarks = json.load(f).get("benchmarks", [])
        except (OSError, ValueError):
            continue  # a binary whose benchmarks were all filtered out writes nothing
        for b in benchmarks:
            if b.get("run_type") == "aggregate":
                continue
            parts = b["name"].split("/")
            if len(parts) < 2:
                continue
            group, who, args = parts[0], parts[1], "/".join(parts[2:])
            args = args.split("/repeats:")[0]
            t = b.get("real_time", b.get("cpu_time", 0))
            old = groups[(group, args)].get(who)
            groups[(group, args)][who] = t if old is None else min(old, t)
    for (group, args), times in sorted(groups.items()):
        ours = times.get("kelvane")
        if ours is None:
            continue
        label = f"{group}/{args}" if args else group
        for peer, t in sorted(times.items()):
            if peer != "kelvane" and t > 0:
                print(f"{label:50s} kelvane/{peer:12s} {ours / t:7.3f}")


if __name__ == "__main__":
    main(sys.argv[1:])
