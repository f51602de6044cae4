"""Breaks the code one place at a time and counts how many of the breaks the tests see. See scripts/mutate.

Works on copies of the committed tree in build/mutate.
"""

import argparse
import dataclasses
import os
import pathlib
import random
import re
import subprocess
import sys
import threading

ROOT = pathlib.Path("build/mutate").absolute()
ROWS = pathlib.Path("tests/mutations.tsv")
EQUIVALENT = pathlib.Path("tests/mutations-equivalent.tsv")
TIME_LIMIT_S = 120  # a program that takes longer hangs: the break is seen
ALLOWED_UNSEEN_ROWS = 2
WANTED_SHARE = 0.95

CORE = ["core_tests", "scenario_tests", "simulate", "fuzz", "host_tests"]
# The test programs that reach a folder, those that see most of its breaks first.
PROGRAMS = {
    "monitor": ["scenario_tests", "core_tests", "simulate", "fuzz", "host_tests"],
    "link": CORE,
    "requests": CORE,
    "queries": CORE,
    "settings": CORE,
    "security": CORE,
    "platform": ["platform_tests", "scenario_tests", "core_tests", "simulate", "host_tests"],
    "simulator": ["simulator_tests", "scenario_tests", "host_tests", "simulate", "core_tests", "device_tests"],
    "devices": ["device_tests", "host_tests"],
    "host": ["host_tests"],
}
# Not built here, or declarations that the Windows build compares with the SDK.
LEFT_OUT = ("platform/windows/", "platform/posix/win32_api.h", "platform/posix/xml_api.h")
SANITIZERS = ("address,undefined", "thread")
SANITIZED_PROGRAMS = ("core_tests", "scenario_tests", "platform_tests", "simulator_tests", "device_tests", "host_tests")


@dataclasses.dataclass(frozen=True)
class Break:
    """A place of a file and the text that replaces it."""

    file: str
    start: int
    end: int
    replacement: str
    line: int
    old: str  # the lines that change, on one line
    new: str

    def describe(self) -> str:
        return f"{self.file}:{self.line}  {self.old}  =>  {self.new}"


def make_break(file: str, text: str, start: int, end: int, replacement: str) -> Break:
    first = text.rfind("\n", 0, start) + 1
    last = text.find("\n", end)
    last = len(text) if last < 0 else last
    joined = lambda part: " ".join(part.split())
    return Break(file, start, end, replacement, text.count("\n", 0, start) + 1,
                 joined(text[first:last]), joined(text[first:start] + replacement + text[end:last]))


# ---------------------------------------------------------------------------------------------
# Breaks made from the source

TOKEN = re.compile(r"""
      (?P<skip>//[^\n]*|/\*.*?\*/|^[ ]*\#(?:[^\n]*\\\n)*[^\n]*|R"\((?:.|\n)*?\)"|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])+'|\s+)
    | (?P<word>[A-Za-z_]\w*)
    | (?P<number>\d[\w.']*)
    | (?P<operator><<=|>>=|<=>|\.\.\.|->|::|\+\+|--|[-+*/%&|^=!<>]=|&&|\|\||<<|>>|.)
    """, re.VERBOSE | re.MULTILINE | re.DOTALL)

OPERATORS = {
    "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "+": "-", "-": "+",
    "*": "/", "/": "*", "%": "/", "+=": "-=", "-=": "+=", "|": "&", "&": "|", "|=": "&=", "&=": "|=",
}
WORDS = {"TRUE": "FALSE", "FALSE": "TRUE", "true": "false", "false": "true"}
NO_STATEMENT = {"return", "if", "for", "while", "switch", "case", "else", "do", "using", "class", "struct", "namespace",
                "static_assert", "template", "public", "private", "protected", "default", "goto", "throw", "typedef",
                "enum", "friend", "delete", "co_return", "extern"}


@dataclasses.dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


def tokens_of(text: str) -> list[Token]:
    return [Token(match.lastgroup, match.group(), match.start(), match.end())
            for match in TOKEN.finditer(text) if match.lastgroup != "skip"]


def closing(tokens: list[Token], opening: int) -> int | None:
    """The index of the parenthesis that closes the one at `opening`."""
    depth = 0
    for i in range(opening, len(tokens)):
        depth += {"(": 1, ")": -1}.get(tokens[i].text, 0)
        if depth == 0:
            return i
    return None


def changed_operators(text: str, tokens: list[Token]):
    for token in tokens:
        # Spaces on both sides: a binary operator, not a template, a pointer or a reference.
        is_binary = text[token.start - 1:token.start].isspace() and text[token.end:token.end + 1].isspace()
        if token.kind == "operator" and is_binary and token.text in OPERATORS:
            yield token.start, token.end, OPERATORS[token.text]
        elif token.text in ("++", "--"):
            yield token.start, token.end, "--" if token.text == "++" else "++"


def changed_constants(_: str, tokens: list[Token]):
    for token in tokens:
        if token.text in WORDS:
            yield token.start, token.end, WORDS[token.text]
        number = re.fullmatch(r"(0x[\da-fA-F]+|\d+)([uUlL]*)", token.text.replace("'", ""))
        if token.kind == "number" and number:
            value = int(number[1], 0 if number[1].startswith("0x") else 10)
            yield token.start, token.end, f"{0 if value == 1 else value + 1}{number[2]}"


def changed_conditions(text: str, tokens: list[Token]):
    for i, token in enumerate(tokens[:-1]):
        if token.text not in ("if", "while") or tokens[i + 1].text != "(":
            continue
        end = closing(tokens, i + 1)
        if end is None or end == i + 2:
            continue
        start, stop = tokens[i + 1].end, tokens[end].start
        condition = text[start:stop]
        yield start, stop, f"false && ({condition})"
        if token.text == "if":
            yield start, stop, f"true || ({condition})"
            yield start, stop, f"!({condition})"


def is_declaration_with_value(statement: list[Token]) -> bool:
    """Leaving one out never compiles, unless nothing uses it."""
    equals = next((i for i, token in enumerate(statement) if token.text == "="), 0)
    return equals >= 2 and (statement[equals - 2].kind == "word" or statement[equals - 2].text in ("*", "&", ">"))


def left_out_calls(text: str, tokens: list[Token]):
    """Statements that end with a call: calls whose result is not used, and objects such as locks."""
    start = 0
    for i, token in enumerate(tokens):
        if token.text not in (";", "{", "}", ":"):
            continue
        statement, start = tokens[start:i], i + 1
        if token.text != ";" or len(statement) < 3 or statement[-1].text != ")":
            continue
        first = statement[0]
        is_inside = text[text.rfind("\n", 0, first.start) + 1:first.start].startswith("    ")
        is_call = first.kind == "word" and first.text not in NO_STATEMENT and not is_declaration_with_value(statement)
        if is_call and is_inside:
            yield first.start, statement[-1].end, "static_cast<void>(0)"


KINDS = {"operator": changed_operators, "constant": changed_constants, "condition": changed_conditions,
         "call": left_out_calls}


def equivalent_breaks() -> set[tuple[str, str, str]]:
    """File, old lines and new lines of breaks that change nothing that can be seen; the fourth field says why."""
    rows = [line.split("\t") for line in EQUIVALENT.read_text().splitlines() if line]
    for number, row in enumerate(rows, 1):
        if len(row) != 4 or not row[3]:
            sys.exit(f"mutate: {EQUIVALENT}:{number}: needs file, old line, new line and reason, separated by tabs")
    return {tuple(row[:3]) for row in rows}


def product_files() -> list[str]:
    listed = subprocess.run(["git", "ls-tree", "-r", "--name-only", "HEAD", *PROGRAMS], check=True, text=True,
                            stdout=subprocess.PIPE).stdout.split()
    return [file for file in listed if file.endswith((".cpp", ".h")) and not file.startswith(LEFT_OUT)]


def random_breaks(seed: int) -> list[Break]:
    """Every break that can be made, in an order that the seed decides; the four kinds are equally frequent."""
    tree = Copy.tree_of(0)
    by_kind = {kind: [] for kind in KINDS}
    known = equivalent_breaks()
    for file in product_files():
        text = (tree / file).read_text()
        tokens = tokens_of(text)
        for kind, finder in KINDS.items():
            if kind == "call" and file.endswith(".h"):
                continue  # mostly declarations
            found = (make_break(file, text, *place) for place in finder(text, tokens))
            by_kind[kind] += [made for made in found if (made.file, made.old, made.new) not in known]
    generator = random.Random(seed)
    for breaks in by_kind.values():
        generator.shuffle(breaks)
    ordered = []
    while any(by_kind.values()):
        kind = generator.choice([kind for kind, breaks in by_kind.items() if breaks])
        ordered.append(by_kind[kind].pop())
    return ordered


def table_breaks(first: int, last: int | None) -> list[Break]:
    breaks = []
    for number, line in enumerate(ROWS.read_text().splitlines(), 1):
        if number < first or (last and number > last):
            continue
        file, old, new = line.split("\t")
        text = (Copy.tree_of(0) / file).read_text()
        start = text.find(old)
        if start < 0:
            sys.exit(f"mutate: {ROWS}:{number}: {file} does not contain: {old}")
        breaks.append(make_break(file, text, start, start + len(old), new))
    return breaks


# ---------------------------------------------------------------------------------------------
# Building and running

class Copy:
    """A copy of the committed tree with its builds. Used by one thread."""

    @staticmethod
    def tree_of(number: int) -> pathlib.Path:
        return ROOT / str(number) / "tree"

    def __init__(self, number: int):
        self.number = number
        self.tree = self.tree_of(number)
        self.log = self.tree.parent / "log"
        self.temporary = self.tree.parent / "tmp"
        self.temporary.mkdir(exist_ok=True)
        self.fuzz = sorted(path.stem for path in self.tree.glob("tests/fuzz/fuzz_*.cpp"))

    @classmethod
    def make(cls, number: int) -> "Copy":
        tree = cls.tree_of(number)
        subprocess.run(["rm", "-rf", tree], check=True)
        tree.mkdir(parents=True)
        archive = subprocess.run(["git", "archive", "HEAD"], check=True, stdout=subprocess.PIPE).stdout
        subprocess.run(["tar", "-x", "-m", "-C", tree], input=archive, check=True)
        return cls(number)

    def build_folder(self, sanitizer: str) -> pathlib.Path:
        return self.tree.parent / ("build-" + sanitizer.partition(",")[0] if sanitizer else "build")

    def configure(self, sanitizer: str) -> None:
        # Listing the cases of a broken program may fail: that is for the tests to see, not for the build.
        subprocess.run(["cmake", "-S", self.tree, "-B", self.build_folder(sanitizer), "-G", "Ninja",
                        "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0", "-DCMAKE_CXX_FLAGS=-w",
                        "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST",
                        "-DZRTMON_CHECK_HEADERS=OFF", f"-DZRTMON_SANITIZE={sanitizer}"],
                       check=True, stdout=subprocess.DEVNULL)

    def build(self, target: str, jobs: int, sanitizer: str = "") -> bool:
        with open(self.log, "w") as log:
            command = ["cmake", "--build", self.build_folder(sanitizer), f"-j{jobs}", "--target", target]
            return subprocess.run(command, stdout=log, stderr=log).returncode == 0

    def run(self, program: str, sanitizer: str, arguments: list[str]) -> tuple[int, str]:
        """Exit status and output. Limits keep a broken program from filling the disk or the memory."""
        tests = self.build_folder(sanitizer) / "tests"
        path = next(found for found in sorted(tests.rglob(program)) if found.is_file())
        limits = ["prlimit", "--core=0", "--fsize=67108864"] + ([] if sanitizer else ["--as=8589934592"])
        command = [*limits, "timeout", "--kill-after=1", str(TIME_LIMIT_S), path, *arguments]
        environment = os.environ | {"TMPDIR": str(self.temporary), "TEST_TMPDIR": str(self.temporary)}
        with open(self.log, "w") as log:
            status = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, env=environment).returncode
        return status, self.log.read_text(errors="replace")

    def programs(self, file: str) -> list[str]:
        for name in PROGRAMS[file.partition("/")[0]]:
            yield from self.fuzz if name == "fuzz" else [name]

    def failures(self, program: str, sanitizer: str = "", is_whole: bool = False) -> list[str]:
        """The tests of the program that fail: the first one only unless is_whole."""
        if program == "simulate":
            arguments = ["--runs", "200"]
        elif program.startswith("fuzz_"):
            arguments = [self.tree / "tests/fuzz/corpus" / program]
        else:
            arguments = [] if is_whole else ["--gtest_fail_fast"]
        status, output = self.run(program, sanitizer, arguments)
        if status == 0:
            return []
        failed = list(dict.fromkeys(re.findall(r"^\[  FAILED  \] ([^\s,]+\.[^\s,]+)", output, re.MULTILINE)))
        started = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
        if not re.search(r"^\[==========\] .* ran\.", output, re.MULTILINE):
            failed += started[-1:]  # the program ended inside this test
        return [f"{program}: {name}" for name in dict.fromkeys(failed)] or [f"{program} (exit status {status})"]


@dataclasses.dataclass
class Result:
    made: Break
    seen_by: list[str]


class Examination:
    """Applies breaks to the copies, one copy for each thread."""

    def __init__(self, copies: list[Copy], is_matrix: bool, uses_sanitizers: bool):
        self.copies = copies
        self.is_matrix = is_matrix
        self.uses_sanitizers = uses_sanitizers
        self.lock = threading.Condition()
        self.results: dict[int, Result] = {}
        self.busy = 0

    def try_break(self, copy: Copy, made: Break) -> Result | None:
        """None if it does not compile."""
        path = copy.tree / made.file
        text = path.read_text()
        path.write_text(text[:made.start] + made.replacement + text[made.end:])
        try:
            return self.seen(copy, made)
        finally:
            path.write_text(text)

    def seen(self, copy: Copy, made: Break) -> Result | None:
        seen_by = []
        for program in copy.programs(made.file):
            if not copy.build(program, 1):
                return None
            seen_by += copy.failures(program, is_whole=self.is_matrix)
            if seen_by and not self.is_matrix:
                break
        if not seen_by and self.uses_sanitizers:
            seen_by = self.seen_by_sanitizers(copy, made)
        return Result(made, seen_by)

    def seen_by_sanitizers(self, copy: Copy, made: Break) -> list[str]:
        for sanitizer in SANITIZERS:
            for program in (name for name in copy.programs(made.file) if name in SANITIZED_PROGRAMS):
                if copy.build(program, 1, sanitizer):
                    failed = copy.failures(program, sanitizer)
                    if failed:
                        return [f"{failed[0]} ({sanitizer} sanitizer)"]
        return []

    def work(self, copy: Copy, breaks: list[Break], count: int, taken: list[int]) -> None:
        while True:
            with self.lock:
                # A break that does not compile makes room for the next one.
                while len(self.results) + self.busy >= count and self.busy:
                    self.lock.wait()
                if len(self.results) >= count or taken[0] == len(breaks):
                    return
                number = taken[0]
                taken[0] += 1
                self.busy += 1
            result = None
            try:
                result = self.try_break(copy, breaks[number])
            finally:
                with self.lock:
                    self.busy -= 1
                    if result:
                        self.results[number] = result
                        by = ", ".join(result.seen_by[:3]) or "NOT SEEN"
                        print(f"{len(self.results):3}  {result.made.describe()}  [{by}]", flush=True)
                    self.lock.notify_all()

    def run(self, breaks: list[Break], count: int) -> list[Result]:
        """The results of the first `count` breaks that compile."""
        taken = [0]
        threads = [threading.Thread(target=self.work, args=(copy, breaks, count, taken)) for copy in self.copies]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        return [self.results[number] for number in sorted(self.results)]


def make_copies(count: int, uses_sanitizers: bool) -> list[Copy]:
    copies = []
    jobs = os.cpu_count() or 1
    for number in range(count):
        copy = Copy.make(number)
        for sanitizer in ("",) + (SANITIZERS if uses_sanitizers else ()):
            copy.configure(sanitizer)
            if not copy.build("test_programs", jobs, sanitizer):
                sys.exit(copy.log.read_text() + "mutate: the committed tree does not build")
        copies.append(copy)
    for program in {name for folder in PROGRAMS for name in copies[0].programs(folder)}:
        failed = copies[0].failures(program)
        if failed:
            sys.exit(f"mutate: {failed[0]} fails before anything is broken")
    return copies


# ---------------------------------------------------------------------------------------------
# Reports

def print_matrix(copy: Copy, results: list[Result]) -> None:
    seen = {name: [0, 0] for name in all_tests(copy)}  # breaks that the test sees, and that only it sees
    for result in results:
        for name in result.seen_by:
            counts = seen.setdefault(name, [0, 0])
            counts[0] += 1
            counts[1] += len(result.seen_by) == 1
    print("\nNever the only test to see a break (with the number of breaks seen):")
    for name, (count, alone) in sorted(seen.items()):
        if alone == 0:
            print(f"{count:4}  {name}")


def all_tests(copy: Copy) -> list[str]:
    names = []
    for program in dict.fromkeys(name for folder in PROGRAMS for name in copy.programs(folder)):
        if program.endswith("_tests"):
            _, output = copy.run(program, "", [])
            names += [f"{program}: {name}" for name in re.findall(r"^\[       OK \] (\S+)", output, re.MULTILINE)]
        else:
            names.append(program)
    return names


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="scripts/mutate")
    parser.add_argument("rows", nargs="*", type=int, metavar="ROW", help="first and last row of " + str(ROWS))
    parser.add_argument("--random", type=int, metavar="COUNT", help="make COUNT breaks instead of reading rows")
    parser.add_argument("--seed", type=int, default=1, help="of the random breaks (default 1)")
    parser.add_argument("--copies", type=int, default=os.cpu_count(), metavar="N",
                        help="copies of the tree that work side by side (default: one for each processor)")
    parser.add_argument("--sanitizers", action="store_true", help="try unseen breaks under the sanitizers, too")
    parser.add_argument("--matrix", action="store_true", help="list the tests that are never the only ones to see a break")
    arguments = parser.parse_args()
    if arguments.copies < 1:
        parser.error("--copies needs a number above 0")
    if len(arguments.rows) > 2 or (arguments.random is not None and (arguments.rows or arguments.random < 1)):
        parser.error("give up to two rows, or --random with a number above 0")
    return arguments


def main() -> int:
    arguments = parse_arguments()
    copies = make_copies(arguments.copies, arguments.sanitizers)
    if arguments.random:
        print(f"{arguments.random} random breaks, seed {arguments.seed}", flush=True)
        breaks, count = random_breaks(arguments.seed), arguments.random
    else:
        breaks = table_breaks(*(arguments.rows + [1, None][len(arguments.rows):]))
        count = len(breaks)
    results = Examination(copies, arguments.matrix, arguments.sanitizers).run(breaks, count)
    unseen = [result for result in results if not result.seen_by]
    if arguments.matrix:
        print_matrix(copies[0], results)
    if unseen:
        print("\nNot seen:")
    for result in unseen:
        print(result.made.describe())
    print(f"\n{len(results) - len(unseen)} of {len(results)} seen")
    if len(results) < count:
        print(f"mutate: {count - len(results)} breaks do not compile", file=sys.stderr)
        return 1
    allowed = len(results) * (1 - WANTED_SHARE) if arguments.random else ALLOWED_UNSEEN_ROWS
    return 0 if len(unseen) <= allowed else 1


if __name__ == "__main__":
    sys.exit(main())
