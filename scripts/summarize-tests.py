#!/usr/bin/env python3
"""Adds up the test results of every run into one closing line "N passed, N failed".

Each argument is a ctest results folder (holding ctest.junit and the GoogleTest XML files that the
test executables wrote) or a TAP file from the page tests. A ctest test whose executable wrote a
GoogleTest XML file counts as its test cases; any other ctest test (a script, a setup step, an
executable that crashed before writing its XML) counts as one test.
"""
import os
import re
import sys
import xml.etree.ElementTree as ET


def gtest_counts(path):
    root = ET.parse(path).getroot()
    passed = failed = 0
    for case in root.iter("testcase"):
        if case.get("result") == "skipped" or case.get("status") == "notrun":
            continue
        if case.find("failure") is not None or case.find("error") is not None:
            failed += 1
        else:
            passed += 1
    return passed, failed


def ctest_folder(folder):
    passed = failed = 0
    junit = os.path.join(folder, "ctest.junit")
    if not os.path.exists(junit):
        print(f"{folder}: no ctest results (build or configure failed)")
        return 0, 1
    for case in ET.parse(junit).getroot().iter("testcase"):
        name = case.get("name")
        ok = case.get("status") in ("run", "passed", None) and case.find("failure") is None
        if case.get("status") in ("fail", "failed"):
            ok = False
        xml = os.path.join(folder, f"{name}.xml")
        if os.path.exists(xml):
            p, f = gtest_counts(xml)
            if not ok and f == 0:
                f = 1  # the executable failed after its cases passed (a sanitizer report at exit, say)
        else:
            p, f = (1, 0) if ok else (0, 1)
        passed += p
        failed += f
    return passed, failed


def tap_file(path):
    if not os.path.exists(path):
        return 0, 0
    text = open(path, encoding="utf-8", errors="replace").read()
    p = re.findall(r"^# pass (\d+)$", text, re.M)
    f = re.findall(r"^# fail (\d+)$", text, re.M)
    if not p:
        print(f"{path}: no TAP totals")
        return 0, 1
    return int(p[-1]), int(f[-1]) if f else 0


def main(args):
    total_passed = total_failed = 0
    for arg in args:
        p, f = ctest_folder(arg) if os.path.isdir(arg) or not arg.endswith(".txt") else tap_file(arg)
        print(f"{arg}: {p} passed, {f} failed")
        total_passed += p
        total_failed += f
    print(f"{total_passed} passed, {total_failed} failed")
    return 1 if total_failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
