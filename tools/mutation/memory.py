"""What has become of mutants in earlier runs, so that a run goes on where another one was ended."""

import hashlib
import json
import pathlib


class Memory:
    """A file beside the build. What a suite said of a mutant holds as long as the suite is the same program."""

    def __init__(self, path):
        self.path = pathlib.Path(path)
        self.all = json.loads(self.path.read_text()) if self.path.exists() else {}

    def of(self, mutant, text):
        """What is known of the mutant; `text` is its file without it."""
        same = [number for number, line in enumerate(text.split("\n"), 1) if line.strip() == mutant.old]
        key = f"{mutant.file}|{mutant.old}|{mutant.new}|{same.index(mutant.number)}"
        return Past(self, self.all.setdefault(key, {"passed": {}}), hashlib.sha256(text.encode()).hexdigest())

    def save(self):
        new = self.path.with_suffix(".new")
        new.write_text(json.dumps(self.all))
        new.replace(self.path)


class Past:
    """What is known of one mutant."""

    def __init__(self, memory, record, text):
        self.memory, self.record, self.text = memory, record, text

    def noticed(self, suites):
        """The suite that noticed it and the case, if that suite is still what it was."""
        name, content, case = self.record.get("noticed", ("", "", ""))
        return next(((s, case) for s in suites if s.name == name and s.content == content), None)

    def may_notice(self, suite):
        """Whether that suite, as another program, noticed it once."""
        return self.record.get("noticed", [""])[0] == suite.name

    def passed(self, suite):
        return self.record["passed"].get(suite.name) == suite.content

    def unbuilt(self):
        return self.record.get("unbuilt") == self.text

    def note_noticed(self, suite, case):
        self.record["noticed"] = [suite.name, suite.content, case]
        self.memory.save()

    def note_passed(self, suite):
        self.record["passed"][suite.name] = suite.content
        self.memory.save()

    def note_unbuilt(self):
        self.record["unbuilt"] = self.text
        self.memory.save()
