"""Runs the examples, built to run in virtual time, and compares their output."""
import subprocess
import sys


def check(program, given, expected):
    done = subprocess.run([program], input=given, capture_output=True, text=True, timeout=60)
    if (done.returncode, done.stdout) != (0, expected):
        sys.exit(f"{program}: status {done.returncode}, printed {done.stdout!r}, expected {expected!r}")


embed, methods, *loops = sys.argv[1:]
lines = "".join(f"line {number}\n" for number in range(1, 2000))
check(embed, "", "received HELLO\n")
check(methods, "", "report 701 127.0.0.1:20107\nreceived HELLO\nreport 702 \n")
for loop in loops:
    check(loop, "", "")
    check(loop, lines, lines)
