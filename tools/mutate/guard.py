"""One source file mutated at a time, always put back.

The original text is saved under the state directory before the file is
changed; a run that was killed outright (no finally runs) leaves it there, and
the next run puts it back before anything else.
"""

import json
import os
import pathlib
import signal


class MutationGuard:
    def __init__(self, root, state_dir):
        self.root = pathlib.Path(root)
        self.state = pathlib.Path(state_dir) / "applied.json"
        self.backup = pathlib.Path(state_dir) / "original.txt"
        # A terminating signal ends the run through the finally blocks, as Ctrl+C does.
        for number in (signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, self._interrupt)

    @staticmethod
    def _interrupt(number, _frame):
        raise KeyboardInterrupt(f"signal {number}")

    def restore_left_over(self):
        """Puts back a file that an interrupted run left mutated; returns its path or None."""
        if not self.state.exists():
            return None
        path = json.loads(self.state.read_text())["path"]
        self._write(self.root / path, self.backup.read_bytes())
        self.state.unlink()
        return path

    def apply(self, mutant):
        """A context in which the mutant is in the working tree."""
        return _Applied(self, mutant)

    @staticmethod
    def _write(target, data):
        # Written in place with a new time stamp, so that the build sees the change
        # (and, once restored, rebuilds the original).
        temporary = target.with_name(target.name + ".mutate-tmp")
        temporary.write_bytes(data)
        os.replace(temporary, target)


class _Applied:
    def __init__(self, guard, mutant):
        self.guard, self.mutant = guard, mutant
        self.target = guard.root / mutant.path

    def __enter__(self):
        original = self.target.read_bytes()
        mutated = self.mutant.apply(original.decode("utf-8")).encode("utf-8")
        self.guard.state.parent.mkdir(parents=True, exist_ok=True)
        self.guard.backup.write_bytes(original)
        self.guard.state.write_text(json.dumps({"path": self.mutant.path, "mutant": self.mutant.id}))
        self.guard._write(self.target, mutated)
        return self

    def __exit__(self, *_):
        self.guard._write(self.target, self.guard.backup.read_bytes())
        self.guard.state.unlink()
        return False
