"""Fails if the library of one processor level's copy defines a symbol outside its namespace.

    check_symbols.py NM NAMESPACE LIBRARY

The linker keeps one definition of an inline function or a template. Were it the one with processor
flags, the baseline would run it too.
"""

import re
import subprocess
import sys

nm, namespace, library = sys.argv[1:]
names = subprocess.run(
    [nm, "--defined-only", "--extern-only", "--format=posix", library],
    check=True, capture_output=True, text=True).stdout

# A function, a variable, or something that belongs to one: a guard, a reference temporary.
OWN = re.compile(rf"_Z(GV|GR|TI|TS|TV)?NK?{len(namespace)}{namespace}")

inside = 0
outside = set()
for line in names.splitlines():
    fields = line.split()
    if len(fields) < 2:
        continue  # the name of a member
    name = fields[0]
    if OWN.match(name):
        inside += 1
    else:
        outside.add(name)

for name in sorted(outside):
    print(f"defined outside namespace {namespace}: {name}")
if inside == 0:
    sys.exit(f"nothing in namespace {namespace}")
print(f"{inside} symbols in namespace {namespace}, {len(outside)} outside")
sys.exit(1 if outside else 0)
