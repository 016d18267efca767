"""Shows what each operator of scripts/mutate makes of code, and what it leaves alone."""

import itertools
import sys
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))
import mutants as subject  # noqa: E402


def broken(operator, body, head="void f()"):
    """What becomes of a function's body, one change at a time."""
    source = f"{head} {{ {body} }}\n"
    made = [mutant for mutant in subject.structures_of("usb/A.cpp", source) if mutant.operator == operator]
    return [mutant.broken().removeprefix(f"{head} {{ ").removesuffix(" }\n") for mutant in made]


class Operator(unittest.TestCase):
    def becomes(self, operator, cases, head="void f()"):
        for body, results in cases.items():
            with self.subTest(body):
                self.assertEqual(broken(operator, body, head), results)


class Swap(Operator):
    def test_lets_two_statements_that_follow_each_other_change_places(self):
        self.becomes("swap", {
            "a(); b();": ["b(); a();"],
            "a(); b(); c();": ["b(); a(); c();", "a(); c(); b();"],
            "x = 1; f(x);": ["f(x); x = 1;"],
            "const Lock lock(mutex); f();": ["f(); const Lock lock(mutex);"],
            "if (x) a(); b();": ["b(); if (x) a();"],
            "do a(); while (x); b();": ["b(); do a(); while (x);"],
            "if (x) { a(); b(); }": ["if (x) { b(); a(); }"],
            "try { a(); b(); } catch (...) { c(); }": ["try { b(); a(); } catch (...) { c(); }"],
            "call([x](int y) { a(); b(); });": ["call([x](int y) { b(); a(); });"],
            "ASSERT(x); ASSERT(y);": ["ASSERT(y); ASSERT(x);"],
        })

    def test_leaves_alone_what_means_nothing_or_can_not_be_compiled(self):
        self.becomes("swap", {body: [] for body in (
            "int x = g(); f(x);", "a(); return;", "a(); break;", "return a(); b();", "mA = true; mB = false;",
            "int x = 1; int y = 2;", "A* const x = g(); f(x);", "using B = A; f();", "constexpr int k = 1; f();",
            "a(); a();", "a();", "a.b = null; a.c = null;", "mA = ends[0]; mB = ends[1];",
            "a.b = c.d; a.e = c.f * 1000;",
            "const unsigned char* x = g(); f(x);", "", "switch (x) { case 1: a(); case 2: b(); }",
            "switch (x) { case 1: a(); [[fallthrough]]; default: b(); }")})

    def test_knows_that_two_plain_values_depend_on_each_other(self):
        self.becomes("swap", {"mA = mB; mB = false;": ["mB = false; mA = mB;"],
                              "mA = b.c; b.c = 1;": ["b.c = 1; mA = b.c;"],
                              "a.b = a.c; a.c = 1;": ["a.c = 1; a.b = a.c;"],
                              "mA = *b; mB = c;": ["mB = c; mA = *b;"], "mA = 1; mA = 2;": ["mA = 2; mA = 1;"]})


class Delete(Operator):
    def test_leaves_a_statement_out(self):
        self.becomes("delete", {
            "a();": [";"],
            "a(); b();": ["; b();", "a(); ;"],
            "const Lock lock(mutex); f();": ["; f();", "const Lock lock(mutex); ;"],
            "for (int x : all) { a(x); }": ["for (int x : all) { ; }", ";"],
            "if (x) a(); else b();": [";"],
            "if (x) { a(); return; }": ["if (x) { ; return; }", "if (x) { a(); ; }"],
            "try { a(); } catch (...) { b(); }": ["try { ; } catch (...) { b(); }",
                                                   "try { a(); } catch (...) { ; }", ";"],
        })

    def test_leaves_alone_what_has_no_effect_or_another_name(self):
        self.becomes("delete", {body: [] for body in (
            "struct A { int x; };",
            "int x = 1; return x;", "return 1;", "if (x) a();", "while (x) a();", "using B = A;", ";", "{ }")})
        self.assertEqual(broken("delete", "switch (x) { case 1: a(); break; }"),
                         ["switch (x) { case 1: ; break; }", ";"])


class Condition(Operator):
    def test_negates_it_and_makes_it_always_or_never_met(self):
        self.becomes("condition", {
            "if (x) a();": ["if (!(x)) a();", "if (true) a();", "if (false) a();"],
            "if (!x()) a();": ["if (x()) a();", "if (true) a();", "if (false) a();"],
            "while (x) a();": ["while (!(x)) a();", "while (true) a();", "while (false) a();"],
            "for (; x; y()) a();": ["for (; !(x); y()) a();", "for (; true; y()) a();", "for (; false; y()) a();"],
            "do { } while (x);": ["do { } while (!(x));", "do { } while (true);", "do { } while (false);"],
            "do a(); while (x);": ["do a(); while (!(x));", "do a(); while (true);", "do a(); while (false);"],
            "y = x ? a : b;": ["y = !(x) ? a : b;", "y = true ? a : b;", "y = false ? a : b;"],
            "if (int y = g(); y) a();": ["if (int y = g(); !(y)) a();", "if (int y = g(); true) a();",
                                         "if (int y = g(); false) a();"],
        })

    def test_leaves_the_negation_of_an_equality_to_the_comparison(self):
        self.becomes("condition", {"if (x == y) a();": ["if (true) a();", "if (false) a();"],
                                   "x = a == b ? c : d;": ["x = true ? c : d;", "x = false ? c : d;"]})
        self.assertIn("if (!(x == y && z)) a();", broken("condition", "if (x == y && z) a();"))

    def test_takes_out_each_part(self):
        self.becomes("condition", {
            "f(a && b);": ["f(true && b);", "f(a && true);"],
            "f(a || b);": ["f(false || b);", "f(a || false);"],
            "f(a && b || c);": ["f(false || c);", "f(a && b || false);", "f(true && b || c);", "f(a && true || c);"],
            "ASSERT(!(a && b));": ["ASSERT(!(true && b));", "ASSERT(!(a && true));"],
        })

    def test_leaves_alone_what_is_none(self):
        self.becomes("condition", {body: [] for body in (
            "if (auto* x = g()) a(x);", "for (int x : all) a(x);", "for (;;) a();", "switch (x) { default: a(); }",
            "while (true) a();", "auto&& x = g();")})


class Comparison(Operator):
    def test_moves_it_by_one_or_turns_it_round(self):
        for old, new in {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}.items():
            self.becomes("comparison", {f"f(a {old} b, c);": [f"f(a {new} b, c);"]})

    def test_takes_each_of_several(self):
        self.becomes("comparison", {"return a < 1 && b > 2;": ["return a <= 1 && b > 2;", "return a < 1 && b >= 2;"],
                                    "x = a < 1 ? b : c;": ["x = a <= 1 ? b : c;"]})

    def test_leaves_alone_what_is_none(self):
        self.becomes("comparison", {body: [] for body in (
            "std::vector<int> x; f<A, B>(x);", "x->y();", "s << x;", "f([](int x) -> int { g(x); });")})


class Return(Operator):
    def test_gives_another_value_back(self):
        for head, body, result in (
                ("bool f()", "return true;", "return false;"), ("bool f()", "return false;", "return true;"),
                ("bool f()", "return g();", "return !(g());"), ("bool f()", "return !x;", "return x;"),
                ("auto f()", "return a && b;", "return !(a && b);"), ("int f()", "return g();", "return {};"),
                ("void f()", "return g();", "return ;"),
                ("char* f()", "return a && b ? c : d;", "return {};"),
                ("const char* f()", "return g();", "return {};"),
                ("Status f()", "return Status::Done;",
                 "return static_cast<decltype(Status::Done)>(static_cast<int>(Status::Done) + 1);"),
                ("Status f()", "if (x) return g(); return {};", "if (x) return {}; return {};")):
            with self.subTest(f"{head} {body}"):
                self.assertEqual(broken("return", body, head), [result])

    def test_leaves_alone_what_another_way_breaks_or_nothing_else_fits(self):
        for head, body in (("int f()", "return 1;"), ("const char* f()", 'return "a";'), ("A& f()", "return *this;"),
                           ("A* f()", "return nullptr;"), ("void f()", "return;"), ("A& f()", "return mA;"),
                           ("bool f()", "return a == b;"), ("auto f()", "return g();")):
            with self.subTest(f"{head} {body}"):
                self.assertEqual(broken("return", body, head), [])


class Cast(Operator):
    def test_is_left_out_or_made_earlier_or_later(self):
        self.becomes("cast", {
            "f(static_cast<int>(a));": ["f((a));"],
            "f(static_cast<int>(a - b));": ["f((a - b));", "f(static_cast<int>(a) - (b));"],
            "f(static_cast<int>(a) << 8);": ["f((a) << 8);", "f(static_cast<int>((a) << 8));"],
            "f(static_cast<std::vector<int>>(a));": ["f((a));"],
        })


class Argument(Operator):
    def test_changes_places_with_the_next(self):
        self.becomes("argument", {
            "f(a, b);": ["f(b, a);"],
            "f(a, b, c);": ["f(b, a, c);", "f(a, c, b);"],
            "f(g(a, b), c);": ["f(c, g(a, b));", "f(g(b, a), c);"],
            "f(m<A, B>(a), c);": ["f(c, m<A, B>(a));"],
            "x = {a, b};": ["x = {b, a};"],
            "return {a, b};": ["return {b, a};"],
        })

    def test_of_a_list_outside_of_functions_and_of_a_constructors_members(self):
        for source, result in {"const Row rows[] = {{a, b}};\n": ["const Row rows[] = {{b, a}};\n"],
                               "A::A(int x, int y) : mA(x, y) {}\n": ["A::A(int x, int y) : mA(y, x) {}\n"]}.items():
            with self.subTest(source):
                made = [mutant.broken() for mutant in subject.structures_of("usb/A.cpp", source)]
                self.assertEqual(made, result)

    def test_leaves_alone_equal_ones_parameters_and_what_fits_nowhere_else(self):
        self.becomes("argument", {body: [] for body in (
            "f(a, a);", "f(a);", "f({.x = 1, .y = 2});", 'f("a", 1);', "f(kBig, this);", "if (a) b();",
            "f([x](int a, int b) { g(); });", "f(sizeof(a, b));")})
        self.assertEqual(broken("argument", "", "void f(int a, int b)"), [])


class Reading(unittest.TestCase):
    def test_names_the_function_that_a_mutant_belongs_to(self):
        for source, name in {
            "void f() { a(); }": "f",
            "A::~A() { a(); }": "A::~A",
            "bool A::B::operator==(const B& other) const { a(); }": "A::B::operator==",
            "namespace n { struct A { int g() const noexcept { a(); } }; }": "A::g",
            "template <class T> class A : public B<T> { void g() override { a(); } };": "A::g",
            'class CAPABILITY("m") A { void g() { a(); } };': "A::g",
            "A::A(int x) : mX(x), mY{x} { a(); }": "A::A",
            "const std::vector<int>* A::g(int x) { a(); }": "A::g",
        }.items():
            with self.subTest(source):
                made = subject.structures_of("usb/A.cpp", source)
                self.assertEqual([mutant.key for mutant in made if mutant.operator == "delete"],
                                 [f"usb/A.cpp: {name}: delete: without a();"])

    def test_sees_no_code_in_comments_texts_and_preprocessor_lines(self):
        source = '// a(); b();\n/* a(); b(); */\nvoid f() {\n#define X a(); \\\n    b();\n    g("a(); b();"); }\n'

        self.assertEqual([str(mutant) for mutant in subject.structures_of("usb/A.cpp", source)],
                         ['usb/A.cpp:6: without g("a(); b();");'])

    def test_reads_all_of_what_ships(self):
        for folder in subject.FOLDERS:
            for path in (subject.ROOT / folder).glob("*.[ch]*"):
                with self.subTest(path.name):
                    subject.Source(path.read_text())


class Keys(unittest.TestCase):
    def keys(self, source):
        return [mutant.key for mutant in subject.structures_of("usb/A.cpp", source)]

    def test_outlive_changes_around_them(self):
        before = self.keys("void f() { a(); }\nvoid g() { b(x, y); }\n")
        after = self.keys("// More.\nvoid e() { a(); }\n\nvoid f() {\n    a(); // Why.\n}\n\nvoid g() {\n    b(x,\n"
                          "      y);\n}\n")

        self.assertEqual(len(before), 3)
        self.assertEqual(set(before) - set(after), set())

    def test_are_the_same_whenever_they_are_made_and_no_two_are_equal(self):
        first, second = ([mutant.key for mutant in subject.all_mutants()] for _ in range(2))

        self.assertEqual(first, second)
        self.assertEqual(len(set(first)), len(first))

    def test_no_two_mutants_are_the_same_code_nor_the_right_one(self):
        for path, mutants in itertools.groupby(subject.all_mutants(), key=lambda mutant: mutant.path):
            made = [mutant.broken() for mutant in mutants]
            with self.subTest(path):
                self.assertEqual(len(set(made)), len(made))
                self.assertNotIn((subject.ROOT / path).read_text(), made)


if __name__ == "__main__":
    unittest.main()
