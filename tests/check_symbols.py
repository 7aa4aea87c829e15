"""Fails if the library of one processor level's copy defines a symbol outside its namespace.

    check_symbols.py NM NAMESPACE LIBRARY

The linker keeps one definition of an inline function or a template. Were it the one with processor
flags, the baseline would run it too.
"""

import re
import subprocess
import sys

nm, namespace, library = sys.argv[1:]
symbols = subprocess.run([nm, "--defined-only", "--extern-only", "--format=posix", library],
                         check=True, capture_output=True, text=True).stdout
names = set(re.findall(r"^(\S+) \S", symbols, re.MULTILINE))
# A function, a variable, or something that belongs to one: a guard, a reference temporary.
own = re.compile(rf"_Z(GV|GR|TI|TS|TV)?NK?{len(namespace)}{namespace}")
outside = sorted(name for name in names if not own.match(name))
print(f"{len(names)} symbols in {library}; outside namespace {namespace}:", *outside)
sys.exit(1 if outside or not names else 0)
