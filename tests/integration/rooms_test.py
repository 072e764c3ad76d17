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
            ("installer/main.cpp", '#include "ui/localized_text.h"', arrow.format("installer/main.cpp", "ui/localized_text.h", "main.cpp", "ui")),
            # what is nobody's to include
            ("host/system_host.h", '#include "tests/support/temporary_folder.h"',
             "host/system_host.h may not include tests/support/temporary_folder.h, which is for tests"),
            ("host/system_host.h", '#include "clock.h"', 'host/system_host.h: "clock.h" names no file of the project by its whole path'),
            # a folder that nobody thought of
            ("attic/box.h", '#include "pellam/url.h"', "attic/box.h: its folder has no line in scripts/rooms.txt"),
        ]
        for name, line, complaint in rows:
            with self.subTest(line=line, file=name):
                self.assertEqual(self.complaints_with(name, line), ["lint: " + complaint])

    def test_a_list_with_a_circle_is_refused(self):
        path = self.tree / "scripts/rooms.txt"
        before = path.read_text()
        self.addCleanup(path.write_text, before)
        path.write_text(before.replace("\nfoundation: ", "\nfoundation: platform "))
        result = run(self.tree / "scripts/check-rooms", where=self.tree)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("foundation may only include rooms that stand above it, not platform", result.stderr)


if __name__ == "__main__":
    unittest.main()
