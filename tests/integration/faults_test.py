"""Bad input and faults: each ends with one clear line, leaves nothing lying about, and leaves the installed
application as it was, whole and able to start."""

import os
import pathlib
import plistlib
import shutil
import ssl
import stat
import struct
import subprocess
import time
import unittest
import zipfile

from harness import SERVICE, Server, UpdateTestCase, close_connection, feed, run, tree, zipped


def bomb_binary_list():
    """A binary property list of a few hundred bytes whose shared references make 2^40 values."""
    objects = [b"\x51a"]
    for level in range(40):
        objects.append(bytes([0xA2, level, level]))
    body = b"bplist00"
    offsets = []
    for item in objects:
        offsets.append(len(body))
        body += item
    table = len(body)
    body += b"".join(struct.pack(">H", offset) for offset in offsets)
    return body + struct.pack(">6xBBQQQ", 2, 1, len(objects), len(objects) - 1, table)


class Feeds(UpdateTestCase):
    def assert_check_fails(self, line, **options):
        begin = time.monotonic()
        self.assert_failed(self.update("--yes", **options), line)
        self.assertLess(time.monotonic() - begin, 5)
        self.assert_old_is_untouched()
        self.assertFalse(self.support.exists())

    def test_documents_that_are_no_feed(self):
        entities = "".join(f'<!ENTITY e{n} "&e{n - 1};&e{n - 1};">' for n in range(1, 40))
        rows = {
            "empty": (b"", "Feed failed to parse"),
            "text": (b"hello, world {", "Feed failed to parse"),
            "cut off": (feed()[:-30], "Feed failed to parse"),
            "no entries": (b'<plist version="1.0"><array/></plist>', "Feed not found"),
            "a dictionary": (b'<plist version="1.0"><dict/></plist>', "Feed not found"),
            "nested": (b'<plist version="1.0">' + b"<array>" * 100_000 + b"</array>" * 100_000 + b"</plist>",
                       "Feed failed to parse"),
            "entities": (f'<?xml version="1.0"?><!DOCTYPE plist [<!ENTITY e0 "x">{entities}]>'
                         f'<plist version="1.0"><array><dict><key>a</key><string>&e39;</string></dict></array></plist>'
                         .encode(), "Feed failed to parse"),
            "shared references": (bomb_binary_list(), "Feed failed to parse"),
        }
        for name, (document, line) in rows.items():
            with self.subTest(name):
                self.server.routes["/feed.plist"] = document
                self.assert_check_fails(line)

    def test_servers_that_do_not_deliver(self):
        def stated(length, sent):
            def answer(handler):
                handler.send_response(200)
                handler.send_header("Content-Length", str(length))
                handler.end_headers()
                handler.wfile.write(sent)
                close_connection(handler)
            return answer

        def redirect(handler):
            handler.send_response(302)
            handler.send_header("Location", "/feed.plist")
            handler.send_header("Content-Length", "0")
            handler.end_headers()

        def to_file(handler):
            handler.send_response(302)
            handler.send_header("Location", "file:///etc/passwd")
            handler.send_header("Content-Length", "0")
            handler.end_headers()

        rows = {
            "missing": (None, "answered with status 404"),
            "truncated": (stated(10_000, feed()), ""),
            "closed early": (lambda handler: close_connection(handler), ""),
            "redirects in a loop": (redirect, "redirect"),
            "redirect to a file": (to_file, ""),
        }
        for name, (answer, line) in rows.items():
            with self.subTest(name):
                self.server.routes["/feed.plist"] = answer
                self.assert_check_fails("pellam-update: " if not line else line)
        with self.subTest("nobody listens"):
            self.assert_check_fails("connect", feed_address="http://127.0.0.1:1/feed.plist")

    def test_a_certificate_that_nobody_vouches_for(self):
        run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-subj",
            "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", self.folder / "tls.key", "-out",
            self.folder / "tls.pem")
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.folder / "tls.pem", self.folder / "tls.key")
        server = Server(tls=context)
        self.addCleanup(server.close)
        server.routes["/feed.plist"] = feed()
        self.assert_check_fails("certificate", feed_address=f"{server.address}/feed.plist")


class Archives(UpdateTestCase):
    def assert_install_fails(self, line):
        self.assert_failed(self.update("--yes"), line)
        self.assert_old_is_untouched()
        self.assertFalse((self.folder / "escaped").exists())

    def archive(self, write):
        path = self.folder / "made.zip"
        path.unlink(missing_ok=True)
        with zipfile.ZipFile(path, "w") as made:
            write(made)
        return path.read_bytes()

    def test_archives_that_are_refused_whole(self):
        def link(made, name, target):
            entry = zipfile.ZipInfo(name)
            entry.external_attr = (stat.S_IFLNK | 0o777) << 16
            made.writestr(entry, target)

        def climbing(made):
            made.writestr("Editor.app/Contents/Info.plist", "x")
            made.writestr("../../../../../escaped", "x")

        def absolute(made):
            made.writestr(str(self.folder / "escaped"), "x")

        def through_link(made):
            link(made, "Editor.app", str(self.folder))
            made.writestr("Editor.app/escaped", "x")

        def colliding(made):
            made.writestr("Editor.app/Contents/a", "x")
            made.writestr("Editor.app/contents/A", "x")

        good = zipped(self.releases.release("2.0", 200), self.folder / "good.zip")
        damaged = bytearray(good)
        damaged[len(good) // 2] ^= 0xFF
        rows = {
            "climbing": self.archive(climbing),
            "absolute": self.archive(absolute),
            "link outside": self.archive(lambda made: link(made, "Editor.app/link", "../../../../../../../etc")),
            "through a link": self.archive(through_link),
            "colliding": self.archive(colliding),
            "damaged": bytes(damaged),
            "truncated": good[:-1000],
            "no archive": b"hello",
            "empty": b"",
        }
        for name, archive in rows.items():
            with self.subTest(name):
                self.serve(archive)
                self.assert_install_fails("the archive could not be unpacked")
                attempts = list(self.support.rglob("SeamlessInstaller/*/*"))
                self.assertEqual([p for p in attempts if p.name != "Editor.zip"], [], "nothing half unpacked")

    def test_archives_without_exactly_one_application(self):
        self.serve(self.archive(lambda made: made.writestr("readme.txt", "x")))
        self.assert_install_fails("the archive holds no application")
        self.serve(self.archive(lambda made: [made.writestr(f"{n}.app/x", "x") for n in "ab"]))
        self.assert_install_fails("the archive holds more than one application")

    def test_downloads_that_fail(self):
        self.serve(None)
        self.assert_install_fails("the update could not be downloaded")

        def cut_off(handler):
            handler.send_response(200)
            handler.send_header("Content-Length", "1000000")
            handler.end_headers()
            handler.wfile.write(b"x" * 1000)
            close_connection(handler)

        self.serve(cut_off)
        self.assert_install_fails("the update could not be downloaded")
        self.server.routes["/feed.plist"] = feed()
        self.assert_install_fails("the feed names no archive for this update")

    def test_applications_that_must_not_replace_this_one(self):
        self.releases.identity("stranger", "TEAM000001")  # the same team's name, but nobody vouches for it
        plist = "Contents/Info.plist"

        def set_plist(key, value):
            def change(bundle):
                info = plistlib.loads((bundle / plist).read_bytes())
                info[key] = value
                (bundle / plist).write_bytes(plistlib.dumps(info))
            return change

        def append(name):
            def change(bundle):
                with open(bundle / name, "ab") as file:
                    file.write(b"\n")
            return change

        rows = [
            ("another application", self.releases.release("2.0", 200, identifier="com.example.other"), "is another one"),
            ("an older one", self.releases.release("0.9", 99), "is not newer than the installed one"),
            ("the same", self.releases.release("1.0", 100), "is not newer than the installed one"),
            ("a newer system", self.changed_release(set_plist("LSMinimumSystemVersion", "99.0"), "vendor"),
             "needs a newer operating system"),
        ]
        for name, bundle, line in rows:
            with self.subTest(name):
                self.serve_bundle(bundle)
                self.assert_install_fails(line)

        invalid = "signature is not valid"
        changes = [
            ("no executable", lambda b: (b / "Contents/MacOS/Editor").unlink(), None, "has no executable"),
            ("no signature", lambda b: shutil.rmtree(b / "Contents/_CodeSignature"), None, invalid),
            ("changed executable", append("Contents/MacOS/Editor"), None, invalid),
            ("changed helper", append("Contents/MacOS/PellamUpdateInstaller"), None, invalid),
            ("changed service", append(f"Contents/XPCServices/{SERVICE}.xpc/Contents/MacOS/PellamUpdateInstallerLauncherService"),
             None, invalid),
            ("changed property list", set_plist("CFBundleVersion", "300"), None, invalid),
            ("added file", lambda b: (b / "Contents/Resources/added").write_text("x"), None, invalid),
            ("removed file", lambda b: (b / "Contents/Resources/CodeSigningAnchors.pem").unlink(), None, invalid),
            ("signed by a stranger", lambda b: None, "stranger", invalid),
        ]
        for name, change, resign, line in changes:
            with self.subTest(name):
                self.serve_bundle(self.changed_release(change, resign))
                self.assert_install_fails(line)


class Places(UpdateTestCase):
    def mount_small(self, folder, size="64k"):
        if os.geteuid() != 0:
            self.skipTest("mounting a full volume needs root")
        folder.mkdir(parents=True, exist_ok=True)
        if subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "none", folder]).returncode != 0:
            self.skipTest("this system does not let tests mount")
        self.addCleanup(subprocess.run, ["umount", "-l", str(folder)])

    def test_a_full_application_support_folder_gives_way_to_the_temporary_folder(self):
        self.mount_small(self.support)
        self.serve_bundle(self.releases.release("2.0", 200))
        result = self.update("--yes")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.wait_for(lambda: "version=2.0" in self.log(), "the new application's start")
        self.wait_for(lambda: len(list(self.applications.iterdir())) == 1, "the backup's removal")
        self.assert_installed_is(self.releases.release("2.0", 200))

    def test_no_room_anywhere(self):
        self.mount_small(self.support)
        self.mount_small(self.temporary)
        self.serve_bundle(self.releases.release("2.0", 200))
        self.assert_failed(self.update("--yes"), "the downloaded archive could not be written anywhere")
        self.assert_old_is_untouched()

    def test_no_room_for_the_unpacked_application(self):
        archive = zipped(self.releases.release("2.0", 200), self.folder / "size.zip")
        for folder in (self.support, self.temporary):
            self.mount_small(folder, f"{(len(archive) + 300_000) // 1024}k")
        self.serve_bundle(self.releases.release("2.0", 200))
        self.assert_failed(self.update("--yes"), "the archive could not be unpacked")
        self.assert_old_is_untouched()

    def test_no_room_beside_the_destination(self):
        size = sum(p.stat().st_size for p in self.installed.rglob("*") if p.is_file())
        shutil.move(self.installed, self.folder / "aside.app")
        self.mount_small(self.applications, f"{size // 1024 + 600}k")
        shutil.copytree(self.folder / "aside.app", self.installed, symlinks=True)
        self.serve_bundle(self.releases.release("2.0", 200))
        result = self.update("--yes")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.wait_for(lambda: "version=1.0" in self.log(), "the old application's start")
        self.assert_old_is_untouched()
        self.assertIn("An earlier update failed on", self.update("--check-only").stdout)

    def test_a_place_that_the_user_cannot_write(self):
        if os.geteuid() != 0:
            self.skipTest("another user's folders need root")
        for folder in (self.folder, self.home, self.temporary):
            os.chmod(folder, 0o777)
        for path in [self.home, self.temporary]:
            os.chown(path, 65534, 65534)
        self.serve_bundle(self.releases.release("2.0", 200))
        os.chmod(self.releases.folder, 0o755)
        result = subprocess.run(["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", *self.command("--yes")],
                                env=self.environment(), capture_output=True, text=True, timeout=60)
        self.assert_failed(result, "an administrator's authorization is needed and was not given")
        self.assert_old_is_untouched()


class Processes(UpdateTestCase):
    """Faults of the service, the helper and the new application. Root is not needed."""

    def break_installed(self, name, content, mode=0o755):
        file = self.installed / "Contents" / name
        file.unlink()
        if content is not None:
            file.write_bytes(content)
            file.chmod(mode)
        if name == self.service:
            self.releases.sign(file.parents[2])
        self.releases.sign(self.installed)
        self.before = tree(self.installed)

    def assert_refused(self, line):
        self.serve_bundle(self.releases.release("2.0", 200))
        self.assert_failed(self.update("--yes"), line)
        self.assertEqual(tree(self.installed), self.before)

    service = f"XPCServices/{SERVICE}.xpc/Contents/MacOS/PellamUpdateInstallerLauncherService"

    def test_a_service_that_dies_at_once(self):
        self.break_installed(self.service, b"#!/bin/sh\nexit 3\n")
        self.assert_refused("the launcher service refused or did not understand the request; phase=xpcConnection")

    def test_a_service_that_kills_itself_later(self):
        self.break_installed(self.service, b"#!/bin/sh\nsleep 0.2\nkill -9 $$\n")
        self.assert_refused("phase=xpcConnection")

    def test_a_service_that_speaks_nonsense(self):
        self.break_installed(self.service, b"#!/bin/sh\nhead -c 100000 /dev/urandom >&3 2>/dev/null\nexit 0\n")
        self.assert_refused("phase=xpcConnection")

    def test_a_missing_service(self):
        shutil.rmtree(self.installed / "Contents/XPCServices")
        self.releases.sign(self.installed)
        self.before = tree(self.installed)
        self.assert_refused("the application does not carry an installer that could be started")

    def test_a_helper_that_cannot_start(self):
        self.break_installed("MacOS/PellamUpdateInstaller", b"no program", 0o644)
        self.assert_refused("the application does not carry an installer that could be started")
        self.break_installed("MacOS/PellamUpdateInstaller", b"no program either")
        self.assert_refused("the installer could not be started; phase=jobSubmission")

    def test_a_new_application_that_does_not_start_gives_way_to_the_old_one(self):
        def break_executable(bundle):
            (bundle / "Contents/MacOS/Editor").write_bytes(b"no program")

        self.serve_bundle(self.changed_release(break_executable, "vendor"))
        result = self.update("--yes")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.wait_for(lambda: "version=1.0 build=100" in self.log(), "the old application's start")
        self.assert_old_is_untouched()
        told = self.update("--check-only")
        self.assertIn("An earlier update failed on", told.stdout)
        self.assertNotIn("An earlier update failed on", self.update("--check-only").stdout, "a report is told once")


if __name__ == "__main__":
    unittest.main(verbosity=2)
