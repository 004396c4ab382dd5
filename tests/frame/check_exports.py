#!/usr/bin/env python3
"""The library's dynamic symbol table holds exactly the expected exports."""
import subprocess
import sys

lib, expected_file = sys.argv[1], sys.argv[2]
out = subprocess.run(["nm", "-D", "--defined-only", lib], check=True, capture_output=True, text=True).stdout
exported = {line.split()[-1].split("@")[0] for line in out.splitlines() if line.strip()}
expected = set(open(expected_file).read().split())
missing, extra = sorted(expected - exported), sorted(exported - expected)
for name in missing:
    print("missing:", name)
for name in extra:
    print("unexpected:", name)
print(f"{len(exported)} exported, {len(expected)} expected")
sys.exit(1 if missing or extra else 0)
