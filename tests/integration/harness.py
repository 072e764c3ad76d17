"""What the integration tests share: signed releases of the sample application, an HTTP server that can misbehave,
and the programs run as a user runs them."""

import hashlib
import http.server
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile
import threading
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = pathlib.Path(os.environ["PELLAM_PROGRAMS"]).resolve()
SERVICE = "com.example.editor.Pellam.UpdateInstallerLauncherService"


def run(*arguments, **options):
    """Runs a command that must succeed."""
    return subprocess.run([str(a) for a in arguments], check=True, capture_output=True, text=True, **options)


def tree(folder):
    """Everything below a folder as text: names, kinds, modes, targets and contents."""
    lines = []
    for path in sorted(pathlib.Path(folder).rglob("*")):
        name = path.relative_to(folder)
        if path.is_symlink():
            lines.append(f"{name} -> {os.readlink(path)}")
        elif path.is_dir():
            lines.append(f"{name}/")
        else:
            digest = hashlib.sha256(path.read_bytes()).hexdigest()
            lines.append(f"{name} {path.stat().st_mode & 0o7777:o} {digest}")
    return "\n".join(lines)


class Releases:
    """Releases of the sample application, made once for a module."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="pellam-releases-"))
        self.log = self.folder / "editor.log"
        self.identity("vendor", "TEAM000001")
        self.made = {}

    def identity(self, name, team):
        folder = self.folder / name
        if not folder.exists():
            run(ROOT / "scripts/make-vendor-identity", folder, team)
        return folder

    def release(self, version, build, vendor="vendor", identifier="com.example.editor", linger=0):
        """The path of a signed bundle, which the tests never change."""
        key = (version, build, vendor, identifier, linger)
        if key not in self.made:
            output = self.folder / f"{version}-{build}-{vendor}-{identifier}-{linger}" / "Editor.app"
            output.parent.mkdir()
            environment = dict(os.environ, EDITOR_IDENTIFIER=identifier, EDITOR_LINGER_SECONDS=str(linger))
            run(ROOT / "examples/editor/make-bundle", PROGRAMS, self.folder / vendor, version, build, "", self.log,
                output, env=environment)
            self.made[key] = output
        return self.made[key]

    def sign(self, bundle, vendor="vendor"):
        folder = self.folder / vendor
        run(PROGRAMS / "pellam-codesign", "--sign", folder / "identity.pem", "--key", folder / "key.pem", bundle)

    def close(self):
        shutil.rmtree(self.folder)


def zipped(bundle, archive):
    """Zips a bundle with its links and returns the archive's bytes."""
    archive.unlink(missing_ok=True)
    run("zip", "-qry", archive, bundle.name, cwd=bundle.parent)
    return archive.read_bytes()


def feed(**keys):
    """A feed of one entry."""
    entry = {"type": "update", "id": "editor-2.0", "current": "2.0", "currentbuild": "200", "url": "http://notes/"}
    entry.update(keys)
    body = "".join(f"<key>{k.replace('_', '-')}</key><string>{v}</string>" for k, v in entry.items())
    return f'<?xml version="1.0"?><plist version="1.0"><array><dict>{body}</dict></array></plist>'.encode()


class Server:
    """An HTTP server on loopback. `routes` maps a path to bytes or to a function of the request handler."""

    def __init__(self, tls=None):
        self.routes = {}
        self.requests = []
        owner = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_GET(self):
                owner.requests.append(self.path)
                answer = owner.routes.get(self.path)
                if answer is None:
                    self.send_error(404)
                elif callable(answer):
                    answer(self)
                else:
                    self.send_response(200)
                    self.send_header("Content-Length", str(len(answer)))
                    self.end_headers()
                    self.wfile.write(answer)

            def log_message(self, *_):
                pass

        class Quiet(http.server.ThreadingHTTPServer):
            daemon_threads = True

            def handle_error(self, request, client_address):
                pass  # a client that goes away is what some tests are about

        self.http = Quiet(("127.0.0.1", 0), Handler)
        if tls:
            self.http.socket = tls.wrap_socket(self.http.socket, server_side=True)
        self.port = self.http.server_address[1]
        self.address = f"{'https' if tls else 'http'}://127.0.0.1:{self.port}"
        threading.Thread(target=self.http.serve_forever, daemon=True).start()

    def close(self):
        self.http.shutdown()
        self.http.server_close()


def close_connection(handler):
    """Ends the connection at once, whatever was announced."""
    handler.close_connection = True
    handler.wfile.flush()
    try:
        handler.connection.shutdown(socket.SHUT_RDWR)
    except OSError:
        pass


class UpdateTestCase(unittest.TestCase):
    """One installed Editor 1.0, a home of its own and a server. Subclasses get `releases` for the module."""

    releases = None

    @classmethod
    def setUpClass(cls):
        cls.releases = Releases()

    @classmethod
    def tearDownClass(cls):
        cls.releases.close()

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="pellam-update-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.home = self.folder / "home"
        self.temporary = self.folder / "tmp"
        self.applications = self.folder / "Applications"
        for folder in (self.home, self.temporary, self.applications):
            folder.mkdir()
        self.installed = self.applications / "Editor.app"
        self.old = self.releases.release("1.0", 100)
        shutil.copytree(self.old, self.installed, symlinks=True)
        self.releases.log.unlink(missing_ok=True)
        self.server = Server()
        self.addCleanup(self.server.close)

    @property
    def support(self):
        return self.home / "Library/Application Support"

    def environment(self):
        environment = dict(os.environ, HOME=str(self.home), TMPDIR=str(self.temporary), LC_ALL="C.UTF-8")
        environment.pop("LANGUAGE", None)
        return environment

    def command(self, *arguments, feed_address=None):
        return [str(PROGRAMS / "pellam-update"), "--app", str(self.installed), "--feed",
                feed_address or f"{self.server.address}/feed.plist", *arguments]

    def update(self, *arguments, feed_address=None, timeout=60):
        return subprocess.run(self.command(*arguments, feed_address=feed_address), env=self.environment(),
                              capture_output=True, text=True, timeout=timeout, stdin=subprocess.DEVNULL)

    def serve(self, archive, **keys):
        """Serves a feed whose one entry has this archive."""
        self.server.routes["/feed.plist"] = feed(app_installer=f"{self.server.address}/Editor.zip", **keys)
        self.server.routes["/Editor.zip"] = archive

    def serve_bundle(self, bundle, **keys):
        self.serve(zipped(bundle, self.folder / "served.zip"), **keys)

    def changed_release(self, change, resign=None, version="2.0", build=200):
        """A copy of a release that a function has changed, signed again by `resign` when given."""
        copy = self.folder / "changed" / "Editor.app"
        shutil.rmtree(copy.parent, ignore_errors=True)
        shutil.copytree(self.releases.release(version, build), copy, symlinks=True)
        change(copy)
        if resign:
            self.releases.sign(copy, resign)
        return copy

    def wait_for(self, condition, what, seconds=15):
        deadline = time.monotonic() + seconds
        while True:
            try:
                if condition():
                    return
            except FileNotFoundError:
                pass  # what is looked at is just being removed
            self.assertLess(time.monotonic(), deadline, f"waited in vain for {what}")
            time.sleep(0.02)

    def log(self):
        return self.releases.log.read_text() if self.releases.log.exists() else ""

    def assert_failed(self, result, line):
        """Failed with exactly one line on standard error."""
        self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        self.assertIn(line, result.stderr)

    def assert_installed_is(self, release):
        """The installed application is that release, whole, alone in its folder, and its signature is valid."""
        self.assertEqual(tree(self.installed), tree(release))
        self.assertEqual([p.name for p in self.applications.iterdir()], ["Editor.app"])
        verified = subprocess.run([self.installed / "Contents/MacOS/pellam-codesign", "--verify", "--strict", "--deep",
                                   self.installed], capture_output=True, text=True)
        self.assertEqual(verified.returncode, 0, verified.stderr)

    def assert_old_is_untouched(self):
        self.assert_installed_is(self.old)
