"""./dev mutate: how many of a fixed set of small source mutations the tests catch.

Each mutant is put in the working tree, its tree rebuilt for the test programs
that cover the file (ninja rebuilds only what depends on it), and those programs
run, quickest first, until one fails: killed. None failing: survived. A program
past its time cap: timed out. A mutant whose build fails is "did not build" and
not counted. The file is put back after each mutant, whatever happens.
"""

import argparse
import datetime
import pathlib
import resource
import subprocess
import sys

sys.dont_write_bytecode = True  # no __pycache__ beside the sources
import guard  # noqa: E402 (after the line above)
import mutants  # noqa: E402
import report  # noqa: E402
import trees  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]
STATE = ROOT / "build" / "mutate"
SET_SIZE = 160


def time_cap(program):
    """A program's time cap under a mutant: three times its unmutated time, plus room for a busy machine."""
    return 30 + 3 * program.seconds


def parse_arguments():
    parser = argparse.ArgumentParser(prog="./dev mutate", description=__doc__.split("\n")[0])
    parser.add_argument("--limit", type=int, help="run only the first N mutants of the set's order (a sample of it)")
    parser.add_argument("--only", action="append", metavar="PATH", help="run only the mutants of files under PATH")
    parser.add_argument("--report", default=str(STATE / "report.md"), metavar="FILE",
                        help="where to write the Markdown report (default: build/mutate/report.md)")
    parser.add_argument("--list", action="store_true", help="print the mutants without running them")
    parser.add_argument("--recheck", action="append", metavar="REPORT",
                        help="run only the mutants REPORT kills, each with the program that killed it first "
                             "(the quick check that a change of the tests lost no kill); repeatable")
    parser.add_argument("--compare", nargs=2, metavar=("BEFORE", "AFTER"),
                        help="list the mutants killed in report BEFORE that report AFTER does not kill")
    return parser.parse_args()


def compare(before, after):
    lost = report.lost_kills(before, after)
    for mutant_id, where, original, mutated, now in lost:
        print(f"lost kill {mutant_id} {where}: {original} -> {mutated} ({now})")
    print(f"{len(lost)} mutants killed in {before} are not killed in {after}")
    return 1 if lost else 0


def selected(arguments):
    chosen = mutants.mutation_set(ROOT, SET_SIZE)
    if arguments.only:
        prefixes = [pathlib.Path(p).resolve().relative_to(ROOT).as_posix() for p in arguments.only]
        chosen = [m for m in chosen if any(m.path == p or m.path.startswith(p.rstrip("/") + "/") for p in prefixes)]
    if arguments.recheck:
        killed = recheck_killers(arguments.recheck)
        chosen = [m for m in chosen if m.id in killed]
    if arguments.limit is not None:
        chosen = chosen[:arguments.limit]
    return sorted(chosen, key=lambda m: (m.path, m.line))  # one file after the other: fewer rebuilds


def recheck_killers(paths):
    """{id: first killer} over several reports; the earlier report's killer wins."""
    killed = {}
    for path in reversed(paths):
        killed.update(report.killers(path))
    return killed


def tree_for(tree_list, mutant):
    return next(tree for area, tree in tree_list if mutant.path.startswith(area + "/"))


def measure_unmutated(tree_list, chosen):
    """Builds and runs every covering program once on the unmutated tree: each must pass; its time sets its cap."""
    needed = {}
    for mutant in chosen:
        tree = tree_for(tree_list, mutant)
        for program in tree.covering(mutant.path):
            needed[id(program)] = (tree, program)
    for tree, program in needed.values():
        with open(STATE / "unmutated.log", "a") as log:
            if not tree.build([tree.target_of(program)], log):
                sys.exit(f"the unmutated tree does not build {program.name}: see {STATE / 'unmutated.log'}")
            result, program.seconds = trees.timed(program.run, 1800, log)
        print(f"unmutated: {program.name} {result} in {program.seconds:.1f} s", flush=True)
        if result != "passed":
            sys.exit(f"{program.name} does not pass on the unmutated tree: see {STATE / 'unmutated.log'}")


def run_one(tree, mutant, log, first=None):
    """(result, killed_by, build seconds, test seconds) of one mutant. Each program is built just
    before it runs, the program named `first` first, then quickest first: a mutant the first one
    kills costs no other link."""
    build_seconds = test_seconds = 0.0
    for program in sorted(tree.covering(mutant.path), key=lambda p: (p.name != first, p.seconds)):
        built, seconds = trees.timed(tree.build, [tree.target_of(program)], log)
        build_seconds += seconds
        if not built:
            return "did not build", program.name, build_seconds, test_seconds
        result, seconds = trees.timed(program.run, time_cap(program), log)
        test_seconds += seconds
        if result != "passed":
            return ("killed" if result == "failed" else result), program.name, build_seconds, test_seconds
    return "survived", "", build_seconds, test_seconds


def cpu_seconds():
    """CPU time of the programs this run started and waited for (builds, tests): a busy machine leaves it as it is."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def main():
    arguments = parse_arguments()
    if arguments.compare:
        return compare(*arguments.compare)
    STATE.mkdir(parents=True, exist_ok=True)
    mutation_guard = guard.MutationGuard(ROOT, STATE)
    left_over = mutation_guard.restore_left_over()
    if left_over:
        print(f"put back {left_over}, left mutated by an interrupted run")
    chosen = selected(arguments)
    if arguments.list:
        for mutant in chosen:
            print(f"{mutant.id} {mutant.path}:{mutant.line} {mutant.operator}: {mutant.original} -> {mutant.mutated}")
        print(f"{len(chosen)} mutants")
        return 0
    tree_list = [("core", trees.Tree(ROOT, "build/native")),
                 ("API/Kelix3PexControl", trees.Tree(ROOT, "build/windows-x64", ["Kelix3PexControl"]))]
    (STATE / "unmutated.log").unlink(missing_ok=True)
    measure_unmutated(tree_list, chosen)
    first = recheck_killers(arguments.recheck) if arguments.recheck else {}
    outcomes, started, cpu_before = [], datetime.datetime.now(datetime.timezone.utc), cpu_seconds()
    try:
        for number, mutant in enumerate(chosen, 1):
            tree = tree_for(tree_list, mutant)
            with open(STATE / f"{mutant.id}.log", "w") as log, mutation_guard.apply(mutant):
                outcome = run_one(tree, mutant, log, first.get(mutant.id))
            outcomes.append((mutant, *outcome))
            result, killed_by, build_seconds, test_seconds = outcome
            print(f"[{number}/{len(chosen)}] {result:13} {mutant.path}:{mutant.line} {mutant.operator}: "
                  f"{mutant.original} -> {mutant.mutated}  ({build_seconds:.0f} s build, {test_seconds:.0f} s tests"
                  f"{', ' + killed_by if killed_by else ''})", flush=True)
    finally:
        mutation_guard.restore_left_over()  # interrupted while the mutant was put in
        # The build outputs back to the unmutated sources.
        for area, tree in tree_list:
            touched = {tree.target_of(p) for m in chosen if m.path.startswith(area + "/") for p in tree.covering(m.path)}
            if touched:
                with open(STATE / "restore.log", "w") as log:
                    tree.build(sorted(touched), log)
    minutes = (datetime.datetime.now(datetime.timezone.utc) - started).total_seconds() / 60
    cpu_minutes = (cpu_seconds() - cpu_before) / 60
    commit = subprocess.run(["git", "-C", str(ROOT), "describe", "--always", "--dirty"],
                            capture_output=True, text=True).stdout.strip()
    header = [f"`./dev mutate` at {commit}, {started:%Y-%m-%d %H:%M} UTC, {minutes:.1f} minutes "
              f"({cpu_minutes:.1f} CPU minutes of builds and tests): "
              f"{len(outcomes)} of the {SET_SIZE} mutants of seed `{mutants.SEED}`"
              + (f" (--only {' '.join(arguments.only)})" if arguments.only else "")
              + (f" (--limit {arguments.limit})" if arguments.limit is not None else "")
              + (f" (--recheck {' '.join(arguments.recheck)}: the mutants they kill)" if arguments.recheck else "") + "."]
    report.write(arguments.report, header, outcomes)
    counts = {r: sum(1 for o in outcomes if o[1] == r) for r in report.RESULTS}
    for mutant, result, *_ in outcomes:
        if result in ("survived", "timed out"):
            print(f"{result}: {mutant.path}:{mutant.line} {mutant.operator}: {mutant.original} -> {mutant.mutated}")
    print(", ".join(f"{counts[r]} {r}" for r in report.RESULTS) + f"; score {report.score(counts)}")
    print(f"{len(outcomes)} mutants in {minutes:.1f} minutes, {cpu_minutes:.1f} CPU minutes of builds and tests")
    print(f"report: {arguments.report}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
