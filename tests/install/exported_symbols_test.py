"""Compares the symbols that the shared library exports with the names that the public headers mark as exported.

    exported_symbols_test.py LIBRARY INCLUDE_FOLDER
"""
import pathlib
import re
import subprocess
import sys

library, headers = sys.argv[1], pathlib.Path(sys.argv[2])
text = "".join(header.read_text() for header in sorted(headers.glob("quarnex/*.h")))
declared = set(re.findall(r"(?:class|struct) QUARNEX_API (\w+)", text))
declared |= set(re.findall(r"^QUARNEX_API [^(;]*?(\w+)\(", text, re.M))

listed = subprocess.run(["nm", "--dynamic", "--defined-only", "--demangle", library], capture_output=True, text=True,
                        check=True).stdout
exported = set()
wrong = []
for line in listed.splitlines():
    symbol = line.split(" ", 2)[2]
    name = re.match(r"(?:(?:vtable|typeinfo|typeinfo name) for )?quarnex::(\w+)", symbol)
    if name and name[1] in declared:
        exported.add(name[1])
    elif not re.fullmatch(r"QUARNEX_\d+(@@.*)?", symbol):
        wrong.append(f"exported, but marked in no public header: {symbol}")
wrong += [f"marked in a public header, but not exported: {name}" for name in sorted(declared - exported)]
if len(declared) < 5:
    wrong.append(f"found only {len(declared)} marked names in {headers}")
print("\n".join(wrong) or f"{len(exported)} names are exported, as the public headers mark them")
sys.exit(1 if wrong else 0)
