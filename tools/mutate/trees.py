"""The build trees the mutants are built in, and the test programs that cover a source file.

A tree's test programs are the gtest programs of its ctest list, each run once
with the environment ctest gives it. A program covers a source file when the
file is among its build inputs, directly or through a target it depends on (the
DLL for the programs that load it).
"""

import dataclasses
import json
import os
import pathlib
import signal
import subprocess
import time


@dataclasses.dataclass
class TestProgram:
    executable: str
    command: list
    environment: dict
    directory: str
    inputs: frozenset = frozenset()
    seconds: float = 0.0  # its time on the unmutated tree

    @property
    def name(self):
        return pathlib.Path(self.executable).name

    def run(self, timeout, log):
        """'passed', 'failed' or 'timed out'; the output goes to the log file."""
        started = subprocess.Popen(self.command, cwd=self.directory, env={**os.environ, **self.environment},
                                   stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT,
                                   start_new_session=True)
        try:
            return "passed" if started.wait(timeout=timeout) == 0 else "failed"
        except subprocess.TimeoutExpired:
            return "timed out"
        finally:  # nothing of a program (nor what it started) outlives its run
            try:
                os.killpg(started.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            started.wait()


class Tree:
    def __init__(self, root, build_dir, extra_targets=()):
        self.root = pathlib.Path(root).resolve()
        self.build_dir = self.root / build_dir
        self.extra_targets = list(extra_targets)  # built with the programs: what they load at run time
        self.programs = None

    def build(self, targets, log):
        """True when the targets built; ninja rebuilds only what depends on a changed file."""
        command = ["ninja", "-C", str(self.build_dir), "-j2", *self.extra_targets, *targets]
        return subprocess.run(command, stdout=log, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL).returncode == 0

    def covering(self, path):
        """The test programs whose build inputs hold the source file."""
        if self.programs is None:
            self.programs = self._list_programs()
        source = str(self.root / path)
        return [program for program in self.programs if source in program.inputs]

    def _list_programs(self):
        listed = subprocess.run(["ctest", "--test-dir", str(self.build_dir), "--show-only=json-v1"],
                                capture_output=True, text=True, check=True)
        groups = {}
        for test in json.loads(listed.stdout)["tests"]:
            command = test.get("command", [])
            filters = [arg for arg in command if arg.startswith("--gtest_filter=")]
            if not filters:
                continue  # not a gtest program
            properties = {p["name"]: p["value"] for p in test.get("properties", [])}
            environment = dict(item.split("=", 1) for item in properties.get("ENVIRONMENT", []))
            base = [arg for arg in command if not arg.startswith("--gtest_filter=")]
            key = (tuple(base), tuple(sorted(environment.items())), properties.get("WORKING_DIRECTORY", ""))
            groups.setdefault(key, []).append(filters[0].split("=", 1)[1])
        # Every listed test of an executable, whatever its group: a group that holds all of a suite's
        # listed tests names the suite (the Windows command line is short), other groups name each test.
        suites = {}
        for (base, _, _), names in groups.items():
            for name in names:
                suites.setdefault((base, name.split(".")[0]), set()).add(name)
        programs = []
        for (base, environment, directory), names in groups.items():
            patterns = set()
            for name in names:
                suite = name.split(".")[0]
                whole = suites[(base, suite)] <= set(names)
                patterns.add(suite + ".*" if whole else name)
            executable = next(arg for arg in base if arg.startswith(str(self.build_dir)) and os.path.isfile(arg))
            command = [*base, "--gtest_filter=" + ":".join(sorted(patterns)), "--gtest_fail_fast"]
            programs.append(TestProgram(executable, command, dict(environment),
                                        directory or str(self.build_dir), self._inputs(executable)))
        return programs

    def _inputs(self, executable):
        target = os.path.relpath(executable, self.build_dir)
        listed = subprocess.run(["ninja", "-C", str(self.build_dir), "-t", "inputs", target],
                                capture_output=True, text=True, check=True)
        return frozenset(str((self.build_dir / line).resolve()) for line in listed.stdout.split())

    def target_of(self, program):
        """The ninja target that builds the program."""
        return os.path.relpath(program.executable, self.build_dir)


def timed(action, *args):
    """(result, seconds) of a call."""
    start = time.monotonic()
    result = action(*args)
    return result, time.monotonic() - start
