"""Runs the tests that reach a mutant, where a mutant can do no harm."""
import os
import pathlib
import queue
import shutil
import signal
import subprocess
import tempfile
import time

MEMORY = 6 << 30
DISK = 1 << 30


class Runner:
    """Mutants delete, write and connect where the original would not: each run sees the whole machine read-only, a
    temporary folder, processes and a network of its own."""

    def __init__(self, workshop, jobs, confined):
        self.workshop, self.confined = workshop, confined
        self.folders = queue.Queue()
        for index in range(jobs if confined else 1):
            folder = workshop.folder / f"switch-{index}" if confined else workshop.switch
            folder.mkdir(exist_ok=True)
            self.folders.put(folder)

    @staticmethod
    def can_confine():
        if not shutil.which("bwrap"):
            return False
        return subprocess.run(["bwrap", "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc", "--unshare-pid", "--unshare-net", "true"],
                              capture_output=True).returncode == 0

    def run(self, command, environment, limit, number=0, trace=False):
        """(whether it succeeded, the seconds it took, its output, what it reached); no success when the limit is over."""
        folder = self.folders.get()
        try:
            (folder / "chosen").write_text(str(number))
            reached = folder / "reached"
            reached.unlink(missing_ok=True)
            if trace:
                reached.write_text("")
            begin = time.monotonic()
            status, output = self.start(self.wrapped(command, environment, folder), limit)
            seconds = time.monotonic() - begin
            return status == 0, seconds, output, {int(line) for line in reached.read_text().split()} if trace else set()
        finally:
            self.folders.put(folder)

    def wrapped(self, command, environment, folder):
        settings = {**environment, "HOME": "/tmp/home", "TMPDIR": "/tmp", "LC_ALL": "C.UTF-8"}
        limited = ["prlimit", f"--as={MEMORY}", f"--fsize={DISK}", "--core=0", *command]
        if not self.confined:
            self.temporary = tempfile.mkdtemp(prefix="pellam-mutate-")
            settings.update(HOME=self.temporary, TMPDIR=self.temporary)
            return ["env", *(f"{key}={value}" for key, value in settings.items()), *limited]
        base = str(self.workshop.folder)
        words = ["bwrap", "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc", "--size", str(DISK), "--tmpfs", "/tmp", "--dir", "/tmp/home",
                 "--ro-bind", base, base, "--bind", str(folder), str(self.workshop.switch),
                 "--unshare-pid", "--unshare-net", "--unshare-ipc", "--die-with-parent", "--new-session", "--chdir", "/tmp"]
        for key, value in settings.items():
            words += ["--setenv", key, value]
        return words + limited

    def start(self, words, limit):
        process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        try:
            output, _ = process.communicate(timeout=limit)
            return process.returncode, output.decode(errors="replace")
        except subprocess.TimeoutExpired:
            return None, ""
        finally:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGKILL)
                process.communicate()
            if not self.confined:
                shutil.rmtree(self.temporary, ignore_errors=True)

    def cases(self, command, environment):
        """The names of the program's tests."""
        _, _, output, _ = self.run([*command, "--gtest_list_tests"], environment, 60)
        suite, names = "", []
        for line in output.splitlines():
            name = line.split("#")[0].rstrip()
            if line.startswith("  "):
                names.append(suite + name.strip())
            elif name.endswith("."):
                suite = name
        return names
