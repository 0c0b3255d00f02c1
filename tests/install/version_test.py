"""Compares the version in VERSION, in CHANGELOG.md, in quarnex/version.h and in the answer of the tool.

    version_test.py BUILD_FOLDER QUARN
"""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
version = (ROOT / "VERSION").read_text().strip()
header = (pathlib.Path(sys.argv[1]) / "include/quarnex/version.h").read_text()
parts = [re.search(rf"QUARNEX_VERSION_{part} (\d+)", header)[1] for part in ("MAJOR", "MINOR", "PATCH")]
found = {
    "CHANGELOG.md, newest heading": re.search(r"^## (\S+)", (ROOT / "CHANGELOG.md").read_text(), re.M)[1],
    "quarnex/version.h, text": re.search(r'QUARNEX_VERSION "(.*)"', header)[1],
    "quarnex/version.h, numbers": ".".join(parts),
}
answer = subprocess.run([sys.argv[2], "--version"], capture_output=True, text=True, check=True).stdout
found["quarn --version"] = answer.strip().removeprefix("quarn ")
wrong = [f"{place} has {other}, but VERSION has {version}" for place, other in found.items() if other != version]
print("\n".join(wrong) or f"{version} everywhere")
sys.exit(1 if wrong else 0)
