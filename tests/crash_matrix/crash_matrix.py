#!/usr/bin/env python3
"""The real helper, interrupted at every system call by which it changes something.

Each run replaces a signed bundle by a staged one and is killed before or after one changing call, or that call fails
with an error. Afterwards the installed application must be the old or the new one, whole; then an undisturbed helper
installs a third version, and must succeed and leave nothing of ours."""

import argparse
import collections
import errno
import multiprocessing
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

ATTEMPT = "SeamlessInstaller/0F3C2A64-7D1B-4C1E-9A4B-2B8F0E6C9D11"
NOBODY = 65534
ERRORS = ("ENOSPC", "EIO", "EACCES", "EPERM", "EROFS", "EMFILE", "EINTR", "ENOMEM")
PLIST = """<plist version="1.0"><dict><key>CFBundleIdentifier</key><string>com.example.editor</string>
<key>CFBundleExecutable</key><string>Main</string><key>CFBundleVersion</key><string>{}</string></dict></plist>"""

# How the new version is staged, and what becomes of it: name, on another volume, what is wrong with it.
SCENARIOS = (("same volume", False, None), ("another volume", True, None),
             ("relaunch refused", False, "refused"), ("another volume, relaunch refused", True, "refused"))


def run(*arguments, **options):
    return subprocess.run([str(a) for a in arguments], check=True, capture_output=True, **options)


class Bundles:
    """One signed bundle of each version, made once."""

    def __init__(self, folder, programs, helper):
        self.folder = folder
        self.programs = programs
        self.helper = helper
        run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout",
            folder / "ca.key", "-out", folder / "ca.pem", "-subj", "/CN=Test Authority", "-days", "30")
        run("openssl", "req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout",
            folder / "good.key", "-out", folder / "good.csr", "-subj", "/CN=Developer/OU=TEAM")
        (folder / "extensions").write_text(
            "extendedKeyUsage=codeSigning\nkeyUsage=digitalSignature\nbasicConstraints=CA:FALSE\n")
        run("openssl", "x509", "-req", "-in", folder / "good.csr", "-CA", folder / "ca.pem", "-CAkey", folder / "ca.key",
            "-CAcreateserial", "-days", "20", "-extfile", folder / "extensions", "-out", folder / "good.pem")
        self.made = {(version, fault): self._make(version, fault)
                     for version, fault in (("1", None), ("2", None), ("2", "refused"), ("3", None))}
        self.content = {key: content(path) for key, path in self.made.items()}

    def _make(self, version, fault):
        bundle = self.folder / f"{version}-{fault}" / "Editor.app"
        programs = bundle / "Contents/MacOS"
        resources = bundle / "Contents/Resources"
        for number in range(3):
            (resources / str(number)).mkdir(parents=True)
            for name in range(2):
                (resources / str(number) / str(name)).write_text(version)
        programs.mkdir(parents=True)
        (bundle / "Contents/Info.plist").write_text(PLIST.format(version))
        (programs / "Main").write_text("#!/bin/sh\n")
        (programs / "Main").chmod(0o644 if fault else 0o755)
        for program in (self.helper, self.programs / "pellam-codesign"):
            run("strip", "-o", programs / program.name, program)
        shutil.copy(self.folder / "ca.pem", resources / "CodeSigningAnchors.pem")
        run(self.programs / "pellam-codesign", "--sign", self.folder / "good.pem", "--key", self.folder / "good.key", bundle)
        if fault:
            (resources / "0").chmod(0o555)
        return bundle


def content(bundle):
    """What a bundle holds, to be compared; nothing where there is none."""
    found = {}
    for path in sorted(bundle.rglob("*")) if bundle.is_dir() and not bundle.is_symlink() else ():
        name = str(path.relative_to(bundle))
        found[name] = path.read_bytes() if path.is_file() else "folder"
    return found


class World:
    """One installed application and one staged version, and the helper to be interrupted."""

    def __init__(self, matrix, scenario):
        _, other, self.fault = scenario
        self.matrix = matrix
        self.folder = pathlib.Path(tempfile.mkdtemp(dir=matrix.folder))
        self.other = pathlib.Path(tempfile.mkdtemp(dir=matrix.other)) if other else self.folder
        self.applications = self.folder / "Apps"
        self.installed = self.applications / "Editor.app"
        (self.folder / "home").mkdir()
        self.applications.mkdir()
        self._copy(("1", None), self.installed)
        self.stage(("2", self.fault))

    def _copy(self, key, place):
        run("cp", "-a", self.matrix.bundles.made[key], place)

    def stage(self, key):
        # What an earlier attempt left there is the host's to remove.
        if (self.other / ATTEMPT).exists():
            run("chmod", "-R", "u+rwx", self.other / ATTEMPT)
            shutil.rmtree(self.other / ATTEMPT)
        self.staged = self.other / ATTEMPT / "Extracted/Editor.app"
        self.staged.parent.mkdir(parents=True)
        self._copy(key, self.staged)
        if os.geteuid() == 0:
            run("chown", "-R", f"{NOBODY}:{NOBODY}", self.folder, self.other)
            run("chmod", "755", self.folder, self.other)

    def environment(self):
        found = dict(os.environ, HOME=str(self.folder / "home"), TMPDIR=str(self.folder))
        if self.matrix.options.without_exchange:
            found["WITHOUT_EXCHANGE"] = "1"
        return found

    def helper(self, interruption=()):
        identity = (NOBODY, NOBODY) if os.geteuid() == 0 else (os.geteuid(), os.getegid())
        user = {"user": NOBODY, "group": NOBODY, "extra_groups": []} if self.matrix.as_user else {}
        arguments = ["--staged-app", self.staged, "--installed-app", self.installed, "--host-pid", 0x3FFFFFFF,
                     "--bundle-id", "com.example.editor", "--app-version", "1", "--app-build", "1",
                     "--allows-same-build-replacement", "0", "--expected-team-id", "TEAM", "--launch-user-id", identity[0],
                     "--launch-group-id", identity[1], "--launch-user-name", "somebody", "--launch-user-home",
                     self.folder / "home", "--failure-report-url", self.folder / "home/report.plist"]
        # A helper of its own, because the installed one may be missing.
        program = self.matrix.bundles.made[("1", None)] / "Contents/MacOS/PellamUpdateInstaller"
        return subprocess.run([str(a) for a in (*interruption, program, *arguments)], capture_output=True, timeout=120,
                              cwd="/", env=self.environment(), **user).returncode

    def installed_version(self):
        found = content(self.installed)
        for (version, _), expected in self.matrix.bundles.content.items():
            if found == expected:
                return version
        return "a mixture" if found else "nothing"

    def leftovers(self):
        found = [entry.name for entry in self.applications.iterdir() if entry != self.installed]
        places = {self.folder, self.other, self.other / "SeamlessInstaller", self.folder / "home"}
        own = {"Apps", "home", "SeamlessInstaller", "report.plist"}
        for place in places:
            if place.is_dir():
                found += [str(e.relative_to(place.parent)) for e in place.iterdir() if e.name not in own]
        return sorted(name.split(".orvo")[-1][:18] if ".orvo" in name else name[-40:] for name in found)

    def age(self):
        """An hour goes by."""
        for folder in (self.folder, self.applications, self.folder / "home"):
            for entry in folder.iterdir():
                status = entry.lstat()
                os.utime(entry, (status.st_atime - 3600, status.st_mtime - 3600), follow_symlinks=False)

    def close(self):
        for folder in {self.folder, self.other}:
            run("chmod", "-R", "u+rwx", folder)
            shutil.rmtree(folder, ignore_errors=True)


def watch(path, until, result):
    """Counts how long a path is empty, as somebody sees it who looks all the time."""
    gaps, began, looks = [], None, 0
    while not until.is_set():
        looks += 1
        try:
            os.stat(path)
            if began is not None:
                gaps.append(time.perf_counter() - began)
            began = None
        except OSError:
            began = began or time.perf_counter()
    result.put((looks, gaps))


class Matrix:
    def __init__(self, options):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="pellam-crash-", dir=options.folder))
        self.other = pathlib.Path(tempfile.mkdtemp(prefix="pellam-crash-", dir=options.other))
        for folder in (self.folder, self.other):
            folder.chmod(0o755)
        self.as_user = options.as_user
        self.options = options
        helper = options.helper or options.programs / "PellamUpdateInstaller"
        patterns = self.folder / "patterns"
        patterns.mkdir()
        self.bundles = Bundles(patterns, options.programs, helper)
        self.counts = collections.Counter()
        self.complaints = []

    def interruption(self, point, how):
        calls = self.folder / "calls"
        calls.touch()
        calls.chmod(0o666)
        return (self.options.interrupter, point, how, calls), calls

    def calls_of(self, scenario):
        world = World(self, scenario)
        prefix, calls = self.interruption(0, "before")
        status = world.helper(prefix)
        if status == 77:
            sys.exit(77)
        expected = 103 if scenario[2] else 0
        if status != expected:
            self.complain(scenario[0], "undisturbed", f"status {status}")
        world.close()
        return calls.read_text().split()

    def complain(self, scenario, where, what):
        self.complaints.append(f"{scenario}, {where}: {what}")
        self.counts[(scenario, what.split(":")[0])] += 1

    def one(self, scenario, point, call, how):
        world = World(self, scenario)
        prefix, _ = self.interruption(point, how if how in ("before", "after", "told") else getattr(errno, how))
        status = world.helper(prefix)
        where = f"{how} {call} {point}"
        state = world.installed_version()
        self.counts[(scenario[0], "points")] += 1
        # Between two renames there is nothing, which the next helper heals.
        if state == "nothing" and self.options.without_exchange and how in ("before", "after"):
            self.counts[(scenario[0], "empty until healed")] += 1
        elif state not in ("1", "2"):
            self.complain(scenario[0], where, f"{state} is installed")
        elif how == "told" and (status, state) != ((103, "1") if scenario[2] else (0, "2")):
            self.complain(scenario[0], where, f"status {status} with version {state}")
        elif (status == 0) != (state == "2") and how not in ("before", "after"):
            self.complain(scenario[0], where, f"status {status} with version {state}")
        if not self.options.only_first:
            world.stage(("3", None))
            world.age()
            status = world.helper()
            if status != 0 or world.installed_version() not in ("3", "2"):
                self.complain(scenario[0], where, f"next status {status}: {world.installed_version()}")
            if world.leftovers():
                self.complain(scenario[0], where, f"left behind: {world.leftovers()}")
        world.close()

    def control(self):
        """A careless replacement, file by file: the matrix must see its mixtures."""
        states = collections.Counter()
        for point in range(1, 25, 4):
            world = World(self, SCENARIOS[0])
            prefix, _ = self.interruption(point, "before")
            if subprocess.run([str(a) for a in (*prefix, "/bin/cp", "--remove-destination", "-rT", world.staged, world.installed)],
                              capture_output=True, env=world.environment(), check=False).returncode == 77:
                sys.exit(77)
            states[world.installed_version()] += 1
            world.close()
        self.counts[("control: file by file", "a mixture is installed")] = states["a mixture"]
        if not states["a mixture"]:
            self.complain("control: file by file", "all points", "the matrix sees no mixture")

    def run(self):
        self.control()
        for scenario in SCENARIOS:
            if self.options.scenario and self.options.scenario != scenario[0]:
                continue
            calls = self.calls_of(scenario)
            self.counts[(scenario[0], "calls")] = len(calls)
            for how in self.options.how.split(","):
                seen = collections.Counter()
                for point, call in enumerate(calls, 1):
                    seen[call] += 1
                    # Many calls of one kind are alike: those of copying and removing trees.
                    if self.options.quick and call not in ("renameat2", "renameat") and seen[call] % self.options.quick != 1:
                        continue
                    self.one(scenario, point, call, how)
            if self.options.without_exchange and "before" in self.options.how and \
                    not self.counts[(scenario[0], "empty until healed")]:
                self.complain(scenario[0], "all points", "the matrix misses the moment between two renames")
        for (scenario, what), count in self.counts.items():
            print(f"{scenario:34} {what:40} {count}")
        for line in self.complaints[:self.options.show]:
            print(line)
        return 1 if self.complaints else 0

    def poll(self, updates):
        """The time without an application in so many updates."""
        gaps, looks = [], 0
        for _ in range(updates):
            world = World(self, SCENARIOS[0])
            until, result = multiprocessing.Event(), multiprocessing.Queue()
            watcher = multiprocessing.Process(target=watch, args=(world.installed, until, result))
            watcher.start()
            prefix, _ = self.interruption(0, "before")
            status = world.helper(prefix if self.options.without_exchange else ())
            until.set()
            found = result.get()
            watcher.join()
            looks, gaps = looks + found[0], gaps + found[1]
            if status != 0:
                self.complain(SCENARIOS[0][0], "poll", f"status {status}")
            world.close()
        gaps.sort()
        print(f"{updates} updates, {looks} looks: {len(gaps)} without an application" +
              (f", {gaps[-1] * 1e3:.3f} ms at most" if gaps else ""))
        if gaps and not self.options.without_exchange:
            self.complain(SCENARIOS[0][0], "poll", "nothing is installed")
        return 1 if self.complaints else 0

    def close(self):
        for folder in (self.folder, self.other):
            subprocess.run(["chmod", "-R", "u+rwx", str(folder)], check=False)
            shutil.rmtree(folder, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", type=pathlib.Path, required=True)
    parser.add_argument("--interrupter", type=pathlib.Path, required=True)
    parser.add_argument("--helper", type=pathlib.Path)
    parser.add_argument("--folder", default="/dev/shm" if os.path.isdir("/dev/shm") else None)
    parser.add_argument("--other", default=None)
    parser.add_argument("--how", default="before,after", help=f"before, after, told or any of {', '.join(ERRORS)}")
    parser.add_argument("--as-user", action="store_true")
    parser.add_argument("--quick", type=int, default=0, help="one of so many calls of a kind")
    parser.add_argument("--scenario")
    parser.add_argument("--only-first", action="store_true", help="without the helper that comes after")
    parser.add_argument("--show", type=int, default=40)
    parser.add_argument("--without-exchange", action="store_true", help="as on a volume that has no such step")
    parser.add_argument("--poll", type=int, default=0, help="look for an empty path during so many updates instead")
    options = parser.parse_args()
    # The helper runs elsewhere.
    options.programs, options.interrupter = options.programs.resolve(), options.interrupter.resolve()
    options.helper = options.helper.resolve() if options.helper else None
    matrix = Matrix(options)
    try:
        return matrix.poll(options.poll) if options.poll else matrix.run()
    finally:
        matrix.close()


if __name__ == "__main__":
    sys.exit(main())
