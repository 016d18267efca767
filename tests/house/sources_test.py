"""Shows that each check of sources.py goes red, on small trees with one flaw each."""

import tempfile
import unittest
from pathlib import Path

import sources


def complaints(check, files):
    """Writes a tree of files, given as text by name, and returns what the check says of it."""
    with tempfile.TemporaryDirectory() as folder:
        for name, text in files.items():
            path = Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        return list(sources.CHECKS[check](Path(folder)))


def function(lines):
    return "int f() {\n" + "    g();\n" * (lines - 2) + "}\n"


class Layers(unittest.TestCase):
    def test_may_include_downwards_and_the_system(self):
        self.assertEqual(complaints("layers_point_down", {
            "usb/A.cpp": '#include "usb/A.h"\n#include "common/B.h"\n#include "mxcommon/C.h"\n',
            "common/B.h": '#include "zebdiscovery/types.h"\n#include <string>\n#include <sys/socket.h>\n',
            "host/H.cpp": '#include "usb/A.h"\n',
        }), [])

    def test_may_not_include_upwards_or_outwards(self):
        for file, line in (("mxcommon/A.h", '#include "common/B.h"'), ("mxcommon/A.h", '#include "zebdiscovery/types.h"'),
                           ("common/A.cpp", '#include "usb/B.h"'), ("common/A.cpp", '  # include <usb/B.h>'),
                           ("usb/A.cpp", '#include "host/B.h"'), ("usb/A.cpp", '#include <tests/B.h>'),
                           ("usb/A.cpp", '#include "../phones/B.h"'), ("usb/A.cpp", '#include "B.h"'),
                           ("include/zebdiscovery/a.h", '#include "common/B.h"')):
            with self.subTest(file=file, line=line):
                found = complaints("layers_point_down", {file: f"\n{line}\n"})
                self.assertEqual(len(found), 1)
                self.assertTrue(found[0].startswith(f"{file}:2: "))


class Headers(unittest.TestCase):
    def test_may_not_name_libusb(self):
        for line in ("#include <libusb.h>", "#include <libusb-1.0/libusb.h>"):
            with self.subTest(line):
                self.assertEqual(len(complaints("headers_name_no_libusb", {"usb/A.h": line, "usb/A.cpp": line})), 1)


class OwnHeaders(unittest.TestCase):
    def test_come_first(self):
        for first, count in (('"host/A.h"', 0), ('"host/B.h"', 1), ("<string>", 1)):
            with self.subTest(first):
                source = f'// Why.\n#include {first}\n#include "host/A.h"\n'
                self.assertEqual(len(complaints("own_header_comes_first", {"host/A.h": "", "host/A.cpp": source})), count)

    def test_are_not_asked_of_a_source_that_has_none(self):
        self.assertEqual(complaints("own_header_comes_first", {"host/main.cpp": "#include <string>\n"}), [])


class Sizes(unittest.TestCase):
    def test_of_files_end_at_400_lines(self):
        self.assertEqual(complaints("files_are_short", {"usb/A.cpp": "\n" * 400}), [])
        self.assertEqual(complaints("files_are_short", {"tests/usb/ATest.cpp": "\n" * 401}),
                         ["tests/usb/ATest.cpp:401: 401 lines, of 400 at most"])

    def test_of_functions_end_at_40_lines(self):
        self.assertEqual(complaints("functions_are_short", {"usb/A.cpp": function(40)}), [])
        self.assertEqual(complaints("functions_are_short", {"tests/usb/ATest.cpp": function(41)}), [])
        for file in ("usb/A.cpp", "usb/A.h", "phones/a.c"):
            with self.subTest(file):
                self.assertEqual(complaints("functions_are_short", {file: "\n" + function(41)}),
                                 [f"{file}:2: f has 41 lines, of 40 at most"])

    def test_of_methods_and_templates_count_too(self):
        body = function(41)[len("int f()"):]
        for head in ("A::A() :\n    m(1)", "template <class T>\nauto A<T>::f(auto&&... a) const noexcept -> int",
                     "constexpr bool operator==(A a, B b)"):
            with self.subTest(head):
                self.assertEqual(len(complaints("functions_are_short", {"usb/A.cpp": head + body})), 1)

    def test_of_python_functions_count_too(self):
        self.assertEqual(len(complaints("functions_are_short", {"lab/a.py": "def f():\n" + "    g()\n" * 40})), 1)


class Tests(unittest.TestCase):
    def test_are_built(self):
        for lists, count in (({"tests/a/CMakeLists.txt": "SOURCES ATest.cpp"}, 0), ({"tests/CMakeLists.txt": "a/ATest.cpp"}, 0), ({"cmake/A.cmake": "ATest.cpp"}, 0),
                             ({"tests/a/CMakeLists.txt": "SOURCES AATest.cpp"}, 1), ({"tests/b/CMakeLists.txt": "ATest.cpp"}, 1)):
            with self.subTest(lists):
                self.assertEqual(len(complaints("tests_are_built", {"tests/a/ATest.cpp": "", **lists})), count)


if __name__ == "__main__":
    unittest.main()
