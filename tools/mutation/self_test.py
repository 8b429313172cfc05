#!/usr/bin/env python3
"""Tests tools/mutants: what it makes of a text, its list, its copy of a tree, its suites. Prints only what fails."""

import dataclasses
import importlib.machinery
import importlib.util
import pathlib
import subprocess
import sys
import tempfile
import types
import unittest

TOOLS = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TOOLS / "mutation"))
sys.dont_write_bytecode = True
import building  # noqa: E402
import making  # noqa: E402
import memory  # noqa: E402

loader = importlib.machinery.SourceFileLoader("mutants", str(TOOLS / "mutants"))
mutants = importlib.util.module_from_spec(importlib.util.spec_from_loader("mutants", loader))
loader.exec_module(mutants)

FIXTURE = """\
#include <a> // 1 < 2
static_assert(1 < 2);
constexpr int kLimit = 7;
int declared(int with = 3);
struct Record {
  int number = 0x1F;
  void method() = delete;
};
/* if (a < b) */
int function(int a, bool b) {
  const char* text = "a < b && c";
  char room[32];
  std::printf("%d of %d",
              a + 5, 6);
  if (a <= kLimit) return a + 1;
  if (!b) {
    other(a,
          b);
  } else if (b && a > 2)
    a = 4;
  return b;
}
"""


def made(line):
    """{kind: what the fixture's line may say instead}."""
    result = {}
    for mutant in making.mutants_of("f.cpp", FIXTURE).get(line, []):
        result.setdefault(mutant.kind, []).append(mutant.new)
    return result


class Making(unittest.TestCase):
    def test_what_is_no_code_stays(self):
        for line in (1, 2, 4, 5, 7, 9, 10, 11, 12, 13, 14, 18):
            self.assertEqual(made(line), {}, FIXTURE.split("\n")[line - 1])

    def test_values_outside_of_functions(self):
        self.assertEqual(made(3), {"constant": ["constexpr int kLimit = 8;"]})
        self.assertEqual(made(6), {"constant": ["int number = 0x20;"]})

    def test_a_condition_and_a_returned_value(self):
        self.assertEqual(made(15), {
            "boundary": ["if (a < kLimit) return a + 1;"],
            "comparison": ["if (a > kLimit) return a + 1;"],
            "arithmetic": ["if (a <= kLimit) return a - 1;"],
            "constant": ["if (a <= kLimit) return a + 2;"],
            "return value": ["if (a <= kLimit) return {};"],
            "negated condition": ["if (!(a <= kLimit)) return a + 1;"]})  # fmt: skip

    def test_each_fault_once(self):
        self.assertEqual(made(16), {"boolean": ["if (b) {"]})
        self.assertEqual(made(21), {"return value": ["return {};"]})

    def test_a_statement_of_two_lines_is_dropped_whole(self):
        self.assertEqual(made(17), {"dropped statement": ["while (false) other(a,"]})

    def test_both_sides_of_a_boolean(self):
        self.assertEqual(made(19)["boolean"], ["} else if (b || a > 2)"])
        self.assertEqual(made(19)["negated condition"], ["} else if (!(b && a > 2))"])
        self.assertEqual(made(20), {"constant": ["a = 5;"], "dropped statement": ["while (false) a = 4;"]})

    def test_the_seed_chooses_and_more_only_adds(self):
        lines = {("f.cpp", n): m for n, m in making.mutants_of("f.cpp", FIXTURE).items()}
        drawn = making.draw(lines, 1)
        self.assertEqual(drawn, making.draw(lines, 1))
        self.assertNotEqual(drawn, making.draw(lines, 2))
        self.assertEqual(len(drawn), len(set(drawn)))
        self.assertEqual(len({m.number for m in drawn[: len(lines)]}), len(lines))

    def test_applied_to_its_line_only(self):
        mutant = making.mutants_of("f.cpp", FIXTURE)[20][0]
        changed = making.applied(FIXTURE, mutant)
        self.assertEqual(changed, FIXTURE.replace("    a = 4;", "    a = 5;"))
        with self.assertRaises(ValueError):
            making.applied(changed, mutant)


class Listed(unittest.TestCase):
    def test_entries(self):
        text = "# about\n\nsrc/f.cpp\n- a = 4;\n+ a = 5;\n  nobody\n  reads it\n\n"
        self.assertEqual(making.read_listed(text), {("src/f.cpp", "a = 4;", "a = 5;"): "nobody reads it"})

    def test_an_entry_needs_a_reason(self):
        with self.assertRaises(ValueError):
            making.read_listed("src/f.cpp\n- a\n+ b\n")

    def test_a_line_that_is_gone_is_named(self):
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "f.cpp").write_text("  here();\n")
            listed = {("f.cpp", "here();", "x"): "", ("f.cpp", "gone();", "x"): "", ("g.cpp", "here();", "x"): ""}
            self.assertEqual(len(list(mutants.stale(pathlib.Path(folder), listed))), 2)

    def test_the_list_of_this_tree(self):
        path = TOOLS.parent / "tests" / "mutants.txt"
        listed = making.read_listed(path.read_text())
        self.assertEqual(list(mutants.stale(TOOLS.parent, listed)), [])


class Copy(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "src").mkdir()
        (self.root / "src" / "f.cpp").write_text(FIXTURE)
        (self.root / ".gitignore").write_text("/build/\n")
        subprocess.run(["git", "init", "-q"], cwd=self.root, check=True)
        self.tree = building.Tree(self.root, self.root / "build" / "mutants", 2)
        self.tree.sync()
        self.copied = self.tree.copy / "src" / "f.cpp"
        self.a_test = types.SimpleNamespace(name="a_test", usual=1, noticed=0, content="1")

    def test_a_link_stays_a_link(self):
        self.copied.unlink()
        self.copied.write_text("was no link")
        for path in (self.root / "src" / "g.cpp", self.root / "src" / "f.cpp"):
            path.unlink(missing_ok=True)
            path.symlink_to("../elsewhere")
        for _ in range(2):
            self.tree.sync()
            self.assertEqual([p.readlink() for p in (self.copied, self.copied.parent / "g.cpp")],
                             [pathlib.Path("../elsewhere")] * 2)  # fmt: skip

    def suite(self, name, *command):
        test = {"name": name, "command": [*command, f"{self.tree.build}/{name}"], "properties": []}
        suite = building.Suite(test, "", str(self.tree.build))
        suite.usual = 1
        return suite

    def test_what_is_the_same_keeps_its_time(self):
        before = self.copied.stat().st_mtime_ns
        (self.root / "src" / "g.cpp").write_text("new")
        self.tree.sync()
        self.assertEqual(self.copied.stat().st_mtime_ns, before)
        (self.root / "src" / "g.cpp").unlink()
        self.tree.sync()
        self.assertFalse((self.tree.copy / "src" / "g.cpp").exists())

    def no_failure(self, suites, passed):
        for suite in suites:
            passed(suite)

    def failure(self, suites, passed):
        return suites[0], "Case"

    def judged(self, compiles, run):
        """The verdict, with stand-ins for compiler and suites; the tree and the copy are as before."""
        seen = []
        self.tree.objects = {"src/f.cpp": {"f.o"}}
        self.tree.has = lambda _: True
        self.tree.suites_of = lambda _, stage, known: [self.a_test]
        self.tree.compiles = lambda _: seen.append(self.copied.read_text()) or compiles
        self.tree.run = run
        mutant = making.mutants_of("src/f.cpp", FIXTURE)[3][0]
        try:
            return mutants.judge(self.tree, memory.Memory(self.root / "known"), mutant, [building.FOLDER_TESTS])
        finally:
            self.assertEqual(seen[:1], [FIXTURE.replace("kLimit = 7", "kLimit = 8")] * len(seen[:1]))
            self.compiled = len(seen)
            self.assertEqual(self.copied.read_text(), FIXTURE)
            self.assertEqual((self.root / "src" / "f.cpp").read_text(), FIXTURE)

    def test_verdicts(self):
        self.assertEqual(self.judged(True, self.no_failure)[0], "SURVIVED")
        self.a_test.content = "2"
        self.assertEqual(self.judged(True, self.failure), ("noticed", "  by a_test Case"))
        self.a_test.content = "3"
        self.assertEqual(self.judged(False, None)[0], "unbuilt")

    def test_a_verdict_holds_as_long_as_its_suite_is_the_same(self):
        for run, verdict in ((self.no_failure, "SURVIVED"), (self.failure, "noticed")):
            self.a_test.content += "new"
            self.assertEqual(self.judged(True, run)[0], verdict)
            self.assertEqual(self.compiled, 1)
            self.assertEqual(self.judged(True, None)[0], verdict)
            self.assertEqual(self.compiled, 0)
        self.a_test.content += "new"
        self.assertEqual(self.judged(True, self.no_failure)[0], "SURVIVED")
        self.assertEqual(self.judged(False, None)[0], "SURVIVED")

    def test_a_failure_is_asked_for_twice(self):
        answers = [(self.a_test, "Case"), None, None]
        self.assertEqual(self.judged(True, lambda s, passed: answers.pop(0) or self.no_failure(s, passed))[0], "SURVIVED")
        self.assertEqual(answers, [])
        self.a_test.content = "2"
        hang = lambda s, passed: answers.append(s) or (self.a_test, building.HANGS)  # noqa: E731
        self.assertEqual(self.judged(True, hang)[0], "noticed")
        self.assertEqual(len(answers), 1)

    def test_equal_lines_are_different_mutants(self):
        known = memory.Memory(self.root / "known")
        text = "a();\nb();\na();\n"
        pasts = [known.of(making.Mutant("f.cpp", n, "dropped", "a();", ""), text) for n in (1, 3)]
        pasts[0].note_noticed(self.a_test, "Case")
        self.assertEqual([past.noticed([self.a_test]) is not None for past in pasts], [True, False])
        moved = memory.Memory(self.root / "known").of(making.Mutant("f.cpp", 2, "dropped", "a();", ""), "\n" + text)
        self.assertEqual(moved.noticed([self.a_test]), (self.a_test, "Case"))

    def test_what_is_not_in_the_build_is_not_counted(self):
        mutant = making.mutants_of("src/f.cpp", FIXTURE)[3][0]
        known = memory.Memory(self.root / "known")
        self.assertEqual(mutants.judge(self.tree, known, mutant, [building.FOLDER_TESTS])[0], "unbuilt")
        # Who includes a header is known at the end.
        mutant = dataclasses.replace(mutant, file="src/f.h")
        (self.tree.copy / "src" / "f.h").write_text(FIXTURE)
        verdicts = [mutants.judge(self.tree, known, mutant, [stage])[0]
                    for stage in (building.FOLDER_TESTS, building.OTHER_TESTS)]  # fmt: skip
        self.assertEqual(verdicts, ["SURVIVED", "unbuilt"])

    def test_an_interrupt_puts_the_line_back(self):
        def interrupt(*_, **__):
            raise KeyboardInterrupt

        with self.assertRaises(KeyboardInterrupt):
            self.judged(True, interrupt)

    def test_commands_are_known_before_anything_is_built(self):
        (self.tree.build / "tests").mkdir(parents=True)
        (self.tree.build / "tests" / "CTestTestfile.cmake").write_text(
            'add_test([=[a_test]=] "/b/board" "exec" "--" "/x/a_test")\n'
            'set_tests_properties([=[a_test]=] PROPERTIES  TIMEOUT "300")\n'
            'add_test([=[b_test]=] "/x/b_test" "a \\"b\\"")\n')  # fmt: skip
        self.assertEqual(self.tree.commands(), {
            "a_test": ["/b/board", "exec", "--", "/x/a_test"], "b_test": ["/x/b_test", 'a \\"b\\"']})  # fmt: skip

    def test_suites_stop_at_the_first_that_fails(self):
        self.tree.build.mkdir(parents=True)
        self.assertIsNone(self.tree.run([self.suite("good", "true")] * 3))
        long, bad = self.suite("long", "sleep", "60", ";"), self.suite("bad", "false")
        long.command = ["sleep", "60"]
        self.assertIs(self.tree.run([long, bad, long])[0], bad)
        self.assertEqual(self.tree.running, {})

    def test_a_suite_that_hangs_is_ended(self):
        self.tree.build.mkdir(parents=True)
        long = self.suite("long", "x")
        long.command = ["sleep", "60"]
        long.usual = 0
        building.HANG_SECONDS, usual = 0.03, building.HANG_SECONDS
        try:
            self.assertEqual(self.tree.run([long]), (long, building.HANGS))
        finally:
            building.HANG_SECONDS = usual

    def test_time_that_is_not_seen_to_pass_is_no_hang(self):
        self.tree.build.mkdir(parents=True)
        long = self.suite("long", "x")
        long.command, long.usual = ["sleep", "0.6"], 0
        usual = building.HANG_SECONDS, building.LOOK_SECONDS
        # A look every 0.5 s, of which no more than MOST_SECONDS count.
        building.HANG_SECONDS, building.LOOK_SECONDS = 0.3, 0.5
        try:
            self.assertIsNone(self.tree.run([long]))
        finally:
            building.HANG_SECONDS, building.LOOK_SECONDS = usual


if __name__ == "__main__":
    result = unittest.TextTestRunner(stream=open("/dev/null", "w"), verbosity=0).run(  # noqa: SIM115
        unittest.defaultTestLoader.loadTestsFromModule(sys.modules["__main__"]))  # fmt: skip
    for case, trace in result.failures + result.errors:
        print(f"{case}:\n{trace}")
    sys.exit(not result.wasSuccessful())
