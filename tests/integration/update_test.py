"""Updates from the command line as a user makes them: what is offered, what is installed, what is printed."""

import json
import plistlib
import random
import shutil
import signal
import subprocess
import threading
import time
import unittest

from harness import PROGRAMS, UpdateTestCase, feed, tree, zipped


class Installation(UpdateTestCase):
    def test_installs_and_relaunches_and_leaves_nothing_behind(self):
        new = self.releases.release("2.0", 200)
        self.serve_bundle(new)
        result = self.update("--yes")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stderr, "")
        for line in ("A new version of Editor is available: 2.0 (build 200); you have 1.0 (build 100).",
                     "Extracting update…", "Verifying update…", "Ready to Install", "Preparing to install…"):
            self.assertIn(line, result.stdout)
        self.wait_for(lambda: "version=2.0 build=200" in self.log(), "the new application's start")
        self.wait_for(lambda: not list(self.support.rglob("*SeamlessInstaller/*")), "the staging folder's removal")
        self.wait_for(lambda: len(list(self.applications.iterdir())) == 1, "the backup's removal")
        self.assert_installed_is(new)
        self.assertEqual(list(self.temporary.iterdir()), [])

        again = self.update("--yes")
        self.assertEqual(again.returncode, 3, again.stderr)
        self.assertIn("There is nothing to offer: Editor 2.0 (build 200) stays.\n"
                      "  editor-2.0 (2.0) is not newer than what is installed\n", again.stdout)

    def test_json_prints_one_object_for_each_event(self):
        self.serve_bundle(self.releases.release("2.0", 200))
        result = self.update("--yes", "--json")
        self.assertEqual(result.returncode, 0, result.stderr)
        events = [json.loads(line) for line in result.stdout.splitlines()]
        names = [event["event"] for event in events]
        self.assertEqual(names[0], "checking")
        self.assertEqual(names[-1], "launched")
        steps = [event["step"] for event in events if event["event"] == "launch"]
        self.assertEqual(steps, ["handoffStarted", "jobSubmitted"])
        offer = next(event for event in events if event["event"] == "offer")
        self.assertEqual((offer["version"], offer["build"], offer["isBetaUpdate"]), ("2.0", "200", False))
        self.wait_for(lambda: "version=2.0" in self.log(), "the new application's start")

    def test_a_running_application_updates_itself_and_the_helper_waits_for_its_end(self):
        # The sample's own glue, started as a user starts it.
        info = self.installed / "Contents/Info.plist"
        info.write_text(info.read_text().replace("<key>PellamFeedURL</key><string></string>",
                                                 f"<key>PellamFeedURL</key><string>{self.server.address}/feed.plist</string>")
                        .replace("<key>EditorLingerSeconds</key><string>0<", "<key>EditorLingerSeconds</key><string>1<"))
        self.releases.sign(self.installed)
        self.serve_bundle(self.releases.release("2.0", 200))
        host = subprocess.Popen([self.installed / "Contents/MacOS/Editor"], env=self.environment())
        self.addCleanup(host.kill)
        self.wait_for(lambda: " launched" in self.log(), "the hand-off")
        self.assertIn("<string>100</string>", info.read_text(), "nothing moves while the host is running")
        self.assertEqual(host.wait(timeout=20), 0)
        self.wait_for(lambda: "version=2.0" in self.log(), "the new application's start")
        self.wait_for(lambda: len(list(self.applications.iterdir())) == 1, "the backup's removal")
        self.assert_installed_is(self.releases.release("2.0", 200))


class SeparateInstallers(UpdateTestCase):
    """Archives whose named file the user's own installer takes over; here it is an application that says which it is."""

    def setUp(self):
        super().setUp()
        self.said = self.folder / "said"
        self.shared = self.support / "Editor/SeamlessInstaller"

    def serve_installer(self, text, name="Setup.app", padding=0):
        application = self.folder / "made" / text / name
        (application / "Contents/MacOS").mkdir(parents=True)
        (application / "Contents/Info.plist").write_bytes(plistlib.dumps(
            {"CFBundleIdentifier": "com.example.setup", "CFBundleExecutable": "setup"}))
        executable = application / "Contents/MacOS/setup"
        executable.write_text(f"#!/bin/sh\necho {text} >> '{self.said}'\n")
        executable.chmod(0o755)
        if padding:
            (application / "Contents/padding").write_bytes(random.Random(1).randbytes(padding))
        self.server.routes["/feed.plist"] = feed(installer=f"{self.server.address}/Setup.zip", installer_name="Setup.app")
        self.server.routes["/Setup.zip"] = zipped(application, self.folder / "setup.zip")

    def assert_opened(self, *texts):
        result = self.update("--yes")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.wait_for(lambda: self.said.read_text().split() == list(texts), f"the installer {texts[-1]}")
        self.assertEqual([path.name for path in self.shared.iterdir()], ["Setup.app"])

    def test_a_later_archive_of_the_same_names_takes_the_earlier_ones_place(self):
        self.serve_installer("first")
        self.assert_opened("first")
        self.serve_installer("second")
        self.assert_opened("first", "second")

        self.server.routes["/Setup.zip"] = b"no archive"
        self.assert_failed(self.update("--yes"), "the archive could not be unpacked")
        (self.shared / "Setup.zip").unlink()
        self.serve_installer("unnamed", name="Other.app")
        self.assert_failed(self.update("--yes"), "the installer could not be opened")
        self.assertEqual([path.name for path in self.shared.iterdir()], ["Setup.app"])
        self.assertEqual(self.said.read_text().split(), ["first", "second"], "no earlier installer is opened instead")
        self.serve_installer("third")
        self.assert_opened("first", "second", "third")
        self.assert_old_is_untouched()

    def test_a_kill_in_the_middle_blocks_no_later_run(self):
        self.serve_installer("first")
        self.assert_opened("first")
        self.serve_installer("killed", padding=60_000_000)
        process = subprocess.Popen(self.command("--yes"), env=self.environment(), stdout=subprocess.DEVNULL)
        self.wait_for(lambda: list(self.shared.glob(".unpacking-*/new/*")) or list(self.shared.glob(".unpacking-*/new/.*")),
                      "the unpacking")
        process.kill()
        process.wait()
        # What unpacks may still be at work.
        self.wait_for(lambda: not subprocess.run(["pgrep", "-f", str(self.shared)], capture_output=True).stdout, "its end")
        left = [path for path in self.shared.iterdir() if path.name.startswith(".unpacking-")]
        self.assertEqual(len(left), 1)
        (self.shared / "Setup.zip").unlink(missing_ok=True)
        self.serve_installer("next")
        result = self.update("--yes")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.wait_for(lambda: self.said.read_text().split()[-1] == "next", "the next installer")
        self.assertTrue((self.shared / "Setup.app/Contents/MacOS/setup").read_text().count("next"))


class Decisions(UpdateTestCase):
    def setUp(self):
        super().setUp()
        self.server.routes["/feed.plist"] = feed(app_installer="http://127.0.0.1:1/x.zip")

    def test_exit_statuses_of_a_check(self):
        rows = [
            ({}, [], 0, "2.0 (build 200)"),
            ({"current": "1.0", "currentbuild": "101"}, [], 0, "A stability update of Editor is available: 1.0 (build 101)"),
            ({"current": "2.0b1"}, [], 0, "A new beta version of Editor"),
            ({"current": "2.0b1"}, ["--automatic"], 3, "nothing to offer"),
            ({"current": "2.0b1"}, ["--automatic", "--beta"], 0, "2.0b1"),
            ({"type": "news"}, [], 3, "The feed names no update."),
            ({"os": "99"}, [], 3, "is for other versions of the operating system"),
            ({"os": "99"}, ["--os", "99.1"], 0, "2.0"),
            ({"sku": "pro"}, [], 3, "is for another edition"),
            ({"sku": "pro"}, ["--sku", "lite", "--sku", "pro"], 0, "2.0"),
            ({"lang": "DE"}, ["--language", "de"], 0, "2.0"),
            ({"lang": "de"}, ["--language", "fr"], 3, "nothing to offer"),
            ({"releasedate": time.strftime("%Y-%m-%d")}, ["--automatic", "--stagger-group", "5"], 3, "nothing to offer"),
            ({"releasedate": time.strftime("%Y-%m-%d"), "important": "1"}, ["--automatic", "--stagger-group", "5"], 0, "2.0"),
        ]
        for number, (keys, arguments, status, text) in enumerate(rows):
            with self.subTest(keys=keys, arguments=arguments):
                self.server.routes["/feed.plist"] = feed(**keys)
                result = self.update("--check-only", *arguments, "--state-dir", str(self.folder / f"state{number}"))
                self.assertEqual(result.returncode, status, result.stdout + result.stderr)
                self.assertIn(text, result.stdout)
        self.assert_old_is_untouched()

    def test_an_automatic_check_reminds_only_after_the_interval(self):
        self.assertEqual(self.update("--check-only", "--automatic").returncode, 0, "a look is not remembered")
        self.assertEqual(self.update("--automatic").returncode, 0)
        self.assertEqual(self.update("--automatic").returncode, 3)
        self.assertEqual(self.update("--check-only").returncode, 0, "who asks is always told")
        self.assertTrue((self.home / "Library/Preferences/com.example.editor.plist").exists())

    def test_without_a_terminal_and_without_yes_nothing_is_installed(self):
        result = self.update()
        self.assertEqual(result.returncode, 0)
        self.assertIn("Run again with --yes to install it.", result.stdout)
        self.assert_old_is_untouched()

    def test_wrong_usage_is_told_in_one_line(self):
        rows = [
            (["--feed", "http://a/"], "--app is missing"),
            (["--app", "/x"], "--feed is missing"),
            (["--app", "/x", "--feed", "not an address"], "--feed needs an http, https or file address"),
            (["--app", "/x", "--feed", "ftp://a/"], "--feed needs an http, https or file address"),
            (["--app", "/x", "--feed", "http://a/", "--frobnicate"], 'unknown argument "--frobnicate"'),
            (["--app", "/x", "--feed", "http://a/", "--os"], "--os needs a value"),
            (["--app", "/x", "--feed", "http://a/", "--yes", "--yes"], "--yes is given twice"),
            (["--app", "/x", "--feed", "http://a/", "--yes", "--check-only"], "exclude each other"),
            (["--app", "/x", "--feed", "http://a/", "--stagger-group", "x"], "--stagger-group needs a whole number"),
        ]
        for arguments, text in rows:
            with self.subTest(arguments=arguments):
                result = subprocess.run([PROGRAMS / "pellam-update", *arguments], capture_output=True, text=True)
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertEqual(result.stderr.count("\n"), 1)
                self.assertIn(text, result.stderr)
        missing = subprocess.run([PROGRAMS / "pellam-update", "--app", self.folder / "no.app", "--feed", "http://a/"],
                                 capture_output=True, text=True)
        self.assertEqual(missing.returncode, 1)
        self.assertIn("there is no application bundle at", missing.stderr)

    def test_scripts_read_every_failure_as_an_event(self):
        odd = self.folder / "no\u202e\x1b.app"
        for arguments, status, text in (
                (["--json"], 2, "--app is missing"),
                (["--app", odd, "--feed", "http://a/", "--json"], 1, "there is no application bundle at"),
                (["--app", self.installed, "--feed", "http://127.0.0.1:1/", "--json"], 1, "127.0.0.1")):
            with self.subTest(arguments=arguments):
                result = subprocess.run([PROGRAMS / "pellam-update", *arguments], env=self.environment(),
                                        capture_output=True, text=True)
                self.assertEqual(result.returncode, status, result.stderr)
                event = json.loads(result.stdout.splitlines()[-1])
                self.assertEqual(event["event"], "failed")
                self.assertIn(text, event["message"])
                self.assertTrue(result.stdout.isascii())
                self.assertEqual(result.stderr.count("\n"), 1)
                self.assertNotIn("\x1b", result.stderr)
                self.assertNotIn("\u202e", result.stderr)

    def test_a_download_of_unknown_length_is_shown(self):
        archive = zipped(self.releases.release("2.0", 200), self.folder / "served.zip")

        def unstated(handler):
            handler.send_response(200)
            handler.send_header("Connection", "close")
            handler.end_headers()
            third = len(archive) // 3 + 1
            for offset in range(0, len(archive), third):
                handler.wfile.write(archive[offset:offset + third])
                time.sleep(1.2)
            handler.close_connection = True

        self.serve(unstated)
        result = self.update("--yes", "--json")
        self.assertEqual(result.returncode, 0, result.stderr)
        events = [json.loads(line) for line in result.stdout.splitlines()]
        shown = [event["status"] for event in events if event["event"] == "progress" and event["fraction"] is None
                 and event["status"]]
        self.assertGreaterEqual(len(shown), 3, events)
        self.assertTrue(all(status.endswith(" downloaded") for status in shown), shown)


class Cancelling(UpdateTestCase):
    def test_control_c_cancels_before_the_hand_off(self):
        archive = zipped(self.releases.release("2.0", 200), self.folder / "served.zip")
        started = threading.Event()

        def slowly(handler):
            handler.send_response(200)
            handler.send_header("Content-Length", str(len(archive)))
            handler.end_headers()
            for offset in range(0, len(archive), 65536):
                handler.wfile.write(archive[offset:offset + 65536])
                started.set()
                time.sleep(0.1)

        def never(handler):
            started.set()
            time.sleep(30)

        for name, route in (("feed", "/feed.plist"), ("archive", "/Editor.zip")):
            with self.subTest(phase=name):
                started.clear()
                self.serve(slowly)
                if route == "/feed.plist":
                    self.server.routes[route] = never
                process = subprocess.Popen(self.command("--yes"), env=self.environment(), text=True,
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                self.assertTrue(started.wait(10))
                begin = time.monotonic()
                process.send_signal(signal.SIGINT)
                _, errors = process.communicate(timeout=10)
                self.assertLess(time.monotonic() - begin, 2)
                self.assertEqual(process.returncode, 1)
                self.assertEqual(errors, "pellam-update: cancelled; nothing was installed\n")
                self.assert_old_is_untouched()
                self.assertEqual(list(self.support.rglob("*.zip")), [])


if __name__ == "__main__":
    unittest.main()
