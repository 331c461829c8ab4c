#!/usr/bin/env python3
"""scripts/folder-map on a small tree of its own: what is a call, what is drawn, and what makes the check fail."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parent.parent.parent / "scripts/folder-map"
EMPTY_PAGE = "# Made up\n\n<!-- begin: scripts/folder-map -->\n<!-- end: scripts/folder-map -->\n\nThe end.\n"


class FolderMapTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = Path(directory.name)
        self.put("docs/map.md", EMPTY_PAGE)
        # protocol calls services, services calls values, vars calls symbols; all but symbols call core.
        self.put("core/object.h", "struct Object { Object(); int state; };")
        self.put("core/settings.h", "struct Settings { int limit; };")
        self.put("protocol/loop.cpp", '#include "services/encode.h"\n#include "core/object.h"')
        self.put("services/encode.h", '#include "core/object.h"\nint encode(int number);')
        self.put("services/encode.cpp", '#include "values/store.h"')
        self.put("values/store.h", "namespace ac500 {\nvoid store(int byte);\n}")
        self.put("values/store.cpp", '#include "core/object.h"')
        self.put("vars/plan.cpp", '#include "symbols/table.h"\n#include "core/object.h"\n#include <QtCore/QList>')
        self.put("symbols/table.h", "class Table {\npublic:\n    int size() const;\n};")

    def put(self, name, text):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_text(text + "\n", encoding="utf-8")

    def run_script(self, *arguments):
        return subprocess.run([sys.executable, SCRIPT, *arguments, self.root], capture_output=True, text=True, check=False)

    def write_page(self):
        done = self.run_script()
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return (self.root / "docs/map.md").read_text(encoding="utf-8")

    def assert_fails(self, done, *texts):
        self.assertEqual(done.returncode, 1)
        for text in texts:
            self.assertIn(text, done.stderr)

    def arrows(self):
        return [line for line in self.run_script("--why").stdout.splitlines() if " -> " in line]

    def test_folders_are_drawn_below_their_callers(self):
        self.assertIn("""

    protocol -*--------------------*
              v                    |
          services -*--------------*
                    v              |
                 values -----------*
                       vars -*-----*
                             v     |
                          symbols  |
                                   v
                                 core
<!-- end: scripts/folder-map -->
""", self.write_page())

    def test_the_page_around_the_drawing_stays(self):
        page = self.write_page()
        self.assertTrue(page.startswith("# Made up\n\n<!-- begin"))
        self.assertTrue(page.endswith("-->\n\nThe end.\n\n"))

    def test_a_page_that_was_just_written_is_right(self):
        self.write_page()
        self.assertEqual(self.run_script("--check").returncode, 0)

    def test_a_page_without_the_newest_call_is_wrong(self):
        self.write_page()
        self.put("services/decode.cpp", '#include "symbols/table.h"')
        self.assert_fails(self.run_script("--check"), "does not show the folders as they are")

    def test_a_page_without_markers_is_wrong(self):
        self.put("docs/map.md", "# Made up")
        self.assert_fails(self.run_script("--check"), "should hold the lines")

    def test_a_row_that_names_a_file_of_its_folder_that_is_not_there_is_wrong(self):
        self.put("docs/map.md", EMPTY_PAGE + "| `core/` | the object (`object.h`), the host's `settings.h`; see `--why` |")
        self.write_page()
        self.put("docs/map.md", EMPTY_PAGE + "| `vars/` | the plan (`plan.cpp`) and `object.h` |")
        self.assert_fails(self.run_script("--check"), "names files that do not exist: vars/object.h")

    def test_a_circle_is_told_with_the_includes_that_close_it(self):
        self.put("symbols/table.cpp", '#include "core/object.h"\n#include "vars/plan.h"')
        self.put("vars/plan.h", "int plan();")
        for arguments in ((), ("--check",)):
            self.assert_fails(self.run_script(*arguments), "in a circle", "vars/plan.cpp includes symbols/table.h",
                              "symbols/table.cpp includes vars/plan.h")

    def test_an_include_of_nothing_is_wrong(self):
        self.put("values/store.cpp", '#include "core/objekt.h"')
        self.assert_fails(self.run_script(), "values/store.cpp includes core/objekt.h, which does not exist")

    def test_records_constants_and_inline_functions_are_no_call(self):
        self.put("symbols/record.h", """
            #include "core/settings.h"
            // int commented(int);
            #define CALL(x) call(x);
            extern "C" {
            struct Record {
                Record() : size(0), next{nullptr} {}
                Record(const Record&) = default;
                int twice() const noexcept(true) { return helper(2) * size; }
                std::function<int(int)> action;
                int (*callback)(int number);
                int size = sizeof(int);
                Record* next;
            };
            }
            typedef int (*Callback)(Record* record);
            static_assert(sizeof(Record) > 1, "int text();");
            constexpr int kSizes[] = {1, 2};
            template <class Number> inline Number half(Number number) { return number / Number(2); }
            enum class Kind : int { First = int(1) };""")
        self.put("core/object.cpp", '#include "symbols/record.h"')
        self.assertNotIn("core -> symbols", self.arrows())

    def test_what_is_defined_elsewhere_is_a_call(self):
        for declaration in ("int count();", "extern int total;", "class Open { ~Open(); };",
                            "struct Port { virtual int read() = 0; };", "inline int f() { return 1; }\nint g(int a = 2);",
                            "template <typename T> T made(const T& from);", "bool operator==(const Kind& a, Kind b);"):
            self.put("values/look.h", declaration)
            self.put("vars/look.cpp", '#include "values/look.h"')
            self.assertIn("vars -> values", self.arrows(), declaration)

    def test_an_inline_function_that_calls_is_a_call(self):
        self.put("values/inline.h", '#include "core/object.h"\ninline int state() { return Object().state; }')
        self.put("vars/look.cpp", '#include "values/inline.h"')
        self.assertIn("vars -> values", self.arrows())

    def test_a_header_of_includes_stands_for_them(self):
        self.put("core/everything.h", '#include "values/store.h"\n#include "core/settings.h"')
        self.put("vars/look.cpp", '#include "core/everything.h"')
        self.assertIn("vars -> values", self.arrows())
        self.assertNotIn("core -> values", self.arrows())

    def test_tools_are_drawn_with_the_driver_as_one(self):
        self.put("tools/host/host.h", '#include "core/object.h"\n#include "values/store.h"\nint run();')
        self.put("tools/simulator/simulator.h", "struct Simulator {};")
        self.assertIn("""

    tools/host -----------*
         tools/simulator  |
                          v
                       driver
<!-- end: scripts/folder-map -->
""", self.write_page())
        self.put("core/object.cpp", '#include "tools/host/host.h"')
        self.assert_fails(self.run_script(), "in a circle")


if __name__ == "__main__":
    unittest.main()
