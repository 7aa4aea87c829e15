"""Fails if the library of one processor level's copy defines a symbol outside its namespace.

    check_symbols.py NM NAMESPACE LIBRARY

The linker keeps one definition of an inline function or a template. Were it the one with processor
flags, the baseline would run it too.
"""

import re
import subprocess
import sys

nm, namespace, library = sys.argv[1:]
listing = subprocess.run([nm, "--defined-only", "--extern-only", "--format=posix", library],
                         check=True, capture_output=True, text=True).stdout
names = {line.split()[0] for line in listing.splitlines() if " " in line}  # else a member's name

# A function, a variable, or something that belongs to one: a guard, a reference temporary.
OWN = re.compile(rf"_Z(GV|GR|TI|TS|TV)?NK?{len(namespace)}{namespace}")

outside = sorted(name for name in names if not OWN.match(name))
for name in outside:
    print(f"defined outside namespace {namespace}: {name}")
if len(outside) == len(names):
    sys.exit(f"nothing in namespace {namespace}")
print(f"{len(names) - len(outside)} symbols in namespace {namespace}, {len(outside)} outside")
sys.exit(1 if outside else 0)
