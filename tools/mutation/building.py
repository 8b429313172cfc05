"""The copy of the tree that the mutants live in: its files, its build, its suites."""

import hashlib
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import time

FOLDER_TESTS, OTHER_TESTS, SYSTEM_TESTS = range(3)
BUILD = "build"  # within the copy
# A suite that takes that much longer than usual hangs. The time on the clock is generous: the machine may be busy
# with other things; the time on the processor tells a loop without an end sooner.
HANG_FACTOR, HANG_SECONDS = 10, 30
LOOP_FACTOR, LOOP_SECONDS = 3, 3
FIRST_SECONDS = 900  # for a suite whose usual time is not known
HANGS = "hangs"
# On the clock counts only what this process sees pass: while the machine has no time for it, it has none for the
# suites either.
LOOK_SECONDS, MOST_SECONDS = 0.01, 0.05


class Failed(Exception):
    """What goes wrong that is no mutant's doing; the text is for whoever started the tool."""


class Suite:
    """One test of ctest: its command, the folder of tests/ that it is of, what it is made from."""

    def __init__(self, test, folder, build, inputs=()):
        self.name, self.folder, self.inputs = test["name"], folder, set(inputs)
        self.command = test["command"]
        self.directory = next((p["value"] for p in test["properties"] if p["name"] == "WORKING_DIRECTORY"), None)
        self.program = program_of(test, build)
        self.content = ""  # of its programs without a mutant
        self.usual, self.usual_cpu, self.noticed = None, 0.0, 0

    def stage(self, file):
        """When it is run for a mutant of that file of src."""
        if self.folder == os.path.dirname(file).partition("/")[2]:
            return FOLDER_TESTS
        return SYSTEM_TESTS if is_system(self.folder) else OTHER_TESTS


def is_system(folder):
    """Whether the suites of that folder of tests/ run whole programs."""
    return folder in ("system", "board", "groundstation", "camera_service", "faults", "storm")


def program_of(test, build):
    """The program of a test of ctest, within the build."""
    return next(c[len(build) + 1 :] for c in test["command"] if c.startswith(f"{build}/"))


def children_cpu():
    """Seconds on the processor of all processes that have ended."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


class Tree:
    """A copy of the repository under build/; the repository itself is only read."""

    def __init__(self, repository, copy, jobs):
        self.repository, self.copy, self.jobs = pathlib.Path(repository), pathlib.Path(copy), jobs
        self.build = self.copy / BUILD
        self.suites = []
        self.running = {}
        self.objects = {}  # source or header -> what is compiled from it

    def sync(self):
        """Makes the copy say what the repository says; what is the same already keeps its time."""
        listed = subprocess.run(
            ["git", "ls-files", "-co", "-z", "--exclude-standard", "--deduplicate"],
            cwd=self.repository, capture_output=True, text=True, check=True).stdout  # fmt: skip
        wanted = {name for name in listed.split("\0") if name and os.path.lexists(self.repository / name)}
        for name in wanted:
            source = self.repository / name
            if source.is_symlink():
                self.link(name, source.readlink())
            else:
                self.put(name, source.read_bytes(), source.stat().st_mode)
        for folder, folders, files in os.walk(self.copy):
            folders[:] = [f for f in folders if f not in (BUILD, "node_modules")]
            for path in (pathlib.Path(folder) / file for file in files):
                if str(path.relative_to(self.copy)) not in wanted:
                    path.unlink()
        for modules in self.repository.glob("tests/**/node_modules"):
            target = self.copy / modules.relative_to(self.repository)
            if modules.parent.name != "node_modules" and not target.exists():
                shutil.copytree(modules, target, symlinks=True)

    def link(self, name, target):
        path = self.copy / name
        if path.is_symlink() and path.readlink() == target:
            return
        path.parent.mkdir(parents=True, exist_ok=True)
        path.unlink(missing_ok=True)
        path.symlink_to(target)

    def put(self, name, content, mode=None):
        """Writes a file of the copy, if it says something else. Whether it did."""
        path = self.copy / name
        if path.exists() and path.read_bytes() == content:
            return False
        path.parent.mkdir(parents=True, exist_ok=True)
        if path.is_symlink():
            path.unlink()
        path.write_bytes(content)
        if mode is not None:
            path.chmod(mode & 0o777)
        return True

    def configure(self):
        self.build.mkdir(parents=True, exist_ok=True)
        linker = "-fuse-ld=lld" if shutil.which("ld.lld") else "-fuse-ld=bfd"
        # Quickly built; a mutant that only leaves something unused has to be noticed by a suite.
        options = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -w", "-DHOUSE_UNITY=OFF"]
        options += [f"-DCMAKE_{kind}_LINKER_FLAGS={linker}" for kind in ("EXE", "SHARED")]
        self.must(["cmake", "-S", str(self.copy), "-B", str(self.build), "-G", "Ninja", *options])

    def must(self, command):
        done = subprocess.run(command, cwd=self.copy, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise Failed(f"{' '.join(command[:3])} fails without a mutant:\n{(done.stdout + done.stderr)[-3000:]}")
        return done.stdout

    def read_suites(self):
        """Learns of every suite what it is made from, as far as that is known before it is built."""
        for (_, folder), test in self.tests().items():
            inputs = self.ninja("-t", "inputs", program_of(test, str(self.build))).split("\n")
            self.suites.append(Suite(test, folder, str(self.build), inputs))
        if (self.build / ".ninja_deps").exists():
            self.read_objects()

    def has(self, file):
        """Whether this build may have it: only another one compiles some sources."""
        return file.endswith(".h") or any(str(self.copy / file) in suite.inputs for suite in self.suites)

    def suites_of(self, file, stage, known):
        """The suites of a stage that depend on the file. What is new is built and timed: the copy has no mutant.

        Who includes a header is known of what was built once; `known`: only these.
        """
        suites = [s for s in self.suites
                  if s.stage(file) == stage and (file.endswith(".h") or str(self.copy / file) in s.inputs)]  # fmt: skip
        if known:
            suites = [suite for suite in suites if self.objects.get(file, set()) & suite.inputs]
        self.build_new([suite for suite in suites if not suite.content])
        suites = [suite for suite in suites if self.objects.get(file, set()) & suite.inputs]
        self.learn_times([suite for suite in suites if suite.usual is None])
        return [suite for suite in suites if suite in self.suites]

    def build_new(self, suites):
        if not suites:
            return
        print(f"building {len(suites)} suites", flush=True)
        self.ninja(f"-j{self.jobs}", *sorted({suite.program for suite in suites}))
        for suite in suites:
            suite.content = self.content_of(suite)
        self.read_objects()

    def read_objects(self):
        target = ""
        for line in self.ninja("-t", "deps").split("\n"):
            if line.startswith(" "):
                self.objects.setdefault(os.path.relpath(self.build / line.strip(), self.copy), set()).add(target)
            else:
                target = line.partition(":")[0]

    def ninja(self, *arguments):
        return self.must(["ninja", "-C", str(self.build), *arguments])

    def tests(self):
        """{(name, its folder in tests/): what ctest says of it}."""
        shown = json.loads(self.must(["ctest", "--test-dir", str(self.build), "--show-only=json-v1"]))
        graph, result = shown["backtraceGraph"], {}
        commands = self.commands()
        for test in shown["tests"]:
            test["command"] = commands[test["name"]]
            node = graph["nodes"][test["backtrace"]]
            while graph["nodes"][node.get("parent", 0)].get("parent") is not None:
                node = graph["nodes"][node["parent"]]
            result[test["name"], os.path.dirname(graph["files"][node["file"]].partition("/tests/")[2])] = test
        return result

    def commands(self):
        """{name: command} of every test; ctest itself does not tell those of programs that are not built."""
        text = "".join(file.read_text() for file in self.build.rglob("CTestTestfile.cmake"))
        return {name: re.findall(r'"((?:[^"\\]|\\.)*)"', rest)
                for name, rest in re.findall(r"(?m)^add_test\(\[=\[(.*?)\]=\] (.*)\)$", text)}  # fmt: skip

    def content_of(self, suite):
        programs = {suite.program, *(i for i in suite.inputs if re.match(r"(bin|lib)/", i))}
        return hashlib.sha256(b"".join((self.build / p).read_bytes() for p in sorted(programs))).hexdigest()

    def learn_times(self, suites):
        """Runs each suite that has changed since its time was taken. Leaves out what fails, and names it."""
        path = self.build / "usual_times.json"
        known = json.loads(path.read_text()) if path.exists() else {}
        for suite in suites:
            if known.get(suite.name, [""])[0] != suite.content:
                self.compiles([suite])
                began, cpu = time.monotonic(), children_cpu()
                # The machine may be busy.
                if self.run([suite], first=True) is not None and self.run([suite], first=True) is not None:
                    print(f"left out: {suite.name} fails without a mutant", flush=True)
                    self.suites.remove(suite)
                    continue
                known[suite.name] = [suite.content, time.monotonic() - began, children_cpu() - cpu]
                path.write_text(json.dumps(known))
            _, suite.usual, suite.usual_cpu = known[suite.name]

    def compiles(self, suites):
        """Builds the suites, and what they start."""
        programs = sorted({suite.program for suite in suites})
        ninja = subprocess.Popen(["ninja", "-C", str(self.build), f"-j{self.jobs}", *programs],
                                 stdout=subprocess.DEVNULL, start_new_session=True)  # fmt: skip
        try:
            return ninja.wait() == 0
        finally:
            # After an interrupt no compiler may see the line put back: a cache would keep what it makes of both.
            # It ends its compilers when it is ended, and waits for them.
            ninja.terminate()
            ninja.wait()

    def run(self, suites, first=False, passed=lambda suite: None):
        """Runs suites side by side until one fails. Its name and what failed, or None. `passed` is told of others."""
        waiting = list(suites)
        seen = time.monotonic()
        try:
            while waiting or self.running:
                while waiting and len(self.running) < self.jobs:
                    self.start(waiting.pop(0), first)
                since, seen = seen, time.monotonic()
                for process, (suite, left) in list(self.running.items()):
                    left -= min(seen - since, MOST_SECONDS)
                    self.running[process] = suite, left
                    if process.poll() is None and left > 0:
                        continue
                    del self.running[process]
                    late = process.returncode is None
                    if late:
                        self.kill(process)
                    if late or process.returncode != 0:
                        return suite, HANGS if late else self.case(suite)
                    passed(suite)
                time.sleep(LOOK_SECONDS)
            return None
        finally:
            self.stop()

    def start(self, suite, first):
        log = self.build / "logs" / suite.name
        log.parent.mkdir(exist_ok=True)
        # What runs in a board is not in its starter's account; it uses less than the time on the clock.
        usual_cpu = suite.usual_cpu if suite.usual_cpu > 0.2 else suite.usual
        loop = FIRST_SECONDS if first else round(LOOP_SECONDS + LOOP_FACTOR * usual_cpu)
        with log.open("wb") as output:
            process = subprocess.Popen(
                suite.command, cwd=suite.directory, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                start_new_session=True, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CPU, (loop, loop)),
                env={**os.environ, "GTEST_FAIL_FAST": "1", "GTEST_COLOR": "no"})  # fmt: skip
        limit = FIRST_SECONDS if first else HANG_SECONDS + HANG_FACTOR * suite.usual
        self.running[process] = suite, limit

    def case(self, suite):
        text = (self.build / "logs" / suite.name).read_text(errors="replace")
        found = re.search(r"\[  FAILED  \] ([\w/.]+)", text)
        running = re.findall(r"\[ RUN      \] ([\w/.]+)", text)
        return found.group(1) if found else f"ends in {running[-1]}" if running else "ends badly"

    def stop(self):
        for process in self.running:
            self.kill(process)
        self.running.clear()

    @staticmethod
    def kill(process):
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()
