"""Compares the symbols that the shared library exports with the names that the public headers mark as exported.

    exported_symbols_test.py LIBRARY INCLUDE_FOLDER
"""
import pathlib
import re
import subprocess
import sys

library, headers = sys.argv[1], pathlib.Path(sys.argv[2])
# testing.h and quarnex_testing.h belong to the libraries of the test kit.
text = "".join(header.read_text() for header in sorted(headers.glob("quarnex/*.h")) if "testing" not in header.name)
classes = set(re.findall(r"^(?:class|struct) QUARNEX_API (\w+)", text, re.M))
functions = re.findall(r"^QUARNEX_(?:C_)?API [^(;]*?(\w+)\(", text, re.M)
wrong = [f"declared in a public header, but not marked: {line}" for line in re.findall(r"^\w.*\);$", text, re.M)
         if not re.match(r"(QUARNEX_API|QUARNEX_C_API|constexpr|inline|static_assert|using)\b", line)]

listed = subprocess.run(["nm", "--dynamic", "--defined-only", "--demangle", library], capture_output=True, text=True,
                        check=True).stdout
exported = []
for line in listed.splitlines():
    symbol = line.split(" ", 2)[2]
    name = re.match(r"(?:(?:vtable|typeinfo|typeinfo name) for )?quarnex::(\w+)|(quarnex_\w+)@@QUARNEX_C_", symbol)
    name = name and (name[1] or name[2])
    if name in classes or name in functions:
        exported.append(name)
    elif not re.fullmatch(r"QUARNEX_(C_[\d.]+|\d+)(@@.*)?", symbol):
        wrong.append(f"exported, but marked in no public header: {symbol}")
wrong += [f"class marked in a public header, but not exported: {name}" for name in sorted(classes - set(exported))]
wrong += [f"{name} has {functions.count(name)} marked declarations, but {exported.count(name)} exported symbols"
          for name in sorted(set(functions)) if functions.count(name) != exported.count(name)]
if not classes or not functions:
    wrong.append(f"no marked classes or functions in {headers}")
print("\n".join(wrong) or f"{len(classes)} classes and {len(functions)} functions are exported, as the public headers mark them")
sys.exit(1 if wrong else 0)
