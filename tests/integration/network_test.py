"""What stands between a host and its feed: proxies, certificates, redirects, name servers. Each test runs the program
in namespaces of its own, where the certificate authorities and the name servers are the test's."""

import http.server
import os
import resource
import select
import signal
import socket
import ssl
import subprocess
import sys
import threading
import time
import unittest
import zlib
from urllib.parse import quote

from harness import Server, UpdateTestCase, feed, run, zipped

NAMESPACES = ["unshare", "--user", "--map-root-user", "--mount"]


def namespaces_are_allowed():
    """With all that the tests do in them: some systems let everybody make namespaces, but not mount there."""
    mounting = "for file in /etc/ssl/certs/ca-certificates.crt /etc/resolv.conf; do mount --bind $file $file || exit 1; done; mount -t tmpfs none /run"
    return subprocess.run([*NAMESPACES, "--net", "sh", "-c", mounting], capture_output=True).returncode == 0


class Proxy:
    """An HTTP proxy that opens tunnels, and remembers whereto."""

    def __init__(self):
        self.tunnels = []
        owner = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_CONNECT(self):
                owner.tunnels.append(self.path)
                host, port = self.path.rsplit(":", 1)
                with socket.create_connection((host, int(port))) as server:
                    self.send_response(200, "Connection established")
                    self.end_headers()
                    ends = {self.connection: server, server: self.connection}
                    while True:
                        for end in select.select(list(ends), [], [])[0]:
                            data = end.recv(65536)
                            if not data:
                                self.close_connection = True
                                return
                            ends[end].sendall(data)

            def log_message(self, *_):
                pass

        class Quiet(http.server.ThreadingHTTPServer):
            daemon_threads = True

            def handle_error(self, request, client_address):
                pass  # either end may go away

        self.http = Quiet(("127.0.0.1", 0), Handler)
        self.address = f"http://127.0.0.1:{self.http.server_address[1]}"
        threading.Thread(target=self.http.serve_forever, daemon=True).start()

    def close(self):
        self.http.shutdown()
        self.http.server_close()


@unittest.skipUnless(namespaces_are_allowed(), "this system allows no namespaces")
class SecureServers(UpdateTestCase):
    """A server whose certificate is vouched for, in the program's namespace alone."""

    def setUp(self):
        super().setUp()
        self.certificate = self.folder / "tls.pem"
        run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-subj",
            "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", self.folder / "tls.key", "-out",
            self.certificate)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.certificate, self.folder / "tls.key")
        self.secure = Server(tls=context)
        self.addCleanup(self.secure.close)
        self.variables = {}

    def environment(self):
        environment = super().environment()
        for name in ("http_proxy", "https_proxy", "all_proxy", "no_proxy"):
            environment.pop(name, None)
            environment.pop(name.upper(), None)
        return dict(environment, **self.variables)

    def command(self, *arguments, feed_address=None):
        # Who is root in there keeps its jobs in /run, which outside belongs to somebody else.
        trusting = 'mount -t tmpfs none /run && mount --bind "$0" /etc/ssl/certs/ca-certificates.crt && exec "$@"'
        return [*NAMESPACES, "sh", "-c", trusting, str(self.certificate),
                *super().command(*arguments, feed_address=feed_address or f"{self.secure.address}/feed.plist")]

    def use_proxy(self):
        proxy = Proxy()
        self.addCleanup(proxy.close)
        self.variables["https_proxy"] = proxy.address
        return proxy

    def test_answers_that_come_through_a_proxy_are_the_servers(self):
        proxy = self.use_proxy()
        with self.subTest("no feed"):
            self.assert_failed(self.update("--yes"), "answered with status 404")
        with self.subTest("no archive"):
            self.secure.routes["/feed.plist"] = feed(app_installer=f"{self.secure.address}/Editor.zip")
            self.assert_failed(self.update("--yes"), "could not be downloaded")
            self.assertFalse(list(self.home.rglob("Editor.zip")), "the error page is no archive")
            self.assert_old_is_untouched()
        with self.subTest("both"):
            self.secure.routes["/Editor.zip"] = zipped(self.releases.release("2.0", 200), self.folder / "served.zip")
            result = self.update("--yes")
            self.assertEqual(result.returncode, 0, result.stderr)
            self.wait_for(lambda: "version=2.0 build=200" in self.log(), "the new application's start")
        self.assertEqual(set(proxy.tunnels), {self.secure.address.removeprefix("https://")})


    def test_what_is_asked_for_over_https_is_fetched_over_nothing_else(self):
        def redirect(address):
            def answer(handler):
                handler.send_response(302)
                handler.send_header("Location", address)
                handler.send_header("Content-Length", "0")
                handler.end_headers()
            return answer

        target = f"{self.server.address}/insecure.plist"
        self.server.routes["/insecure.plist"] = feed()
        self.server.routes["/feed.plist"] = redirect(f"{self.secure.address}/feed.plist")
        refusal = f'The server redirects from https to "{target}", which is not secure.'
        for name, location in {"at once": target, "with a tab": f"\t{target}"}.items():
            self.secure.routes["/feed.plist"] = redirect(location)
            with self.subTest(name):
                self.assert_failed(self.update("--yes"), refusal)
            with self.subTest(f"{name}, after a redirect to https"):
                self.assert_failed(self.update("--yes", feed_address=f"{self.server.address}/feed.plist"), refusal)
        self.assertNotIn("/insecure.plist", self.server.requests)
        with self.subTest("to another https address"):
            self.secure.routes["/feed.plist"] = redirect("/elsewhere.plist")
            self.secure.routes["/elsewhere.plist"] = feed()
            result = self.update("--check-only", feed_address=f"{self.server.address}/feed.plist")
            self.assertEqual(result.returncode, 0, result.stderr)


class Feeds(UpdateTestCase):
    def test_servers_are_told_which_application_asks(self):
        names = []

        def answer(handler):
            names.append(handler.headers["User-Agent"])
            handler.send_error(404)

        self.server.routes["/feed.plist"] = answer
        self.assert_failed(self.update("--check-only"), "answered with status 404")
        self.server.routes["/feed.plist"] = feed(app_installer=f"{self.server.address}/Editor.zip")
        self.server.routes["/Editor.zip"] = answer
        self.assert_failed(self.update("--yes"), "could not be downloaded")
        self.assertEqual(names, ["Editor/1.0"] * 2)

    def test_a_small_answer_that_grows_without_end(self):
        packer = zlib.compressobj(wbits=16 + zlib.MAX_WBITS)
        packed = b"".join(packer.compress(bytes(1 << 20)) for _ in range(600)) + packer.flush()

        def answer(handler):
            handler.send_response(200)
            handler.send_header("Content-Encoding", "gzip")
            handler.send_header("Content-Length", str(len(packed)))
            handler.end_headers()
            handler.wfile.write(packed)

        self.server.routes["/feed.plist"] = answer
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
        self.assert_failed(self.update("--check-only"), f"The response is longer than {64 << 20} bytes.")
        peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
        self.assertLess(peak, max(before, 256 << 10), "kilobytes at the most")


class Files(UpdateTestCase):
    def test_a_pipe_is_no_feed_that_could_be_waited_for(self):
        pipe = self.folder / "a pipe"
        os.mkfifo(pipe)
        result = self.update("--check-only", feed_address=f"file://{quote(str(pipe))}", timeout=5)
        self.assert_failed(result, f"{pipe} is no regular file.")


# Becomes a program that has nothing but a loopback interface, with a name server on it that never answers.
SILENT_NAME_SERVER = """
import fcntl, os, socket, struct, sys
server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
set_interface_flags, is_up = 0x8914, 1
fcntl.ioctl(server, set_interface_flags, struct.pack("16sh14x", b"lo", is_up))
server.bind(("127.0.0.1", 53))
server.set_inheritable(True)
os.execv(sys.argv[1], sys.argv[1:])
"""


@unittest.skipUnless(namespaces_are_allowed(), "this system allows no namespaces")
class NameServers(UpdateTestCase):
    def command(self, *arguments, feed_address=None):
        configuration = self.folder / "resolv.conf"
        configuration.write_text("nameserver 127.0.0.1\noptions timeout:15 attempts:1\n")
        asking = 'mount --bind "$0" /etc/resolv.conf && exec "$@"'
        return [*NAMESPACES, "--net", "sh", "-c", asking, str(configuration), sys.executable, "-c", SILENT_NAME_SERVER,
                *super().command(*arguments, feed_address=feed_address)]

    def test_a_name_look_up_can_be_cancelled(self):
        command = self.command("--check-only", feed_address="http://feeds.example.com/feed.plist")
        process = subprocess.Popen(command, env=self.environment(), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   text=True)
        self.addCleanup(process.kill)
        self.assertIn("Checking", process.stdout.readline())
        with self.assertRaises(subprocess.TimeoutExpired):
            process.wait(timeout=1)
        begin = time.monotonic()
        process.send_signal(signal.SIGINT)
        output, error = process.communicate(timeout=30)
        self.assertLess(time.monotonic() - begin, 0.5)
        self.assertEqual(process.returncode, 1, output + error)
        self.assertIn("cancelled; nothing was installed", error)


if __name__ == "__main__":
    unittest.main(verbosity=2)
