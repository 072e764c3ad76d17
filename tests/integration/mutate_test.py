"""The search for mistakes that no test notices finds them: in a small project, whole and with one test taken out."""
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
LISTS = """\
cmake_minimum_required(VERSION 3.25)
project(Sample CXX)
set(CMAKE_CXX_STANDARD 20)
enable_testing()
find_package(GTest REQUIRED)
add_executable(SampleTests sample/limit.cpp sample/limit_test.cpp)
target_include_directories(SampleTests PRIVATE .)
target_link_libraries(SampleTests GTest::gtest_main)
add_test(NAME SampleTests COMMAND SampleTests)
"""
HEADER = """\
#pragma once
namespace pellam {
// So many are let in; the seats are counted when the program is built.
inline constexpr int seats = 3;
static_assert(seats < 9);
bool lets(int guests, bool isInvited);
int room(int wide, int deep);
}
"""
SOURCE = """\
#include "sample/limit.h"
#include <array>
namespace pellam {
bool lets(int guests, bool isInvited) {
  std::array<int, seats> places{};
  if (!isInvited || guests > static_cast<int>(places.size())) return false;
  return true;
}
int room(int wide, int deep) {
  int left = wide;
  left -= deep;
  if (left < 0) left = 0;
  return left;
}
}
"""
TESTS = """\
#include "sample/limit.h"
#include <gtest/gtest.h>
using namespace pellam;
TEST(Limit, Guests) { EXPECT_TRUE(lets(2, true)); EXPECT_FALSE(lets(4, true)); EXPECT_FALSE(lets(1, false)); }
TEST(Limit, LastGuest) { EXPECT_TRUE(lets(3, true)); }
TEST(Limit, Room) { EXPECT_EQ(room(3, 2), 1); EXPECT_EQ(room(2, 5), 0); }
"""
SURVIVOR = """\
sample/limit.cpp:6: border
  - if (!isInvited || guests > static_cast<int>(places.size())) return false;
  + if (!isInvited || guests >= static_cast<int>(places.size())) return false;
"""
EQUIVALENT = """\
sample/limit.cpp: nothing is nothing
  - if (left < 0) left = 0;
  + if (left <= 0) left = 0;
  - if (left < 0) left = 0;
  + if (left < (0 + 1)) left = 0;
"""


class MutateTest(unittest.TestCase):
    def setUp(self):
        self.tree = pathlib.Path(tempfile.mkdtemp(prefix="pellam-mutate-test-"))
        self.addCleanup(shutil.rmtree, self.tree)
        self.write({"CMakeLists.txt": LISTS, "sample/limit.h": HEADER, "sample/limit.cpp": SOURCE, "sample/limit_test.cpp": TESTS, ".gitignore": "/build/\n"})
        shutil.copytree(ROOT / "scripts/mutation", self.tree / "scripts/mutation", ignore=shutil.ignore_patterns("__pycache__"))
        shutil.copy(ROOT / "scripts/mutate", self.tree / "scripts/mutate")
        self.write({"scripts/mutation/programs.txt": "sample: SampleTests\n", "scripts/mutation/equivalent.txt": EQUIVALENT})
        self.git("init", "-q")
        self.git("add", "-A")

    def write(self, files):
        for name, text in files.items():
            (self.tree / name).parent.mkdir(parents=True, exist_ok=True)
            (self.tree / name).write_text(text)

    def git(self, *words):
        return subprocess.run(["git", *words], cwd=self.tree, capture_output=True, text=True, check=True).stdout

    def mutate(self):
        """(status, output, the last line's figures)"""
        result = subprocess.run([str(self.tree / "scripts/mutate"), "sample", "--jobs", "2"], capture_output=True, text=True, timeout=240, cwd=self.tree)
        if "there is no bubblewrap" in result.stderr:
            self.skipTest("mutants cannot be confined here")
        self.assertTrue(result.stdout, result.stderr)
        return result.returncode, result.stdout, result.stdout.splitlines()[-1].split()

    def test_a_mistake_that_no_test_notices_is_found(self):
        status, output, figures = self.mutate()
        # Twelve in the source, two of them equivalent, and the constant in the header, which is built by itself.
        self.assertEqual((status, figures[1:5]), (0, ["13", "11", "2", "0"]), output)
        # The border that no test stands on any more; a border is no border where both sides do the same. A constant that the
        # compiler needs is mutated by itself.
        self.write({"sample/limit_test.cpp": TESTS.replace("TEST(Limit, LastGuest) { EXPECT_TRUE(lets(3, true)); }\n", "")})
        status, output, figures = self.mutate()
        self.assertIn(SURVIVOR, output)
        self.assertEqual(figures[4], "1", output)
        self.write({"sample/limit_test.cpp": TESTS.replace("EXPECT_FALSE(lets(4, true)); ", "")})
        status, output, figures = self.mutate()
        self.assertIn("  + inline constexpr int seats = (3 + 1);\n", output)
        # Whatever happened, it happened elsewhere.
        self.assertEqual(self.git("diff", "--name-only").split(), ["sample/limit_test.cpp"])
        self.assertEqual(self.git("ls-files", "--others", "--exclude-standard").split(), [])


if __name__ == "__main__":
    unittest.main()
