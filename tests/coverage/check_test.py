"""The judge of coverage, on reports made up for it."""
import os
import tempfile
import unittest

import check


def report(line_counts, function_counts=(1,), branch_counts=(1,)):
    lines = [{"line_number": n + 1, "count": count, "branches": []} for n, count in enumerate(line_counts)]
    lines[0]["branches"] = [{"count": count} for count in branch_counts]
    return {"files": [{"file": "code.cpp", "lines": lines,
                       "functions": [{"execution_count": count} for count in function_counts]}]}


class TheJudge(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.write("code.cpp", "".join(f"line{n + 1};\n" for n in range(100)))

    def write(self, name, text):
        with open(os.path.join(self.folder.name, name), "w") as file:
            file.write(text)
        return file.name

    def faults(self, found, listed=""):
        return list(check.faults(found, self.write("list", listed), self.folder.name))

    def test_is_content_when_all_is_reached(self):
        self.assertEqual(self.faults(report([1] * 100)), [])

    def test_wants_a_reason_for_a_line_that_is_not_reached(self):
        found = report([1] * 99 + [0])

        self.assertEqual(self.faults(found), ["not reached, and no reason given in list: code.cpp: line100;"])
        self.assertEqual(self.faults(found, "code.cpp: line100; # can't be\n"), [])

    def test_wants_no_reason_for_a_line_that_is_reached(self):
        self.assertEqual(self.faults(report([1] * 100), "code.cpp: line3; # can't be\n"),
                         ["reached (or gone), and still in list: code.cpp: line3;"])

    def test_takes_no_entry_without_a_reason(self):
        with self.assertRaisesRegex(SystemExit, "no reason for: code.cpp: line3;"):
            self.faults(report([1] * 100), "code.cpp: line3;\n")

    def test_wants_each_goal_met(self):
        rows = [(report([1] * 97 + [0] * 3), "lines: 97 of 100"), (report([1], function_counts=(1, 0)), "functions: 1 of 2"),
                (report([1], branch_counts=[1] * 91 + [0] * 9), "branches: 91 of 100"), (report([1], branch_counts=()), "branches: 0 of 0")]
        for found, start in rows:
            self.assertTrue(any(fault.startswith(start) for fault in self.faults(found)), start)


if __name__ == "__main__":
    unittest.main()
