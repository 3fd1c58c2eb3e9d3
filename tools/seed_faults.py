#!/usr/bin/env python3
"""Seeds faults and counts how many the quick tests find.

tools/faults.tsv lists the faults: a file, a piece of one of its lines with an expression between
guillemets, and what stands in the expression's place. The tree is copied to build/faults, each
expression becomes a choice between itself and its fault, and the copy is built once; the environment
variable TORVAL_FAULT then says which fault is active. The quick tests of the test program run for each,
two at a time, and stop at the first that fails. Run by hand:

    tools/seed_faults.py [--only TEXT] [--filter GTEST_FILTER]

Prints the faults that no test finds. The exit code is 0 when every fault is found.
"""

import argparse
import concurrent.futures
import os
import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIST = ROOT / "tools" / "faults.tsv"
COPY = ROOT / "build" / "faults"
SECONDS = 300  # a run that takes longer has found the fault by not ending

SWITCH = """// Made by tools/seed_faults.py: which fault is active.
#pragma once
#include <cstdlib>
inline const int torval_fault = [] {
    const char* const number = std::getenv("TORVAL_FAULT");
    return number ? std::atoi(number) : 0;
}();
#define TORVAL_FAULT(number, right, wrong) (torval_fault == (number) ? (wrong) : (right))
"""


def read_faults():
    faults = []
    for line in LIST.read_text().splitlines():
        if line and not line.startswith("#"):
            path, context, wrong = line.split("\t")
            before, rest = context.split("«")
            right, after = rest.split("»")
            faults.append((path, before, right, after, wrong))
    return faults


def seed(faults):
    """The tracked files with all faults behind the switch, in COPY."""
    names = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True,
                           text=True).stdout.split("\0")
    texts = {}
    for number, (path, before, right, after, wrong) in enumerate(faults, 1):
        text = texts.setdefault(path, (ROOT / path).read_text())
        whole = before + right + after
        if text.count(whole) != 1:
            sys.exit(f"{LIST.name}: {text.count(whole)} places in {path} for: {whole}")
        choice = f"{before}TORVAL_FAULT({number}, {right}, {wrong}){after}"
        texts[path] = text.replace(whole, choice)
    for name in filter(None, names):
        target = COPY / "tree" / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if name not in texts:
            shutil.copy2(ROOT / name, target)
        elif not target.exists() or target.read_text() != texts[name]:
            target.write_text(texts[name])
    (COPY / "switch.h").write_text(SWITCH)


def build():
    tree = COPY / "tree"
    flags = f"-w -include {COPY / 'switch.h'}"
    subprocess.run(["cmake", "--preset", "dev", f"-DCMAKE_CXX_FLAGS={flags}",
                    "-DTORVAL_WERROR=OFF"], cwd=tree, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "dev", "--target", "torval", "torval_tests"],
                   cwd=tree, check=True, stdout=subprocess.DEVNULL)
    return tree / "build" / "dev" / "torval_tests"


def finds(program, number, chosen):
    """The first test that fails with this fault, or None."""
    environment = dict(os.environ, TORVAL_FAULT=str(number))
    try:
        run = subprocess.run([program, f"--gtest_filter={chosen}", "--gtest_fail_fast",
                              "--gtest_brief=1"], env=environment, capture_output=True,
                             text=True, errors="replace", timeout=SECONDS)
    except subprocess.TimeoutExpired:
        return "no end"
    if run.returncode == 0:
        return None
    failed = [line for line in run.stdout.splitlines() if line.startswith("[  FAILED  ]")]
    return failed[0].split("]", 1)[1].strip() if failed else f"exit status {run.returncode}"


def main():
    parser = argparse.ArgumentParser(description="Seeds faults and counts those that tests find.")
    parser.add_argument("--only", default="", help="faults whose file or text holds this")
    parser.add_argument("--filter", default="-*Slow*", help="tests, as --gtest_filter takes them")
    arguments = parser.parse_args()

    faults = read_faults()
    seed(faults)
    program = build()
    if finds(program, 0, arguments.filter):
        sys.exit("the tests fail without a fault")
    numbers = [number for number, fault in enumerate(faults, 1)
               if arguments.only in "\t".join(fault)]
    survivors = 0
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        results = pool.map(lambda number: finds(program, number, arguments.filter), numbers)
        for number, found in zip(numbers, results):
            path, before, right, after, wrong = faults[number - 1]
            verdict = found or "SURVIVES"
            print(f"{number:3} {path}: {before}{right}{after} -> {wrong}: {verdict}", flush=True)
            survivors += found is None
    print(f"{len(numbers)} faults, {len(numbers) - survivors} found, {survivors} survive")
    return 1 if survivors else 0


if __name__ == "__main__":
    sys.exit(main())
