"""The mutation set: small source changes made mechanically from the sources.

A mutant is one change on one line. Its key is the file, a hash of the line's
text, which occurrence of that text in the file it is, the operator and which
match on the line: lines added or changed elsewhere leave it, and its rank in the
seeded selection, unchanged. The line number is only where it is found today.
"""

import dataclasses
import hashlib
import pathlib
import re

SEED = "kelix-mutate-1"

# The mutated trees: (directory, share of the set). Translation units only: a
# mutated header would rebuild everything that includes it.
AREAS = (("core", 0.7), ("API/Kelix3PexControl", 0.3))


def _flip(table):
    return lambda text: table[text]


def _plus_one(text):
    digits, suffix = re.fullmatch(r"(0[xX][0-9a-fA-F]+|\d+)([uUlL]*)", text).groups()
    value = int(digits, 0) + 1
    if digits[:2].lower() != "0x":
        return str(value) + suffix
    return digits[:2] + (f"{value:X}" if digits[2:].isupper() or digits[2:].isdigit() else f"{value:x}") + suffix


def _negate_condition(text):
    return "if (!(" + text[len("if ("):-1] + "))"


def _ignore_result(text):
    target, call = re.fullmatch(r"(.*?=\s*)(.*)", text, re.S).groups()
    return f"{target}((void){call}, S_OK)"


# (name, pattern, replacement). A pattern matches code only (strings and comments
# are masked); conditions are matched with balanced parentheses on their line.
OPERATORS = (
    ("comparison flipped", re.compile(r"(?<=\s)(==|!=|<=|>=|<|>)(?=\s)"),
     _flip({"==": "!=", "!=": "==", "<": ">=", ">=": "<", ">": "<=", "<=": ">"})),
    ("off by one", re.compile(r"(?<=\s)(<=|>=|<|>)(?=\s)"),
     _flip({"<": "<=", "<=": "<", ">": ">=", ">=": ">"})),
    ("condition negated", re.compile(r"\bif \((?P<balanced>)"), _negate_condition),
    # Every && and || of the line at once: flipping one of several would mix them unparenthesised.
    ("logic flipped", re.compile(r"(?<=\s)(&&|\|\|)(?=\s)(.*(?<=\s)(&&|\|\|)(?=\s))?"),
     lambda text: re.sub(r"(?<!\S)(&&|\|\|)(?!\S)", lambda m: {"&&": "||", "||": "&&"}[m[0]], text)),
    ("constant changed", re.compile(r"(?<![\w.])(0[xX][0-9a-fA-F]+|\d+)[uUlL]*(?![\w.'])"), _plus_one),
    ("constant changed", re.compile(r"\b(true|false)\b"), _flip({"true": "false", "false": "true"})),
    ("result ignored", re.compile(r"\bhr = (?=\w[\w:.>-]*\()(?P<to_semicolon>)"), _ignore_result),
)

# Lines never mutated: preprocessor, compile-time checks, declarations of texts
# and names, and the log (its texts and levels change no behaviour under test).
SKIPPED_LINE = re.compile(r"^\s*(#|static_assert|template\b|constexpr (wchar_t|char)\b)|"
                          r"KELIX_LOG|KELIX_TRACE|KELIX_HR|\\$")


@dataclasses.dataclass(frozen=True)
class Mutant:
    key: str  # stable identity: see the module's comment
    path: str
    line: int  # 1-based, where the original text is found today
    operator: str
    original: str  # the whole line, stripped
    mutated: str
    start: int  # the changed span within the line
    end: int
    replacement: str

    @property
    def id(self):
        return self.key[:10]

    def apply(self, text):
        """The file's text with this mutant applied; the line must still hold the original."""
        lines = text.split("\n")
        line = lines[self.line - 1]
        if line.strip() != self.original:
            raise ValueError(f"{self.path}:{self.line} no longer reads {self.original!r}")
        lines[self.line - 1] = line[:self.start] + self.replacement + line[self.end:]
        return "\n".join(lines)


def _code_mask(line, in_block_comment):
    """The line with string and character literals and comments blanked; whether a block comment remains open."""
    out, i, quote = [], 0, None
    while i < len(line):
        c = line[i]
        if in_block_comment:
            if line.startswith("*/", i):
                in_block_comment = False
                out.append("  ")
                i += 2
                continue
            out.append(" ")
        elif quote:
            if c == "\\":
                out.append("  ")
                i += 2
                continue
            out.append(" ")
            if c == quote:
                quote = None
        elif line.startswith("//", i):
            break
        elif line.startswith("/*", i):
            in_block_comment = True
            out.append("  ")
            i += 2
            continue
        elif c in "\"'" and not (c == "'" and i and line[i - 1].isalnum()):  # 1'000 is a digit separator
            quote = c
            out.append(" ")
        else:
            out.append(c)
        i += 1
    return "".join(out).ljust(len(line)), in_block_comment


def _span(code, match):
    """The matched span, extended to the balanced condition or to the statement's end; None if not on this line."""
    start, end = match.span()
    if "balanced" in match.groupdict():
        depth = 1
        while end < len(code) and depth:
            depth += {"(": 1, ")": -1}.get(code[end], 0)
            end += 1
        return (start, end) if depth == 0 else None
    if "to_semicolon" in match.groupdict():
        semicolon = code.find(";", end)
        return (start, semicolon) if semicolon >= 0 and code[semicolon + 1:].strip() == "" else None
    return start, end


def _digest(*parts):
    return hashlib.sha256("\0".join(map(str, parts)).encode()).hexdigest()


def candidates(root, path):
    """Every mutant of one source file, in line order."""
    text = (root / path).read_text(encoding="utf-8")
    seen, in_block_comment = {}, False
    for number, line in enumerate(text.split("\n"), 1):
        code, in_block_comment_after = _code_mask(line, in_block_comment)
        skip = in_block_comment or SKIPPED_LINE.search(line) or not code.strip()
        in_block_comment = in_block_comment_after
        if skip:
            continue
        stripped = line.strip()
        occurrence = seen[stripped] = seen.get(stripped, -1) + 1
        line_hash = _digest(stripped)[:16]
        for name, pattern, change in OPERATORS:
            for index, match in enumerate(pattern.finditer(code)):
                span = _span(code, match)
                if span is None:
                    continue
                start, end = span
                replacement = change(line[start:end])
                mutated = (line[:start] + replacement + line[end:]).strip()
                key = _digest(path, line_hash, occurrence, name, pattern.pattern, index)
                yield Mutant(key, path, number, name, stripped, mutated, start, end, replacement)


def rank(mutant):
    """The mutant's place in the seeded order."""
    return _digest(SEED, mutant.key)


def mutation_set(root, size):
    """The seeded selection, in its order: per area, its share of SIZE, taken in turn from each
    operator's candidates of lowest rank, at most one mutant per line so that the set spreads over
    the code; the areas interleaved, so that the first N of the set are a sample of the whole."""
    root = pathlib.Path(root)
    placed = []
    for directory, share in AREAS:
        queues = {}
        for source in sorted((root / directory).glob("*.cpp")):
            for mutant in candidates(root, source.relative_to(root).as_posix()):
                queues.setdefault(mutant.operator, []).append(mutant)
        for queue in queues.values():
            queue.sort(key=rank, reverse=True)  # lowest rank last, popped first
        taken, lines, wanted = [], set(), round(size * share)
        while len(taken) < wanted and any(queues.values()):
            for operator in sorted(queues):
                queue = queues[operator]
                while queue and len(taken) < wanted:
                    mutant = queue.pop()
                    if (mutant.path, mutant.line) not in lines:
                        lines.add((mutant.path, mutant.line))
                        taken.append(mutant)
                        break
        placed += [((index + 0.5) / wanted, mutant) for index, mutant in enumerate(taken)]
    return [mutant for _, mutant in sorted(placed, key=lambda p: p[0])]
