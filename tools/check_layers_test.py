#!/usr/bin/env python3
"""Breaks every rule of check_layers.py once, in a tree of its own, and wants it found."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import check_layers
import cpp_text

# A small tree in which every rule has something to hold.
GOOD = {
    "cmake/sources.cmake": """
set(TILLVANE_PUBLIC_HEADERS
  tillvane/tillvane.h
  tillvane/export.h
  tillvane/core/LThing.h
  tillvane/platform/native_types.h)
set(TILLVANE_SOURCES tillvane/core/thing.cpp tillvane/store/shop.cpp)  # file(GLOB) is not used
set(TILLVANE_TEST_SOURCES tillvane/core/thing_test.cpp)
""",
    "cmake/platform_linux.cmake": """
set(TILLVANE_PLATFORM_PUBLIC_HEADERS tillvane/platform/linux/native_types_linux.h)
set(TILLVANE_PLATFORM_SOURCES
  tillvane/platform/linux/clock_linux.cpp
  tillvane/platform/posix/pipe_posix.cpp
)
set(TILLVANE_PLATFORM_TEST_SOURCES tillvane/platform/linux/clock_linux_test.cpp)
""",
    "cmake/platform_mac.cmake": """
set(TILLVANE_PLATFORM_PUBLIC_HEADERS tillvane/platform/mac/native_types_mac.h)
set(TILLVANE_PLATFORM_SOURCES "")
""",
    "tillvane/tillvane.h": "#include <tillvane/core/LThing.h>\n",
    "tillvane/export.h": "#define TILLVANE_API\n",
    "tillvane/core/LThing.h": """#pragma once
#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>
class TILLVANE_API LThing { void Do(NativeRef); };
""",
    "tillvane/core/codes.h": "inline constexpr int kCode = 1;\n",
    "tillvane/core/thing.cpp": """#include <tillvane/core/LThing.h>
#include <tillvane/core/codes.h>
#include <tillvane/platform/clock.h>
// #if defined(__linux__) and #include <glib.h> are only words here.
const char* const kText = "#include <sqlite3.h>";
""",
    "tillvane/core/thing_test.cpp": '#include <tillvane/core/LThing.h>\n#include "tests/support/helper.h"\n',
    "tillvane/store/shop.cpp": "#include <tillvane/core/codes.h>\n#include <tillvane/platform/clock.h>\n",
    "tillvane/platform/native_types.h": """#if defined(__APPLE__)
#include <tillvane/platform/mac/native_types_mac.h>
#else
#include <tillvane/platform/linux/native_types_linux.h>
#endif
""",
    "tillvane/platform/clock.h": """#include <string>
#include <tillvane/platform/native_types.h>
namespace platform {
struct Ticker;
struct Plain { int number = 0; };
/// A GSource on Linux.
double Now();
std::string Text(const std::string& format, int (*pick)(int, int), NativeRef ref = nullptr);
Ticker* Start(double seconds);
Ticker* Start(double seconds, int kind);
bool OpenPipe(int ends[2]);
inline int Twice(int number) { return 2 * number; }
class Listener {
 public:
  virtual void Heard() = 0;
};
class Scope {
 public:
  Scope();
  ~Scope();
  Scope(const Scope&) = delete;
  static Scope* Current();
  int Depth() const { return depth_; }

 private:
  int depth_ = 0;
};
}  // namespace platform
""",
    "tillvane/platform/linux/native_types_linux.h": "using NativeRef = void*;\nusing CFSocketRef = void*;\n",
    "tillvane/platform/mac/native_types_mac.h": "#include <CoreFoundation/CFSocket.h>\n",
    "tillvane/platform/linux/clock_linux.cpp": """#include <glib.h>
#include <tillvane/platform/clock.h>
namespace platform {
namespace {
double Now(int) { return 0; }
constexpr int kTable[] = {1, 2};
}  // namespace
double Now() { if (kTable[0]) { return '{'; } return 1'000.0; }
std::string Text(const std::string& format, int (*pick)(int a, int b), NativeRef) { return format + "}"; }
Ticker* Start(double seconds) { return Start(seconds, 0); }
Ticker* Start(double, int) { return nullptr; }
Scope::Scope() : depth_{0} {}
Scope::~Scope() = default;
Scope* Scope::Current() { return nullptr; }
}  // namespace platform
""",
    "tillvane/platform/linux/clock_linux_test.cpp": "#include <glib.h>\n#include <tillvane/core/codes.h>\n",
    "tillvane/platform/posix/pipe_posix.cpp": """#include <tillvane/platform/clock.h>
bool platform::OpenPipe(int ends[2]) { return ends != nullptr; }
""",
    "tests/support/helper.h": "#include <glib.h>\n",
    "tests/CMakeLists.txt": "tillvane_add_test(process/other_test.cpp)\n",
    "tests/process/other_test.cpp": "#include <support/helper.h>\n",
}

CLOCK = "tillvane/platform/clock.h"
CLOCK_LINUX = "tillvane/platform/linux/clock_linux.cpp"
MAC_LIST = "cmake/platform_mac.cmake"
MAC_CLOCK = "tillvane/platform/mac/clock_mac.mm"


def mac_backend(code):
    """A macOS backend of this code, and the lists that name it."""
    sources = 'TILLVANE_PLATFORM_SOURCES ""'
    return {MAC_CLOCK: code,
            MAC_LIST: GOOD[MAC_LIST].replace(sources, f"TILLVANE_PLATFORM_SOURCES {MAC_CLOCK} "
                                             "tillvane/platform/posix/pipe_posix.cpp")}


GOOD_MAC_CODE = GOOD[CLOCK_LINUX].replace("#include <glib.h>", "#import <Foundation/Foundation.h>")

# (what is broken, the files that differ: text, or nothing for a file that is gone, what has to be found)
BROKEN = [
    ("a system's macro in the library",
     {"tillvane/store/shop.cpp": "#ifdef __APPLE__\n#endif\n"},
     r"^tillvane/store/shop\.cpp:1: asks for the system \(__APPLE__\); move"),
    ("a system's macro in an #elif over two lines",
     {"tillvane/core/codes.h": "int a;\n#if FOO\n#elif defined(BAR) || \\\n    defined(__linux__)\n#endif\n"},
     r"^tillvane/core/codes\.h:3: asks for the system \(__linux__\)"),
    ("a system's macro in a test",
     {"tests/process/other_test.cpp": "#if TARGET_OS_MAC\n#endif\n"},
     r"^tests/process/other_test\.cpp:1: asks for the system \(TARGET_OS_MAC\)"),
    ("a system told by its headers",
     {"tillvane/core/codes.h": "#if __has_include(<sys/epoll.h>)\n#endif\n"},
     r"^tillvane/core/codes\.h:1: asks for the system \(__has_include\)"),
    ("a system's macro in a seam header",
     {CLOCK: GOOD[CLOCK] + "#ifndef __GNUSTEP__\n#endif\n"},
     r"^tillvane/platform/clock\.h:\d+: asks for the system \(__GNUSTEP__\)"),
    ("GLib outside the seam",
     {"tillvane/store/shop.cpp": "\n#include <glib.h>\n"},
     r"^tillvane/store/shop\.cpp:2: includes <glib\.h>; only tillvane/platform/linux/ may"),
    ("GIO, ICU, SQLite, json, udev, polkit in a unit test",
     {"tillvane/core/thing_test.cpp": "#include <gio/gio.h>\n#include <unicode/unum.h>\n#include <sqlite3.h>\n"
      "#include <nlohmann/json.hpp>\n#include <libudev.h>\n#include <polkit/polkit.h>\n"},
     r"(?s)test\.cpp:1: .*test\.cpp:2: .*test\.cpp:3: .*test\.cpp:4: .*test\.cpp:5: .*test\.cpp:6: includes"),
    ("Foundation in the Linux backend",
     {CLOCK_LINUX: GOOD[CLOCK_LINUX] + "#import <Foundation/Foundation.h>\n"},
     r"includes <Foundation/Foundation\.h>; only tillvane/platform/mac/ may"),
    ("GLib in the macOS backend", mac_backend(GOOD_MAC_CODE + "#include <glib.h>\n"),
     r"clock_mac\.mm:\d+: includes <glib\.h>; only tillvane/platform/linux/ may"),
    ("a backend's file without its suffix",
     {"tillvane/platform/linux/clock.cpp": "",
      "cmake/platform_linux.cmake": GOOD["cmake/platform_linux.cmake"].replace(
          "linux/clock_linux.cpp", "linux/clock_linux.cpp tillvane/platform/linux/clock.cpp")},
     r"^tillvane/platform/linux/clock\.cpp:1: its name does not say its system; end it with _linux or _linux_test"),
    ("a backend's file with another suffix",
     {"tillvane/platform/posix/other_linux.h": ""},
     r"^tillvane/platform/posix/other_linux\.h:1: its name does not say its system; end it with _posix"),
    ("a folder of no known system",
     {"tillvane/platform/plan9/x_plan9.h": ""}, r"x_plan9\.h:1: no such system"),
    ("an implementation in the seam",
     {"tillvane/platform/clock.cpp": ""}, r"^tillvane/platform/clock\.cpp:1: a seam is headers only"),
    ("GLib in a seam header",
     {CLOCK: "#include <glib.h>\n" + GOOD[CLOCK]}, r"^tillvane/platform/clock\.h:1: includes <glib\.h>"),
    ("a native type in a seam header",
     {CLOCK: GOOD[CLOCK].replace("struct Ticker;", "struct Ticker;\nvoid Use(struct GSource*);")},
     r"^tillvane/platform/clock\.h:5: names the native type GSource; declare an opaque type"),
    ("a seam function without a definition",
     {CLOCK_LINUX: GOOD[CLOCK_LINUX].replace("double Now() {", "double Never() {")},
     r"^tillvane/platform/clock\.h:7: Now with 0 parameters is defined 0 times for linux"),
    ("a seam function defined twice",
     {CLOCK_LINUX: GOOD[CLOCK_LINUX].replace("Scope::Scope()", "double Now() { return 2; }\nScope::Scope()")},
     r"Now with 0 parameters is defined 2 times for linux"),
    ("a seam function defined for Linux and for both",
     {"tillvane/platform/posix/pipe_posix.cpp": GOOD["tillvane/platform/posix/pipe_posix.cpp"] +
      "double platform::Now() { return 0; }\n"},
     r"Now with 0 parameters is defined 2 times for linux"),
    ("one overload without a definition",
     {CLOCK_LINUX: GOOD[CLOCK_LINUX].replace("Ticker* Start(double, int) { return nullptr; }", "")},
     r"Start with 2 parameters is defined 0 times for linux"),
    ("a destructor without a definition",
     {CLOCK: GOOD[CLOCK].replace("~Scope();", "~Scope();\n  void Leave();")},
     r"^tillvane/platform/clock\.h:21: Scope::Leave with 0 parameters is defined 0 times"),
    ("a seam function defined only in a header of the backend",
     {CLOCK_LINUX: GOOD[CLOCK_LINUX].replace("double Now() {", "static double Now() {")},
     r"Now with 0 parameters is defined 0 times for linux"),
    ("a seam function without a definition for macOS",
     mac_backend(GOOD_MAC_CODE.replace("Scope* Scope::Current()", "Scope* Other()")),
     r"Scope::Current with 0 parameters is defined 0 times for mac; define it once in tillvane/platform/mac/ or posix/"),
    ("a function that is missing for macOS, and another that is not named",
     {**mac_backend(GOOD_MAC_CODE.replace("Scope* Scope::Current()", "Scope* Other()")),
      check_layers.MISSING_FOR_MAC: "platform::Start\n"},
     r"(?s)(?=.*names Start, which is defined for mac; take the line out)(?=.*Current with 0 parameters is defined 0)"),
    ("a type that another file defines too",
     {CLOCK_LINUX: GOOD[CLOCK_LINUX] + "namespace platform {\nenum class Plain : char { kNone };\n}\n"},
     r"clock_linux\.cpp:17: defines platform::Plain, as tillvane/platform/clock\.h does; give one of the two another name"),
    ("a type that a shared file and one system's both define",
     {CLOCK_LINUX: GOOD[CLOCK_LINUX] + "struct alignas(8) Pipe final : Base<int> {};\n",
      "tillvane/platform/posix/pipe_posix.cpp": GOOD["tillvane/platform/posix/pipe_posix.cpp"] + "class Pipe {};\n"},
     r"pipe_posix\.cpp:3: defines Pipe, as tillvane/platform/linux/clock_linux\.cpp does"),
    ("an inline function that another file defines too",
     {"tillvane/core/codes.h": "namespace platform {\n\ninline long Twice(int) { return 0; }\n}\n"},
     r"clock\.h:12: defines platform::Twice\(int\), as tillvane/core/codes\.h does"),
    ("a circle of includes",
     {"tillvane/core/codes.h": "#include <tillvane/core/more.h>\n",
      "tillvane/core/more.h": "#include <tillvane/core/codes.h>\n"},
     r"core/more\.h:1: closes a circle of includes "
     r"\(tillvane/core/codes\.h > tillvane/core/more\.h > tillvane/core/codes\.h\)"),
    ("a file that includes itself",
     {"tests/support/helper.h": '#include "helper.h"\n'},
     r"^tests/support/helper\.h:1: closes a circle of includes"),
    ("a file that reaches up",
     {"tillvane/store/till.h": "", "tillvane/core/codes.h": "#include <tillvane/store/till.h>\n"},
     r"^tillvane/core/codes\.h:1: includes tillvane/store/till\.h, which is above core/; .*REACHES_UP"),
    ("a portable file that includes a backend",
     {"tillvane/core/codes.h": "#include <tillvane/platform/linux/native_types_linux.h>\n"},
     r"^tillvane/core/codes\.h:1: includes .*native_types_linux\.h, which is one system's own"),
    ("a backend that includes the other system's",
     {CLOCK_LINUX: GOOD[CLOCK_LINUX] + "#include <tillvane/platform/mac/native_types_mac.h>\n"},
     r"includes tillvane/platform/mac/native_types_mac\.h, which is another system's"),
    ("a backend that includes a portable folder",
     {CLOCK_LINUX: GOOD[CLOCK_LINUX] + "#include <tillvane/core/codes.h>\n"},
     r"includes tillvane/core/codes\.h, which is above the seam; .*BACKEND_NEEDS"),
    ("a backend's test that includes the other system's",
     {"tillvane/platform/linux/clock_linux_test.cpp": "#include <tillvane/platform/mac/native_types_mac.h>\n"},
     r"includes tillvane/platform/mac/native_types_mac\.h, which is another system's"),
    ("a seam header that includes a portable folder",
     {CLOCK: "#include <tillvane/core/codes.h>\n" + GOOD[CLOCK]},
     r"^tillvane/platform/clock\.h:1: includes tillvane/core/codes\.h, which is no part of the seam"),
    ("the umbrella included inside",
     {"tillvane/store/shop.cpp": "#include <tillvane/tillvane.h>\n"},
     r"includes tillvane/tillvane\.h, which is for hosts"),
    ("the library including test support",
     {"tillvane/store/shop.cpp": "#include <tests/support/helper.h>\n"},
     r"shop\.cpp:1: the library includes tests/support/helper\.h"),
    ("a folder without a place",
     {"tillvane/misc/odd.h": ""}, r"^tillvane/misc/odd\.h:1: 'misc' has no place in the order of folders"),
    ("a source that is not listed",
     {"tillvane/core/new.cpp": ""}, r"^tillvane/core/new\.cpp:1: is not built; list it in TILLVANE_SOURCES of"),
    ("a test that is not listed",
     {"tillvane/platform/linux/new_linux_test.cpp": ""},
     r"is not built; list it in TILLVANE_PLATFORM_TEST_SOURCES of cmake/platform_linux\.cmake"),
    ("a test's support that is built into the library",
     {"tillvane/store/shop.cpp": "#include <tillvane/store/suite.h>\n",
      "tillvane/store/suite.h": "#include <gtest/gtest.h>\n"},
     r"lists tillvane/store/shop\.cpp in TILLVANE_SOURCES, where it does not belong"),
    ("a test with a child that is not listed",
     {"tests/process/forgotten_test.cpp": ""},
     r"^tests/process/forgotten_test\.cpp:1: is not built; give it a line in tests/CMakeLists\.txt"),
    ("a test in another language that is only spoken of",
     {"tests/mac/spoken_test.mm": "", "tests/CMakeLists.txt": "# As spoken_test.mm does.\n"},
     r"^tests/mac/spoken_test\.mm:1: is not built"),
    ("a public header that is not listed",
     {"tillvane/core/LNew.h": "", "tillvane/tillvane.h": GOOD["tillvane/tillvane.h"] +
      "#include <tillvane/core/LNew.h>\n"},
     r"^tillvane/core/LNew\.h:1: is not built; list it in TILLVANE_PUBLIC_HEADERS of cmake/sources\.cmake"),
    ("a shared file that the macOS list lacks",
     {**mac_backend(GOOD_MAC_CODE), MAC_LIST: mac_backend("")[MAC_LIST].replace(
         "tillvane/platform/posix/pipe_posix.cpp", "")},
     r"^tillvane/platform/posix/pipe_posix\.cpp:1: is not built; .* of cmake/platform_mac\.cmake"),
    ("an internal header that is installed",
     {"cmake/sources.cmake": GOOD["cmake/sources.cmake"].replace(
         "tillvane/export.h", "tillvane/export.h\n  tillvane/core/codes.h")},
     r"^cmake/sources\.cmake:5: lists tillvane/core/codes\.h in TILLVANE_PUBLIC_HEADERS, where it does not belong"),
    ("one system's file in the common list",
     {"cmake/sources.cmake": GOOD["cmake/sources.cmake"].replace("tillvane/store/shop.cpp", CLOCK_LINUX)},
     r"lists tillvane/platform/linux/clock_linux\.cpp in TILLVANE_SOURCES, where it does not belong"),
    ("a file listed twice",
     {"cmake/sources.cmake": GOOD["cmake/sources.cmake"].replace(
         "tillvane/store/shop.cpp", "tillvane/store/shop.cpp tillvane/store/shop.cpp")},
     r"^cmake/sources\.cmake:7: lists tillvane/store/shop\.cpp more than once"),
    ("a listed file that is gone",
     {"tillvane/store/shop.cpp": None},
     r"^cmake/sources\.cmake:7: lists tillvane/store/shop\.cpp, which does not exist"),
    ("files collected by a pattern",
     {"tests/CMakeLists.txt": "\nfile( GLOB_RECURSE sources *.cpp)\n"},
     r"^tests/CMakeLists\.txt:2: collects files by a pattern"),
    ("an installed header that needs one that is not",
     {"tillvane/core/LThing.h": GOOD["tillvane/core/LThing.h"] + "#include <tillvane/core/codes.h>\n"},
     r"^tillvane/core/LThing\.h:5: is installed and includes tillvane/core/codes\.h, which is not"),
    ("a public header that the umbrella lacks",
     {"tillvane/tillvane.h": "#pragma once\n"},
     r"^tillvane/core/LThing\.h:1: is a public header that tillvane/tillvane\.h does not include"),
]


@contextlib.contextmanager
def tree(changes):
    with tempfile.TemporaryDirectory() as folder:
        for path, text in {**GOOD, **changes}.items():
            if text is not None:
                file = Path(folder, path)
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text(text, encoding="utf-8")
        yield folder


def findings(changes):
    with tree(changes) as folder:
        return check_layers.check(folder)[0]


def run_main(folder):
    output = io.StringIO()
    with contextlib.redirect_stdout(output):
        status = check_layers.main([str(folder)])
    return status, output.getvalue()


class RulesTest(unittest.TestCase):
    def setUp(self):
        # The project's own exceptions are none of a small tree's.
        for table in (check_layers.REACHES_UP, check_layers.BACKEND_NEEDS, check_layers.NOT_FOR_MAC):
            patch = mock.patch.dict(table, clear=True)
            patch.start()
            self.addCleanup(patch.stop)

    def test_good_tree_passes(self):
        with tree({}) as folder:
            status, output = run_main(folder)
        self.assertEqual(status, 0, output)
        self.assertRegex(output, r"\A\S+ 14 files of the library, 2 other sources, \d+ includes .* 8 seam functions")

    def test_good_tree_with_a_second_system_passes(self):
        self.assertEqual(findings(mac_backend(GOOD_MAC_CODE)), [])
        without_current = mac_backend(GOOD_MAC_CODE.replace("Scope* Scope::Current()", "Scope* Other()"))
        self.assertEqual(findings({**without_current, check_layers.MISSING_FOR_MAC: "platform::Scope::Current\n"}), [])

    def test_one_name_may_mean_two_things_where_nothing_meets(self):
        mac = mac_backend(GOOD_MAC_CODE + "namespace platform { struct Own { double number; }; }\n")
        own = "namespace platform { struct Own { int number; }; struct Ticker; }\n"
        hidden = "namespace platform { namespace { struct Plain { char letter; }; inline int Twice(int) { return 0; } } }\n"
        overload = "namespace platform { inline long Twice(long number) { return number; } }\n"
        other = "namespace core { struct Plain { char letter; }; inline int Twice(int number) { return number; } }\n"
        self.assertEqual(findings({**mac, CLOCK_LINUX: GOOD[CLOCK_LINUX] + own + hidden,
                                   "tillvane/core/codes.h": overload + other}), [])

    def test_every_rule_is_held(self):
        for what, changes, expected in BROKEN:
            with self.subTest(what):
                found = findings(changes)
                self.assertRegex("\n".join(found), f"(?m){expected}", f"{what}: {found}")

    def test_a_finding_is_a_failure(self):
        with tree({"tillvane/core/new.cpp": ""}) as folder:
            status, output = run_main(folder)
        self.assertEqual(status, 1, output)

    def test_a_named_exception_holds_and_ends(self):
        up = {"tillvane/store/till.h": "", "tillvane/core/codes.h": "#include <tillvane/store/till.h>\n"}
        back = {CLOCK_LINUX: GOOD[CLOCK_LINUX] + "#include <tillvane/core/codes.h>\n"}
        for table, changes, key in (
                ("REACHES_UP", up, ("tillvane/core/codes.h", "tillvane/store/till.h")),
                ("BACKEND_NEEDS", back, (CLOCK_LINUX, "tillvane/core/codes.h"))):
            with self.subTest(table), mock.patch.dict(getattr(check_layers, table), {key: "a reason"}):
                self.assertEqual(findings(changes), [])
                self.assertRegex("\n".join(findings({})), r":1: no longer includes .*; take the exception out")

    def test_what_nothing_asks_of_macos_is_a_seam_function(self):
        without_current = mac_backend(GOOD_MAC_CODE.replace("Scope* Scope::Current()", "Scope* Other()"))
        with mock.patch.dict(check_layers.NOT_FOR_MAC, {"Scope::Current": "a reason"}):
            self.assertEqual(findings(without_current), [])
            self.assertRegex("\n".join(findings(mac_backend(GOOD_MAC_CODE))), "names Scope::Current, which is defined for mac")
        with mock.patch.dict(check_layers.NOT_FOR_MAC, {"Gone": "a reason"}):
            self.assertRegex("\n".join(findings({})), "names Gone, which is no seam function; take the line out")

    def test_reading_nothing_is_a_failure(self):
        with tempfile.TemporaryDirectory() as folder:
            status, output = run_main(folder)
        self.assertEqual(status, 1)
        self.assertIn("read no files of the library", output)

    def test_a_seam_that_cannot_be_read_is_a_failure(self):
        with tree({CLOCK: "#pragma once\n"}) as folder:
            status, output = run_main(folder)
        self.assertEqual(status, 1)
        self.assertIn("no seam functions", output)


class ProjectTest(unittest.TestCase):
    def test_exceptions_have_reasons(self):
        for table in (check_layers.REACHES_UP, check_layers.BACKEND_NEEDS, check_layers.NOT_FOR_MAC):
            for key, reason in table.items():
                self.assertTrue(reason.strip(), key)

    def test_the_project_passes(self):
        status, output = run_main(Path(check_layers.__file__).resolve().parent.parent)
        self.assertEqual(status, 0, output)


class CppTextTest(unittest.TestCase):
    def declared(self, code):
        return [key for _, key in cpp_text.declared_functions(cpp_text.blank_comments_and_strings(code))]

    def defined(self, code):
        return [key for _, key in cpp_text.defined_functions(cpp_text.blank_comments_and_strings(code))]

    def shared(self, code):
        return [name for _, name in cpp_text.shared_definitions(cpp_text.blank_comments_and_strings(code))]

    def test_blanking_keeps_places(self):
        for code, blanked in [
                ("a; // b\nc", "a;     \nc"),
                ("a /* b\n */ c", "a     \n    c"),
                ('f("{\\"}")', "f(      )"),
                ("x = '{';", "x =    ;"),
                ("x = 1'000'000 + 'a';", "x = 1'000'000 +    ;"),
                ("x = u8'{';", "x = u8   ;"),
                ('R"x({"\n)x" y', "      \n    y"),
                ('#include "a/b.h"', '#include "a/b.h"'),
        ]:
            with self.subTest(code):
                self.assertEqual(cpp_text.blank_comments_and_strings(code), blanked)

    def test_shared_definitions(self):
        for code, expected in [
                ("struct A; class B; enum C : int; struct D d = {}; extern struct E e;", []),
                ("namespace a::b { namespace c { struct A : B<int>, std::c {}; } }", ["a::b::c::A"]),
                ("namespace { struct A {}; namespace a { inline void F() {} } } inline namespace v { union U {}; }", ["v::U"]),
                ("template <class T, std::size_t n>\nclass A final {};", ["A"]),
                ("class A_API [[nodiscard]] B : public C { struct Inner {}; };", ["B"]),
                ("struct A::Inner final {}; enum class E : std::uint8_t { kOne };", ["A::Inner", "E"]),
                ("void F() { struct Local {}; } static int G() { return 0; }", []),
                ("template <> struct A<int> {}; template <class T>\nstruct A<T*, b::C<T>> : B<T> {};",
                 ["A<int>", "A<T*,b::C<T>>"]),
                ("struct __attribute__((packed, aligned(4))) P {}; class B_API __attribute__((packed)) B : public C {};",
                 ["P", "B"]),
                ("consteval int F(int n) { return n; } [[nodiscard]] consteval int G() { return 1; } consteval int H();",
                 ["F(int)", "G()"]),
                ("inline int a = 1; namespace b { inline constexpr char kText[] = \"{\"; constexpr inline std::array c{1, 2}; }",
                 ["a", "b::kText", "b::c"]),
                ("inline std::function<void(int)> f; inline int A::number = F(1); template <class T> inline bool is = T::k;",
                 ["f", "A::number", "is"]),
                ("inline int F(int a = 3); inline void G() noexcept; extern int a; constexpr int b = 1; using inlined = int;", []),
                ("namespace { inline int a = 1; }", []),
                ('extern "C" { struct A {}; inline int F(void* data, const int n = 2) { return n; } }',
                 ["A", "F(void*,constint)"]),
                ("[[nodiscard]] constexpr bool F(unsigned int a, std::map<A, B>& b) { return true; } constexpr int k[] = {1};",
                 ["F(unsignedint,std::map<A,B>&)"]),
                ("template <class T>\nT F(std::vector<T> list, T t) { return t; }", ["F(std::vector<T>,T)"]),
        ]:
            with self.subTest(code):
                self.assertEqual(self.shared(code), expected)

    def test_declarations(self):
        for code, expected in [
                ("namespace platform { int F(); }", [("F", 0)]),
                ("namespace platform { int F(void); }", [("F", 0)]),
                ("namespace platform { extern \"C\" { int F(int); } }", [("F", 1)]),
                ("namespace platform { std::map<int, int> F(std::map<int, int> a, int b[2]); }", [("F", 2)]),
                ("namespace platform { std::function<void(int)> F(); }", [("F", 0)]),
                ("namespace platform { [[nodiscard]] bool F(bool (*ask)(int, void*), void* data = nullptr); }", [("F", 2)]),
                ("namespace platform { bool operator==(const A& a, const A& b); }", [("operator==", 2)]),
                ("namespace platform { using F = int (*)(); constexpr int k = G(1); struct S; enum class E { a }; }", []),
                ("namespace platform { template <class T> T F(T t); }", []),
                ("namespace platform {\n#define M(x) F(x)\nint G(int);\n}", [("G", 1)]),
                ("namespace platform { class TILLVANE_API A : public B { public: A(int); int F() const; int x{1};\n"
                 "  ~A() = default; std::function<void()> f; }; }", [("A::A", 1), ("A::F", 0)]),
                ("namespace platform { class A { public: A(); virtual void F() = 0; }; }", []),
                ("namespace other { int F(); } int G();", []),
        ]:
            with self.subTest(code):
                self.assertEqual(self.declared(code), expected)

    def test_definitions(self):
        for code, expected in [
                ("namespace platform { int F() { return G({1}); } }", [("F", 0)]),
                ("namespace platform { int F() noexcept(true) { return 1; } int G(); }", [("F", 0)]),
                ("namespace platform { namespace { int F() { return 1; } } }", []),
                ("namespace platform { static int F() { return 1; } }", []),
                ("namespace platform { const auto f = [](int x) { return x; }; }", []),
                ("namespace platform { struct S { int F() { return 1; } }; }", []),
                ("namespace platform { A::A(int x) : B(x), c_{1} {} int F() {} }", [("A::A", 1), ("F", 0)]),
                ("namespace platform { A::~A() = default; }", [("A::~A", 0)]),
                ("int platform::F(int) { return 1; } int G() { return 1; }", [("F", 1)]),
        ]:
            with self.subTest(code):
                self.assertEqual(self.defined(code), expected)


if __name__ == "__main__":
    unittest.main()
