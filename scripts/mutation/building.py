"""A copy of the tree, its mutated form and the test programs made of it."""
import concurrent.futures
import dataclasses
import hashlib
import json
import pathlib
import re
import shlex
import shutil
import subprocess

import finding
import instrumenting

MOST_IN_A_FILE = 1 << 11
FLAGS = "-O0 -w -Wno-narrowing"
FAULT = re.compile(r"^([^:\s]+):(\d+):\d+: (?:fatal error|error|note|  required)", re.M)
FROM = re.compile(r"^(?:In file included from|\s+from) ([^:\s]+):(\d+)", re.M)
INCLUDE = re.compile(rb'^\s*#\s*include "([^"]+)"', re.M)


class Workshop:
    """Everything under `folder`: the sources as they are ("plain") and with their mutants ("tree"), the build, the switch and
    what was found before ("found")."""

    def __init__(self, root, folder, jobs):
        self.root, self.folder, self.jobs = root, folder, jobs
        self.plain, self.tree, self.build, self.switch = (folder / name for name in ("plain", "tree", "build", "switch"))
        self.sources = {}

    def copy(self):
        listing = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=self.root,
                                 capture_output=True, check=True).stdout.decode().split("\0")
        names = {name for name in listing if name and (self.root / name).is_file()}
        for copy in (self.plain, self.tree):
            for old in sorted(copy.rglob("*")):
                if old.is_file() and str(old.relative_to(copy)) not in names:
                    old.unlink()
        for name in sorted(names):
            self.sources[name] = (self.root / name).read_bytes()
            if name.endswith((".h", ".cpp")):
                self.write(self.plain / name, self.sources[name])
            else:
                self.write(self.tree / name, self.sources[name])
                shutil.copymode(self.root / name, self.tree / name)

    @staticmethod
    def write(path, content):
        """What has not changed is not written, so that it is not built again."""
        if not path.exists() or path.read_bytes() != content:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(content)

    def write_sources(self, mutants=(), alone=None):
        by_file = {}
        for mutant in mutants:
            by_file.setdefault(mutant.file, []).append(mutant)
        for name, source in self.sources.items():
            if name.endswith((".h", ".cpp")):
                only = alone if alone is not None and alone.file == name else None
                some = by_file.get(name, [])
                self.write(self.tree / name, instrumenting.instrument(source, some, only) if some or only else source)

    def configure(self):
        self.switch.mkdir(parents=True, exist_ok=True)
        header, source, built = (self.folder / name for name in ("switch.h", "switch.cpp", "switch.o"))
        texts = (instrumenting.HEADER, f'#define FOLDER "{self.switch}"\n' + instrumenting.SOURCE)
        if not built.exists() or (header.read_text(), source.read_text()) != texts:
            header.write_text(texts[0])
            source.write_text(texts[1])
            subprocess.run(["g++", "-c", "-O1", "-fPIC", "-fno-exceptions", "-o", built, source], check=True)
        launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
        linker = "-fuse-ld=lld " if shutil.which("ld.lld") else ""
        self.run(["cmake", "-G", "Ninja", "-S", self.tree, "-B", self.build, "-DCMAKE_BUILD_TYPE=", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
                  f"-DCMAKE_CXX_FLAGS={FLAGS} -include {header}", f"-DCMAKE_EXE_LINKER_FLAGS={linker}{built}", "-DPELLAM_BUILD_TESTS=ON",
                  "-DPELLAM_BUILD_WINDOWS=OFF", "-DPELLAM_BUILD_EXAMPLES=OFF", "-DPELLAM_WARNINGS_AS_ERRORS=OFF", *launcher])

    def run(self, command):
        result = subprocess.run([str(word) for word in command], capture_output=True, text=True)
        if result.returncode:
            raise RuntimeError(f"{shlex.join(str(word) for word in command)} failed:\n{result.stdout[-3000:]}{result.stderr[-3000:]}")
        return result.stdout

    def make(self, programs):
        """Builds them; what the compiler said when it could not."""
        result = subprocess.run(["ninja", "-C", str(self.build), "-k", "0", f"-j{self.jobs}", *programs], capture_output=True, text=True)
        return None if result.returncode == 0 else result.stdout + result.stderr

    def programs(self):
        """The registered tests by name: (command, environment)."""
        listing = json.loads(self.run(["ctest", "--test-dir", self.build, "--show-only=json-v1"]))
        found = {}
        for test in listing["tests"]:
            properties = {item["name"]: item["value"] for item in test.get("properties", [])}
            if "command" in test:
                found[test["name"]] = (test["command"], dict(item.split("=", 1) for item in properties.get("ENVIRONMENT", [])))
        return found

    # --- finding -----------------------------------------------------------------------------------------------------

    def find(self, files):
        """The mutants of these files, in their order."""
        folders = {name.rpartition("/")[0] for name in files}
        commands = {}
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            path = pathlib.Path(entry["file"])
            if path.is_relative_to(self.tree):
                commands.setdefault(str(path.relative_to(self.tree)), entry)
        sources = [name for name in commands if name.rpartition("/")[0] in folders and (name in files or self.includes(name) & set(files))]
        wanted = {str(self.plain / name): name for name in files}
        found = {}
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            for mutants in pool.map(lambda name: self.find_in(name, commands[name], wanted), sorted(sources)):
                for mutant in mutants:
                    found.setdefault((mutant.file, mutant.start, mutant.end, mutant.kind, mutant.replacement), mutant)
        ordered = [found[key] for key in sorted(found)]
        # A mutant keeps its number whatever else is meant, so that what was built is not built again.
        places = {name: place for place, name in enumerate(sorted(name for name in self.sources if name.endswith((".h", ".cpp"))))}
        for name in files:
            for index, mutant in enumerate(mutant for mutant in ordered if mutant.file == name):
                mutant.number = 1 + places[name] * MOST_IN_A_FILE + min(index, MOST_IN_A_FILE - 1)
        return ordered

    def includes(self, name, seen=None):
        """The project's files that it includes on any way."""
        seen = set() if seen is None else seen
        for included in INCLUDE.findall(self.sources.get(name, b"")):
            for candidate in (included.decode(), f"include/{included.decode()}"):
                if candidate in self.sources and candidate not in seen:
                    seen.add(candidate)
                    self.includes(candidate, seen)
        return seen

    def find_in(self, name, entry, wanted):
        command = self.clang_command(entry)
        digest = hashlib.sha256(repr((command, finding.__file__, sorted(wanted))).encode())
        digest.update(pathlib.Path(finding.__file__).read_bytes())
        for part in (name, *sorted(self.includes(name))):
            digest.update(self.sources[part])
        kept = self.folder / "found" / digest.hexdigest()
        if kept.exists():
            return [finding.Mutant(**{**item, "edit": (item["edit"][0], tuple(tuple(p) if isinstance(p, list) else p for p in item["edit"][1])),
                                      "also": tuple(item["also"])}) for item in json.loads(kept.read_text())]
        mutants = finding.find(command, self.build, wanted, self.sources.__getitem__)
        kept.parent.mkdir(parents=True, exist_ok=True)
        kept.write_text(json.dumps([dataclasses.asdict(mutant) for mutant in mutants]))
        return mutants

    def clang_command(self, entry):
        words = [word.replace(str(self.tree), str(self.plain)) for word in shlex.split(entry["command"])]
        kept = [word for index, word in enumerate(words)
                if word.startswith(("-I", "-D", "-std")) or words[index - 1] == "-isystem" or word == "-isystem"]
        return ["clang++-14", *kept, "-fsyntax-only", "-w", "-Xclang", "-ast-dump=json", "-Xclang", "-ast-dump-filter=pellam", entry["file"].replace(str(self.tree), str(self.plain))]

    # --- building ----------------------------------------------------------------------------------------------------

    def build_all(self, mutants, programs, say):
        """Builds the programs with as many mutants beside their originals as compile there; answers with those."""
        inside = list(mutants)
        for _ in range(12):
            self.write_sources(inside)
            fault = self.make(programs)
            if fault is None:
                return inside
            places = {((self.build / path).resolve(), int(line)) for path, line in FAULT.findall(fault) + FROM.findall(fault)}
            bad = self.at(inside, places)
            # Where the fault's own line says nothing: constants that are none any more, then whatever the file holds.
            if not bad:
                files = {path for path, _ in places}
                near = [mutant for mutant in inside if self.tree / mutant.file in files]
                bad = {mutant.number for mutant in near if mutant.also} or {mutant.number for mutant in near}
            if not bad:
                raise RuntimeError(f"the tests cannot be built:\n{fault[-6000:]}")
            say(f"{len(bad)} cannot stand beside their originals; they are built one by one")
            inside = [mutant for mutant in inside if mutant.number not in bad]
        raise RuntimeError("the tests cannot be built with the mutants beside their originals")

    def at(self, mutants, places):
        """The numbers of those that stand on these lines."""
        lines = {}
        for path, line in places:
            lines.setdefault(path, set()).add(line)
        found = set()
        for mutant in mutants:
            wrong = lines.get(self.tree / mutant.file)
            if not wrong:
                continue
            source = self.sources[mutant.file]
            spans = [(mutant.start, mutant.end), *([mutant.also[:2]] if mutant.also else [])]
            if any(wrong & set(range(source.count(b"\n", 0, start) + 1, source.count(b"\n", 0, end) + 2)) for start, end in spans):
                found.add(mutant.number)
        return found
