"""Updates through the sample application's windows, as a person who points, clicks and types makes them. Every control
is found by its role and name, as assistive technology finds it. Run on a display of its own, on a session bus."""

import pathlib
import plistlib
import re
import signal
import subprocess
import time
import unittest

from harness import ROOT, UpdateTestCase, feed
from screen import Screen, describe

# What the web view's sandbox needs; the updater asks for the same.
CONFINED = ["/usr/bin/bwrap", "--unshare-all", "--die-with-parent", "--ro-bind", "/", "/", "--proc", "/proc", "--dev", "/dev"]
# A place where nothing can be confined: whoever is in it makes no more namespaces.
UNCONFINED = ["unshare", "--user", "--map-current-user", "--keep-caps", "sh", "-c",
              "for kind in user mnt; do echo 0 > /proc/sys/user/max_${kind}_namespaces || exit 1; done; exec \"$@\"", "sh"]


def succeeds(*command):
    try:
        return subprocess.run([*command, "/bin/true"], capture_output=True).returncode == 0
    except FileNotFoundError:
        return False


def web_content_can_be_confined():
    return pathlib.Path("/usr/bin/xdg-dbus-proxy").exists() and succeeds(*CONFINED)


NOTES = b"<!DOCTYPE html><h1>Editor 2.0</h1><p>News.</p>"


def setUpModule():
    global window_manager
    window_manager = subprocess.Popen(["openbox", "--sm-disable"], stdout=subprocess.DEVNULL,
                                      stderr=subprocess.DEVNULL)


def tearDownModule():
    window_manager.kill()
    window_manager.wait()


class WindowTestCase(UpdateTestCase):
    def setUp(self):
        super().setUp()
        self.screen = Screen("com.example.editor")
        self.server.routes["/notes.html"] = NOTES
        self.nothing_new = feed(current="1.0", currentbuild="100")
        self.server.routes["/feed.plist"] = self.nothing_new
        self.running = []
        self.addCleanup(self.kill_all)

    def kill_all(self):
        for process in self.running:
            process.kill()
            process.communicate()

    def start(self, within=(), **environment):
        """The installed Editor, with windows, in the given language, started by that command."""
        info = self.installed / "Contents/Info.plist"
        values = plistlib.loads(info.read_bytes())
        values.update(EditorHasNoWindows=False, PellamFeedURL=f"{self.server.address}/feed.plist")
        info.write_bytes(plistlib.dumps(values))
        self.releases.sign(self.installed)
        variables = dict(self.environment(), GDK_BACKEND="x11", GSK_RENDERER="cairo", **environment)
        process = subprocess.Popen([*within, self.installed / "Contents/MacOS/Editor"], env=variables, stderr=subprocess.PIPE,
                                   text=True)
        self.running.append(process)
        return process

    def start_and_wait(self, within=(), **environment):
        process = self.start(within, **environment)
        self.screen.find("frame", "Editor 1.0")
        # Out of the middle, where the other windows open.
        self.screen.move("Editor 1.0", 0, 0)
        return process

    def offer(self, archive=True, **keys):
        keys = {"title": "Editor 2.0", "url": f"{self.server.address}/notes.html", **keys}
        self.serve_bundle(self.releases.release("2.0", 200), **keys)
        if not archive:
            del self.server.routes["/Editor.zip"]

    def check_for_updates(self):
        self.screen.click("menu item", "Editor")
        self.screen.find("menu item", "Check for Updates…")
        time.sleep(0.3)
        self.screen.press("Return")

    def controls(self, window):
        """What assistive technology tells of a window, without what only holds other things together."""
        return [line for line in (describe(node) for node in self.screen.nodes(window))
                if not line.startswith(("panel ''", "filler"))]

    @staticmethod
    def notes_controls(is_confined):
        """What is in the release notes' place: the page, or a button that opens it in the browser."""
        if is_confined:
            return ["panel 'Release Notes:'", "document text 'Release Notes:'"]
        return ["panel 'Release Notes:'", "push button 'Show Release Notes'", "label 'Show Release Notes'"]

    def logged(self, text, count=1):
        self.wait_for(lambda: self.log().count(text) >= count, text)


class WholeUpdate(WindowTestCase):
    def test_from_the_menu_to_the_new_application(self):
        host = self.start_and_wait()
        self.offer()
        self.check_for_updates()
        prompt = self.screen.window_of(self.screen.find("push button", "Install Update"))
        sentence = "Editor version 2.0 is now available － you have 1.0. Would you like to download it now?"
        self.assertEqual(self.controls(prompt), [
            "frame 'Editor 2.0'", "image 'EditorLogo'", "label 'A new version is available!'", f"label '{sentence}'",
            "label 'Release Notes:'", *self.notes_controls(web_content_can_be_confined()),
            "push button 'Remind Me Later'", "label 'Remind Me Later'",
            "push button 'Install Update'", "label 'Install Update'"])
        if web_content_can_be_confined():
            self.wait_for(lambda: "/notes.html" in self.server.requests, "the release notes")
        self.screen.click("push button", "Install Update")
        ready = self.screen.find("push button", "Install and Relaunch")
        self.assertEqual(self.controls(self.screen.window_of(ready)), [
            "frame 'Editor Update'", "label 'Ready to Install'", "progress bar 'Ready to Install'",
            "push button 'Install and Relaunch'", "label 'Install and Relaunch'"])
        self.screen.click("push button", "Install and Relaunch")
        self.assertEqual(host.wait(timeout=20), 0)
        self.wait_for(lambda: "version=2.0 build=200" in self.log(), "the new application's start")
        self.wait_for(lambda: len(list(self.applications.iterdir())) == 1, "the backup's removal")
        self.assert_installed_is(self.releases.release("2.0", 200))
        self.assertEqual(host.stderr.read().replace("\n", ""), "", "nothing is complained about")

    def test_every_answer_of_the_prompt(self):
        self.start_and_wait()
        self.offer()
        self.check_for_updates()
        self.screen.click("push button", "Remind Me Later")
        self.logged("the user wants to be reminded")
        self.check_for_updates()
        self.screen.find("push button", "Install Update")
        self.check_for_updates()  # takes the open prompt's place
        self.logged("update: offered", 3)
        time.sleep(0.3)
        self.screen.close("Editor 2.0")
        self.logged("the user dismissed the offer")
        self.screen.gone("frame", "Editor 2.0")
        # Nothing to install: only shown.
        self.server.routes["/feed.plist"] = feed(title="Editor 2.0", url=f"{self.server.address}/notes.html")
        self.check_for_updates()
        self.screen.click("push button", "OK")
        self.logged("the user dismissed the offer", 2)
        self.assertEqual(self.log().count("update: the user "), 3)


class ReleaseNotes(WindowTestCase):
    def shown(self, within=()):
        self.start_and_wait(within)
        self.offer()
        self.check_for_updates()
        prompt = self.screen.window_of(self.screen.find("push button", "Install Update"))
        lines = self.controls(prompt)
        return lines[lines.index("label 'Release Notes:'") + 1:lines.index("push button 'Remind Me Later'")]

    def test_are_a_page_where_it_can_be_confined(self):
        if not web_content_can_be_confined():
            self.skipTest("this system cannot confine a web view (bwrap cannot make its namespaces)")
        self.assertEqual(self.shown(), self.notes_controls(True))
        self.wait_for(lambda: "/notes.html" in self.server.requests, "the release notes")

    def test_are_a_button_where_it_cannot(self):
        within = UNCONFINED if web_content_can_be_confined() else []
        if within and not succeeds(*within):
            self.skipTest("this system allows namespaces, but none in which they are forbidden")
        self.assertFalse(succeeds(*within, *CONFINED))
        self.assertEqual(self.shown(within), self.notes_controls(False))
        self.assertNotIn("/notes.html", self.server.requests)


class Alerts(WindowTestCase):
    def test_every_end_of_a_check(self):
        self.start_and_wait()
        self.check_for_updates()
        alert = self.screen.find("dialog", "No Updates Available")
        self.assertEqual(self.controls(alert), [
            "dialog 'No Updates Available'", "label 'No Updates Available'",
            "label 'You are running the current version of Editor.'", "check box 'Check for beta releases'",
            "label 'Check for beta releases'", "push button 'OK'", "label 'OK'"])
        self.screen.click("check box", "Check for beta releases")
        self.screen.press("Return")
        self.screen.gone("dialog", "No Updates Available")
        settings = self.home / "Library/Preferences/com.example.editor.plist"
        self.wait_for(lambda: b"PellamUpdateCheckForBetaReleases" in settings.read_bytes(), "the beta setting")

        self.server.routes["/feed.plist"] = b"no feed"
        self.check_for_updates()
        self.screen.find("dialog", "Unable to Check For Updates")
        self.screen.press("Escape")
        self.screen.gone("dialog", "Unable to Check For Updates")

        self.offer(archive=False)
        self.check_for_updates()
        self.screen.click("push button", "Install Update")
        failed = self.screen.find("dialog", "Download Failed")
        self.assertIn("label 'Please try again later.'", self.controls(failed))
        self.screen.press("Return")
        self.screen.gone("dialog", "Download Failed")

    def test_the_users_language(self):
        tables = "".join((ROOT / folder / "de.lproj" / name).read_text() for folder, name in
                         (("localization", "Updates.strings"), ("examples/editor/localization", "Localizable.strings")))
        german = dict(re.findall(r'^"(.*)" = "(.*)";$', tables, re.M))
        self.start_and_wait(LANGUAGE="de", LC_ALL="C.UTF-8")
        self.screen.click("menu item", "Editor")
        self.screen.find("menu item", german["Check for Updates…"])
        time.sleep(0.3)
        self.screen.press("Return")
        self.screen.find("dialog", german["No Updates Available"])
        self.screen.press("Return")


class Endings(WindowTestCase):
    def test_the_application_can_end_at_any_moment(self):
        def alert():
            self.check_for_updates()
            self.screen.find("dialog", "No Updates Available")

        def prompt():
            self.offer()
            self.check_for_updates()
            self.screen.find("push button", "Install Update")

        def ready():
            prompt()
            self.screen.click("push button", "Install Update")
            self.screen.find("push button", "Install and Relaunch")

        for reach in (alert, prompt, ready):
            for end in ("signal", "document"):
                if (reach, end) == (alert, "document"):
                    continue  # an alert blocks the document
                with self.subTest(reach=reach.__name__, end=end):
                    self.releases.log.unlink(missing_ok=True)
                    self.server.routes["/feed.plist"] = self.nothing_new
                    process = self.start_and_wait()
                    reach()
                    if end == "signal":
                        process.send_signal(signal.SIGTERM)
                    else:
                        self.screen.close("Editor 1.0")
                    self.assertEqual(process.wait(timeout=10), 0)
                    self.assertTrue(self.log().endswith(" ended\n"))
        self.assertNotIn("version=2.0", self.log())

    def test_without_a_display_is_one_line(self):
        for display, line in (("", "no display is set"), (":4999", 'cannot open the display ":4999"')):
            process = self.start(DISPLAY=display, WAYLAND_DISPLAY="")
            self.assertEqual(process.wait(timeout=10), 1)
            self.assertEqual(process.stderr.read(), f"Editor: {line}\n")


if __name__ == "__main__":
    unittest.main(verbosity=2)
