"""The bundle that pellam_embed_updater() puts together: complete, signable, and refused when it cannot be right."""
import os
import pathlib
import plistlib
import re
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PROGRAMS = pathlib.Path(os.environ["PELLAM_PROGRAMS"])
BUNDLE = pathlib.Path(os.environ["PELLAM_EDITOR_BUNDLE"])
SHARED_LIBRARY = PROGRAMS.parent / "lib/libPellamPublicSet.so"
SERVICE = "Contents/XPCServices/com.example.editor.Pellam.UpdateInstallerLauncherService.xpc"


def run(*command):
    return subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=60)


def embed(contents, **changes):
    settings = {"CONTENTS": contents, "PROGRAMS": PROGRAMS, "IDENTIFIER": "com.example.x", "VERSION": "1.0", "BUILD": "7"}
    settings.update(changes)
    return run("cmake", *(f"-D{name}={value}" for name, value in settings.items()), "-P",
               ROOT / "cmake/EmbedUpdaterScript.cmake")


class EmbedTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="pellam-embed-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def commands_of_a_stranger(self, setting, header, product, *arguments):
        """Configures a project of one program; what CMake said, and the commands that build it."""
        outer = self.folder / "stranger"
        outer.mkdir()
        (outer / "main.cpp").write_text(f"#include <pellam/{header}>\nint main() {{}}\n")
        (outer / "CMakeLists.txt").write_text(
            f"cmake_minimum_required(VERSION 3.25)\nproject(Stranger LANGUAGES C CXX)\nset({setting})\n"
            f'add_subdirectory("{ROOT}" pellam)\nadd_executable(Stranger main.cpp)\n'
            f"target_link_libraries(Stranger PRIVATE {product})\n"
            "pellam_embed_updater(Stranger IDENTIFIER com.example.stranger VERSION 1.0 BUILD 1)\n")
        configured = run("cmake", "-S", outer, "-B", outer / "build", "-G", "Ninja", *arguments)
        self.assertEqual(configured.returncode, 0, configured.stderr)
        return configured.stdout, run("ninja", "-C", outer / "build", "-t", "commands", "Stranger").stdout

    def test_the_built_bundle_is_complete_and_can_be_signed(self):
        bundle = self.folder / "Editor.app"
        shutil.copytree(BUNDLE, bundle, symlinks=True)
        information = plistlib.loads((bundle / SERVICE / "Contents/Info.plist").read_bytes())
        self.assertEqual(information["CFBundleIdentifier"], pathlib.Path(SERVICE).stem)
        self.assertEqual(information["XPCService"]["ServiceType"], "Application")
        self.assertIs(information["CFBundleAllowMixedLocalizations"], True)
        self.assertEqual(plistlib.loads((bundle / "Contents/Info.plist").read_bytes())["CFBundleVersion"], "100")
        checked = run(bundle / SERVICE / "Contents/MacOS/PellamUpdateInstallerLauncherService", "--check-runtime")
        self.assertEqual((checked.returncode, checked.stdout), (0, "Pellam updater runtime check passed\n"))
        self.assertEqual(run(bundle / "Contents/MacOS/PellamUpdateInstaller").returncode, 64)
        self.assertTrue((bundle / "Contents/Resources/de.lproj/Updates.strings").is_file())
        self.assertTrue((bundle / "Contents/Resources/de.lproj/Localizable.strings").is_file())

        identity = self.folder / "identity"
        made = run(ROOT / "scripts/make-vendor-identity", identity, "TEAM123456")
        self.assertEqual(made.returncode, 0, made.stderr)
        tool = bundle / "Contents/MacOS/pellam-codesign"
        for part in (bundle / SERVICE, bundle):
            signed = run(PROGRAMS / "pellam-codesign", "--sign", identity / "identity.pem", "--key", identity / "key.pem", part)
            self.assertEqual(signed.returncode, 0, signed.stderr)
        verified = run(PROGRAMS / "pellam-codesign", "-dv", "--verbose=4", bundle)
        self.assertIn("TeamIdentifier=TEAM123456", verified.stdout + verified.stderr)
        self.assertTrue(os.access(tool, os.X_OK))

    def test_it_works_for_an_application_of_another_project(self):
        outer = self.folder / "outer"
        outer.mkdir()
        (outer / "main.cpp").write_text('#include <pellam/standard_updater.h>\nint main() {}\n')
        (outer / "private.cpp").write_text('#include "host/standard_updater_core.h"\nint main() {}\n')
        (outer / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(Outer LANGUAGES C CXX)\n"
            f'add_subdirectory("{ROOT}" pellam)\n'
            "add_executable(Outer main.cpp)\n"
            "target_link_libraries(Outer PRIVATE Pellam::Updater)\n"
            "add_executable(Private private.cpp)\ntarget_link_libraries(Private PRIVATE Pellam::Updater)\n"
            "pellam_embed_updater(Outer IDENTIFIER com.example.outer VERSION 1.0 BUILD 1)\n")
        configured = run("cmake", "-S", outer, "-B", outer / "build", "-G", "Ninja")
        self.assertEqual(configured.returncode, 0, configured.stderr)
        commands = run("ninja", "-C", outer / "build", "-t", "commands", "Outer").stdout.splitlines()
        self.assertIn(f"-P {ROOT}/cmake/EmbedUpdaterScript.cmake", commands[-1])
        self.assertIn(f"-DCONTENTS={outer}/build/Outer.app/Contents", commands[-1])
        # The sources of the application are its own: neither our warnings nor our tests reach it.
        own = next(line for line in commands if "/outer/main.cpp" in line)
        self.assertNotIn("-Werror", own)
        self.assertIn("c++20", own.replace("gnu++20", "c++20"))
        self.assertFalse([line for line in commands if "_test.cpp" in line or "examples/" in line])
        # It sees the public headers and nothing else of the tree.
        def compiled(source):
            every = run("ninja", "-C", outer / "build", "-t", "commands", "Outer", "Private").stdout.splitlines()
            command = next(line for line in every if f"/outer/{source}" in line)
            return subprocess.run(["sh", "-c", f"{command} -fsyntax-only"], cwd=outer / "build", capture_output=True, text=True, timeout=60)

        self.assertEqual(compiled("main.cpp").returncode, 0)
        private = compiled("private.cpp")
        self.assertNotEqual(private.returncode, 0)
        self.assertIn("host/standard_updater_core.h: No such file or directory", private.stderr)
        # What a guest's build keeps of ours bears our name.
        settings = [line.split(":")[0] for line in (outer / "build/CMakeCache.txt").read_text().splitlines()
                    if ":" in line and not line.startswith(("//", "#"))]
        known = ("CMAKE_", "PELLAM_", "Pellam_", "Outer_", "_", "FIND_PACKAGE_MESSAGE_", "pkgcfg_lib_PELLAM_", "PKG_CONFIG", "CURL_", "ICU_",
                 "OPENSSL_", "Threads_", "nlohmann_json_", "Libdeflate_", "PC_CURL", "pkgcfg_lib_", "prefix_result")
        self.assertEqual([name for name in settings if not name.startswith(known)], [])

    def test_an_application_without_windows_needs_no_toolkit(self):
        said, commands = self.commands_of_a_stranger("PELLAM_BUILD_WINDOWS OFF", "update_host.h", "Pellam::Core",
                                                     "-DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON")
        self.assertNotIn("gtk", said.lower())
        self.assertIn("libsystemd.so", commands)
        self.assertNotIn("webkit", commands)

    def test_one_shared_library_has_a_version_in_its_name(self):
        _, commands = self.commands_of_a_stranger("BUILD_SHARED_LIBS ON", "standard_updater.h", "Pellam::Updater")
        link = [line for line in commands.splitlines() if "-soname" in line]
        self.assertEqual(len(link), 1)
        self.assertIn("-Wl,-soname,libPellamUpdater.so.1", link[0])
        self.assertIn("-Wl,-z,defs", link[0])
        # The bundle carries it, and the program looks for it there alone.
        program = commands.splitlines()[-1]
        self.assertEqual(re.findall(r"-rpath,(\S+)", program), [r'"\$ORIGIN/../Frameworks"'])
        self.assertIn(f"-DLIBRARY={self.folder}/stranger/build/pellam/lib/libPellamUpdater.so.1", program)
        contents = self.folder / "X.app/Contents"
        self.assertEqual(embed(contents, LIBRARY=SHARED_LIBRARY.with_suffix(".so.1")).returncode, 0)
        carried = contents / "Frameworks/libPellamPublicSet.so.1"
        self.assertFalse(carried.is_symlink())
        self.assertEqual(carried.read_bytes(), SHARED_LIBRARY.read_bytes())

    def test_a_shared_library_shows_only_the_public_names(self):
        headers = "".join(path.read_text() for path in (ROOT / "include/pellam").glob("*.h"))
        public = set(re.findall(r"\w+", re.sub(r"^(class|struct) \w+;$", "", headers, flags=re.M)))
        listed = run("nm", "-D", "--defined-only", "--demangle", SHARED_LIBRARY).stdout.splitlines()
        names = {line.split(" ", 2)[2] for line in listed if "pellam" in line and " for std::" not in line}
        self.assertGreater(len(names), 100)
        hidden = [name for name in names if (first := re.search(r"pellam::(\w+)", name)) and first.group(1) not in public]
        self.assertEqual(hidden, [])

    def test_a_second_run_replaces_the_first(self):
        contents = self.folder / "X.app/Contents"
        self.assertEqual(embed(contents).returncode, 0)
        own = contents / "Resources/kept.txt"
        own.write_text("kept")
        self.assertEqual(embed(contents, VERSION="2.0", BUILD="8").returncode, 0)
        service = contents / "XPCServices/com.example.x.Pellam.UpdateInstallerLauncherService.xpc/Contents/Info.plist"
        self.assertEqual(plistlib.loads(service.read_bytes())["CFBundleVersion"], "8")
        self.assertEqual(own.read_text(), "kept")

    def test_the_bundle_follows_each_of_its_parts(self):
        outer = self.folder / "outer"
        outer.mkdir()
        programs = ["PellamUpdateInstaller", "PellamUpdateInstallerLauncherService", "pellam-codesign", "pellam-ditto"]
        for name in ["Outer", *programs]:
            (outer / f"{name}.c").write_text("int main(void) { return 1; }\n")
        shutil.copytree(ROOT / "cmake", outer / "pellam/cmake")
        for language in ("de", "en", "fr"):
            (outer / f"pellam/localization/{language}.lproj").mkdir(parents=True)
            (outer / f"pellam/localization/{language}.lproj/Updates.strings").write_text("")
        (outer / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(Outer LANGUAGES C)\ninclude(pellam/cmake/PellamEmbedUpdater.cmake)\n"
            + "".join(f"add_executable({name} {name}.c)\n" for name in ["Outer", *programs])
            + "pellam_embed_updater(Outer IDENTIFIER com.example.outer VERSION 1.0 BUILD 1 ANCHORS anchors.pem)\n")
        (outer / "anchors.pem").write_text("one")

        def build():
            built = run("cmake", "--build", outer / "build", "--target", "Outer")
            self.assertEqual(built.returncode, 0, built.stdout + built.stderr)

        self.assertEqual(run("cmake", "-S", outer, "-B", outer / "build", "-G", "Ninja").returncode, 0)
        contents = outer / "build/Outer.app/Contents"
        (contents / "Resources/de.lproj").mkdir(parents=True)  # the application speaks German
        (contents / "Resources/de.lproj/Localizable.strings").write_text("")
        build()
        service = next(contents.glob("XPCServices/*/Contents/MacOS/*"))
        self.assertEqual(run(service).returncode, 1)
        self.assertEqual(sorted(path.parent.name for path in contents.glob("Resources/*/Updates.strings")), ["de.lproj", "en.lproj"])
        for changed, text, copy in (("PellamUpdateInstallerLauncherService.c", "int main(void) { return 2; }\n", None),
                                    ("pellam/localization/de.lproj/Updates.strings", "anders", "Resources/de.lproj/Updates.strings"),
                                    ("anchors.pem", "other", "Resources/CodeSigningAnchors.pem")):
            with self.subTest(changed):
                (outer / changed).write_text(text)
                build()
                if copy:
                    self.assertEqual((contents / copy).read_text(), text)
        self.assertEqual(run(service).returncode, 2)

    def test_the_languages_are_those_that_were_asked_for(self):
        contents = self.folder / "X.app/Contents"
        for asked, found in (("", ["en"]), ("fr,de", ["de", "en", "fr"]), ("", ["en"])):
            with self.subTest(asked):
                self.assertEqual(embed(contents, LANGUAGES=asked).returncode, 0)
                self.assertEqual(sorted(path.stem for path in contents.glob("Resources/*.lproj")), found)
        self.assertEqual(embed(contents, LANGUAGES="all").returncode, 0)
        self.assertEqual(len(list(contents.glob("Resources/*.lproj"))), 15)

    def test_what_cannot_be_right_is_refused(self):
        contents = self.folder / "X.app/Contents"
        rows = [({"BUILD": "1.2"}, 'the build must be an integer, not "1.2"'),
                ({"IDENTIFIER": "a/b"}, '"a/b" is no bundle identifier'),
                ({"VERSION": ""}, "VERSION is missing"),
                ({"PROGRAMS": self.folder}, "there is no PellamUpdateInstallerLauncherService in"),
                ({"LANGUAGES": "de,xx"}, 'there are no texts in the language "xx"'),
                ({"TOOLS": "no-such-tool"}, "there is no no-such-tool in")]
        for changes, text in rows:
            with self.subTest(text):
                result = embed(contents, **changes)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(text, " ".join(result.stderr.split()))


if __name__ == "__main__":
    unittest.main()
