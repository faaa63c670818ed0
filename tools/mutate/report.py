"""The Markdown report of a run, and the comparison of two reports.

The table "All mutants" is what a later comparison reads: its first two
columns are the mutant's id and its result.
"""

import collections
import re

RESULTS = ("killed", "survived", "timed out", "did not build")
ALL_MUTANTS = "## All mutants"


def _cell(text):
    return "`" + text.replace("|", "\\|").replace("`", "'") + "`" if text else ""


def score(counts):
    tested = counts["killed"] + counts["survived"] + counts["timed out"]
    return f"{counts['killed']}/{tested} = {100 * counts['killed'] / tested:.1f}%" if tested else "n/a"


def write(report_path, header, outcomes):
    """outcomes: (mutant, result, killed_by, build_seconds, test_seconds) in run order."""
    counts = collections.Counter(result for _, result, *_ in outcomes)
    per_file = collections.defaultdict(collections.Counter)
    for mutant, result, *_ in outcomes:
        per_file[mutant.path][result] += 1
    lines = ["# Mutation report", "", *header, "",
             f"Score (killed / killed, survived and timed out): {score(counts)}", "",
             "| file | mutants | " + " | ".join(RESULTS) + " |", "|---|---:|" + "---:|" * len(RESULTS)]
    for source, file_counts in sorted(per_file.items()):
        lines.append(f"| {source} | {sum(file_counts.values())} | " + " | ".join(str(file_counts[r]) for r in RESULTS) + " |")
    lines.append("| all | {} | {} |".format(len(outcomes), " | ".join(str(counts[r]) for r in RESULTS)))
    for result in ("survived", "timed out", "did not build"):
        chosen = [o for o in outcomes if o[1] == result]
        if chosen:
            lines += ["", f"## {result.capitalize()}", ""]
            lines += [f"- {m.path}:{m.line} ({m.operator}, {m.id}): {_cell(m.original)} -> {_cell(m.mutated)}"
                      for m, *_ in chosen]
    lines += ["", ALL_MUTANTS, "",
              "| id | result | where | mutation | original | mutated | killed by | build s | test s |",
              "|---|---|---|---|---|---|---|---:|---:|"]
    for mutant, result, killed_by, build_seconds, test_seconds in outcomes:
        lines.append(f"| {mutant.id} | {result} | {mutant.path}:{mutant.line} | {mutant.operator} | "
                     f"{_cell(mutant.original)} | {_cell(mutant.mutated)} | {killed_by} | "
                     f"{build_seconds:.1f} | {test_seconds:.1f} |")
    with open(report_path, "w", encoding="utf-8") as out:
        out.write("\n".join(lines) + "\n")


def _table(path):
    """The cells of each row of a report's table of all mutants."""
    in_table = False
    with open(path, encoding="utf-8") as report:
        for line in report:
            if line.startswith("## "):
                in_table = line.strip() == ALL_MUTANTS
            elif in_table and line.startswith("|"):
                cells = [c.strip() for c in re.split(r"(?<!\\)\|", line.strip())[1:-1]]
                if cells[1] in RESULTS:
                    yield cells


def read(path):
    """{id: (result, where, original, mutated)} from a report's table of all mutants."""
    return {cells[0]: (cells[1], cells[2], cells[4], cells[5]) for cells in _table(path)}


def killers(path):
    """{id: the test program that killed the mutant} from a report's table of all mutants."""
    return {cells[0]: cells[6] for cells in _table(path) if cells[1] == "killed"}


def lost_kills(before_path, after_path):
    """The mutants killed in the first report that the second does not kill, with what it says of them."""
    before, after = read(before_path), read(after_path)
    return [(mutant_id, where, original, mutated, after.get(mutant_id, ("not in the second report",))[0])
            for mutant_id, (result, where, original, mutated) in before.items()
            if result == "killed" and after.get(mutant_id, ("",))[0] != "killed"]
