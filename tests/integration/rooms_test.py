"""The list of who may include whom refuses what it is there to refuse: one wrong include of each kind, in a copy of the tree."""
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def run(*command, where):
    return subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=120, cwd=where)


class RoomsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tree = pathlib.Path(tempfile.mkdtemp(prefix="pellam-rooms-"))
        cls.addClassCleanup(shutil.rmtree, cls.tree)
        names = run("git", "ls-files", "--cached", "--others", "--exclude-standard", "--", "*.h", "*.cpp", "*.mm", "scripts/check-rooms",
                    "scripts/rooms.txt", "scripts/lint", "docs/architecture.md", where=ROOT).stdout.split()
        for name in set(names):
            if (ROOT / name).exists():
                (cls.tree / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / name, cls.tree / name)
        run("git", "init", "-q", where=cls.tree)

    def complaints_with(self, name, line):
        file = self.tree / name
        before = file.read_text() if file.exists() else None
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text((before or "#pragma once\n") + line + "\n")
        try:
            result = run(self.tree / "scripts/check-rooms", where=self.tree)
            self.assertEqual(result.returncode, 1, result.stderr)
            return result.stderr.splitlines()
        finally:
            if before is None:
                file.unlink()
            else:
                file.write_text(before)

    def test_the_tree_as_it_is_is_accepted(self):
        result = run(self.tree / "scripts/check-rooms", where=self.tree)
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_one_wrong_include_of_each_kind_is_refused(self):
        arrow = "{0} may not include {1}: scripts/rooms.txt has no arrow from {2} to {3}"
        rows = [
            # upwards, between rooms that the list orders
            ("foundation/bundle.h", '#include "platform/clock.h"', arrow.format("foundation/bundle.h", "platform/clock.h", "foundation", "platform")),
            ("installer/file_safety.h", '#include "launcher-service/phase_budget.h"',
             arrow.format("installer/file_safety.h", "launcher-service/phase_budget.h", "installer", "launcher-service")),
            # downwards, but not wanted
            ("services/sleeping.h", '#include "text/unicode_text.h"', arrow.format("services/sleeping.h", "text/unicode_text.h", "services", "text")),
            # a body of one system, named by portable code
            ("host/system_host.h", '#include "platform/linux/system/file_tree.h"',
             arrow.format("host/system_host.h", "platform/linux/system/file_tree.h", "host", "platform/linux/system")),
            # between the folders of one system, Objective-C++ and its import among them
            ("platform/linux/system/file_tree.h", '#include "platform/linux/jobs/embedded_jobs.h"',
             arrow.format("platform/linux/system/file_tree.h", "platform/linux/jobs/embedded_jobs.h", "platform/linux/system", "platform/linux/jobs")),
            ("platform/macos/calendar.mm", '#import "launcher-protocol/service_info.h"',
             arrow.format("platform/macos/calendar.mm", "launcher-protocol/service_info.h", "platform/macos", "launcher-protocol")),
            # out of the public set
            ("include/pellam/url.h", '#include "foundation/uuid.h"', arrow.format("include/pellam/url.h", "foundation/uuid.h", "include/pellam", "foundation")),
            # a program's wiring
            ("installer/main.cpp", '#include "localization/localized_text.h"', arrow.format("installer/main.cpp", "localization/localized_text.h", "installer/main.cpp", "localization")),
            # what is nobody's to include
            ("host/system_host.h", '#include "tests/support/temporary_folder.h"',
             "host/system_host.h may not include tests/support/temporary_folder.h, which is for tests"),
            ("host/system_host.h", '#include "clock.h"', 'host/system_host.h: "clock.h" names no file of the project by its whole path'),
            # headers of a system, and of a library that the room may not have
            ("host/system_host.h", "#include <unistd.h>", "host/system_host.h may not include <unistd.h>: scripts/rooms.txt does not permit it to host"),
            ("host/system_host.h", "#include <openssl/sha.h>",
             "host/system_host.h may not include <openssl/sha.h>: scripts/rooms.txt does not permit it to host"),
            # other ways to write it, also where a system's headers are allowed
            ("platform/linux/system/file_tree.cpp", "#include <host/system_host.h>",
             "platform/linux/system/file_tree.cpp: <host/system_host.h> is the project's own and is named in quotes"),
            ("host/system_host.h", "#include HEADER", 'host/system_host.h: "#include HEADER" is no plain include'),
            ("host/system_host.h", '#/**/include "platform/linux/system/file_tree.h"',
             'host/system_host.h: "#/**/include "platform/linux/system/file_tree.h"" is no plain include'),
            ("platform/macos/calendar.mm", "@import AppKit;", 'platform/macos/calendar.mm: "@import AppKit;" is no plain include'),
            ("host/box.hpp", "#include <unistd.h>", "host/box.hpp: sources of the project end in .h, .cpp or .mm"),
            ("platform/linux/system/file_tree.cpp", "#include <./host/system_host.h>",
             "platform/linux/system/file_tree.cpp: <./host/system_host.h> is the project's own and is named in quotes"),
            ("platform/linux/system/file_tree.cpp", "#include <../../../host//system_host.h>",
             "platform/linux/system/file_tree.cpp: <../../../host//system_host.h> is the project's own and is named in quotes"),
            ("host/system_host.h", '#inc\\\nlude "platform/linux/system/file_tree.h"',
             "host/system_host.h: a directive that goes on in the next line could hide an include"),
            ("host/system_host.h", '%:include "platform/linux/system/file_tree.h"', "host/system_host.h: a digraph could hide an include"),
            ("host/system_host.h", '/* a\n*/ #include "platform/linux/system/file_tree.h"',
             "host/system_host.h: a comment before a directive could hide an include"),
            ("host/system_host.h", "import <unistd.h>;", "host/system_host.h: a module could hide an include"),
            ("host/box.cppm", "#include <unistd.h>", "host/box.cppm: sources of the project end in .h, .cpp or .mm"),
            # a folder that nobody thought of
            ("attic/box.h", '#include "pellam/url.h"', "attic/box.h: its folder has no line in scripts/rooms.txt"),
        ]
        for name, line, complaint in rows:
            with self.subTest(line=line, file=name):
                self.assertEqual(self.complaints_with(name, line), ["lint: " + complaint])

    def test_a_list_or_a_picture_that_proves_nothing_is_refused(self):
        rows = [("scripts/rooms.txt", "\nfoundation: ", "\nfoundation: platform ",
                 "foundation may only include rooms that stand above it, not platform"),
                ("scripts/rooms.txt", "\nhost: ", "\nhost: tools ", "host may only include rooms that stand above it, not tools"),
                ("scripts/rooms.txt", "\nhost: ", "\nhost: <unistd.h> ", "<unistd.h> is no library that a room may be permitted"),
                ("docs/architecture.md", "graph BT", "graph LR", "the picture in docs/architecture.md is not the one of the sources"),
                ("docs/architecture.md", "<!-- drawn by scripts/check-rooms --draw -->", "", "docs/architecture.md has no place for the picture")]
        for name, old, new, complaint in rows:
            with self.subTest(complaint):
                path = self.tree / name
                before = path.read_text()
                self.assertIn(old, before)
                path.write_text(before.replace(old, new))
                try:
                    result = run(self.tree / "scripts/check-rooms", where=self.tree)
                finally:
                    path.write_text(before)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(complaint, result.stderr)


if __name__ == "__main__":
    unittest.main()
