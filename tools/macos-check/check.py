#!/usr/bin/env python3
"""Checks the macOS half of the system on a machine that is no Mac: types, availability, selectors, symbols, and that
the check itself refuses what it should. README.md says what that proves and what it does not."""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import plistlib
import re
import subprocess
import sys
import time

import include_lint
import link_stubs
import selector_lint
import toolchain
from toolchain import ARCHITECTURES, HERE, LLVM, ROOT

WORK = ROOT / "build/macos-check"
BUILD = WORK / "build"
GOOGLETEST = pathlib.Path("/usr/src/googletest")
# What is only for the other system, and what is no part of a program.
ELSEWHERE = re.compile(r"platform/linux/|benchmarks/|fuzz/|tools/macos-check/|tests/(?!contract/|support/zip_builder)"
                       r"|(?!tests/contract/|formats/archive/|formats/signing/|tools/pellam_(?:ditto|codesign|feed)/).*_test\.cpp$"
                       r"|.*_fakes\.cpp$")


# The programs for vendors and hosts; each needs a library of others.
TOOLS = ("pellam-codesign", "pellam-ditto", "pellam-feed", "pellam-update")
# What the build tells the test programs about others.
TOLD_TO_TESTS = ['-DPELLAM_CODESIGN=""']


class Refused(Exception):
    """A part of the check found something; the text is for people."""


def run(command, **more):
    return subprocess.run([str(word) for word in command], capture_output=True, text=True, **more)


def tracked(*patterns):
    listing = run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "--", *patterns], cwd=ROOT)
    return [name for name in sorted(set(listing.stdout.split())) if (ROOT / name).exists()]


def language_of(name):
    return "objective-c++" if str(name).endswith(".mm") else "c++"


def in_parallel(work, items):
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return list(pool.map(work, items))


# --- the build for the first architecture -----------------------------------------------------------------------

def configure(folder, has_libraries):
    """Configures with the project's own CMake files, the way that scripts/test-on-mac takes."""
    settings = toolchain.cmake_settings(WORK) | {"CMAKE_TOOLCHAIN_FILE": HERE / "toolchain.cmake", "CMAKE_BUILD_TYPE": "",
                                                 "PELLAM_BUILD_TESTS": "ON", "PELLAM_GOOGLETEST_SOURCE": GOOGLETEST}
    for name in ("nlohmann_json", "OpenSSL", "Libdeflate"):
        settings[f"CMAKE_DISABLE_FIND_PACKAGE_{name}"] = "OFF" if has_libraries else "ON"
    result = run(["cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", *(f"-D{name}={value}" for name, value in settings.items())])
    if result.returncode:
        raise Refused(result.stdout + result.stderr)


def check_without_libraries():
    """A Mac with nothing but the system's tools builds everything but the vendor's."""
    folder = WORK / "without-libraries"
    configure(folder, has_libraries=False)
    programs = run(["ninja", "-C", folder, "-n"]).stdout
    tools = sorted(set(re.findall(r"Linking CXX executable bin/(pellam-[\w-]+)", programs)))
    if tools or "bin/PellamUpdateInstaller" not in programs:
        raise Refused(f"without their libraries, these tools would be built: {tools}\n{programs[-1000:]}")


def build():
    """Builds every program that the system consists of."""
    prefixes = [(architecture, kind) for architecture in ARCHITECTURES for kind in toolchain.PREFIX_KINDS]
    problems = [text for text in in_parallel(lambda one: toolchain.make_prefix_header(WORK, *one), prefixes) if text]
    if problems:
        raise Refused("\n".join(problems))
    check_without_libraries()
    configure(BUILD, has_libraries=True)
    result = run(["ninja", "-C", BUILD, "-k", "0"])
    if result.returncode:
        raise Refused("\n".join(line for line in result.stdout.splitlines() if not line.startswith(("[", "ninja:"))))
    bundle = check_bundle()
    for tool in TOOLS:
        check_program(BUILD / "bin" / tool)
    return (f"{bundle}, {len(TOOLS)} tools and {check_tests()} test programs, linked for {ARCHITECTURES[0]}, and every member of {link_bodies()} "
            f"body libraries; {check_seams()} seam functions have a body")


def check_program(path):
    header = run([LLVM / "bin/llvm-objdump", "--macho", "--private-header", path]).stdout
    if "ARM64" not in header or "EXECUTE" not in header:
        raise Refused(f"{path} is no executable of the system")


def check_tests():
    """The programs that ctest would run on a Mac; the one for connections is the executable of a bundle with a service."""
    listing = json.loads(run(["ctest", "--test-dir", BUILD, "--show-only=json-v1"]).stdout)
    programs = {test["name"]: pathlib.Path(test["command"][0]) for test in listing["tests"] if test.get("command")}
    bundle = BUILD / "bin/PellamConnectionContractTests.app/Contents"
    wanted = {name: BUILD / "bin" / name for name in ("PellamArchiveTests", "PellamCodesignTests", "PellamContractTests",
                                                      "PellamDittoTests", "PellamFeedToolTests", "PellamSignatureFormatsTests")}
    wanted["PellamConnectionContractTests"] = bundle / "MacOS/PellamConnectionContractTests"
    if programs != wanted:
        raise Refused(f"ctest would run {programs}")
    host = plistlib.loads((bundle / "Info.plist").read_bytes())
    name = host["CFBundleIdentifier"] + ".service"
    service = bundle / f"XPCServices/{name}.xpc/Contents"
    information = plistlib.loads((service / "Info.plist").read_bytes())
    said = [host["CFBundleExecutable"], host["CFBundlePackageType"], information["CFBundleIdentifier"],
            information["CFBundlePackageType"], information["XPCService"]["ServiceType"]]
    if said != ["PellamConnectionContractTests", "APPL", name, "XPC!", "Application"]:
        raise Refused(f"the bundle of the connection tests says {said}")
    for program in (*programs.values(), service / "MacOS" / information["CFBundleExecutable"]):
        check_program(program)
    return len(programs)


def check_bundle():
    """The sample's bundle as CMake laid it out: every program in its place, and what launchd reads about the service."""
    contents = BUILD / "bin/Editor.app/Contents"
    service = contents / "XPCServices/com.example.editor.Pellam.UpdateInstallerLauncherService.xpc/Contents"
    programs = [contents / "MacOS/Editor", contents / "MacOS/PellamUpdateInstaller",
                service / "MacOS/PellamUpdateInstallerLauncherService"]
    for program in programs:
        check_program(program)
    information = plistlib.loads((service / "Info.plist").read_bytes())
    wanted = {"CFBundleIdentifier": service.parent.stem, "CFBundleExecutable": programs[-1].name,
              "CFBundlePackageType": "XPC!", "XPCService": {"JoinExistingSession": True, "ServiceType": "Application", "RunLoopType": "dispatch_main"}}
    wrong = {key: information.get(key) for key, value in wanted.items() if information.get(key) != value}
    if wrong:
        raise Refused(f"the service's Info.plist says {wrong}")
    application = plistlib.loads((contents / "Info.plist").read_bytes())
    if information["CFBundleIdentifier"] != application["CFBundleIdentifier"] + ".Pellam.UpdateInstallerLauncherService":
        raise Refused("the service is not named after the application")
    tables = {path.parent.name for path in contents.glob("Resources/*.lproj/Updates.strings")}
    if tables != {path.name for path in (ROOT / "localization").glob("*.lproj")}:
        raise Refused(f"the bundle has these tables: {sorted(tables)}")
    return f"Editor.app with {len(programs)} programs and {len(tables)} languages"


def link_bodies():
    """Links every member of the body libraries, those that no program pulls in among them."""
    bodies = sorted((BUILD / "platform/macos").glob("*.a"))
    others = sorted(path for path in BUILD.glob("**/*.a") if path not in bodies)
    command = [*toolchain.linker(ARCHITECTURES[0], WORK), "-dynamiclib", "-o", WORK / "bodies.dylib"]
    command += [f"-Wl,-force_load,{path}" for path in bodies] + others
    command += [word for name in link_stubs.FRAMEWORKS for word in ("-framework", name)]
    result = run(command)
    if result.returncode:
        raise Refused(result.stderr)
    return len(bodies)


def check_seams():
    """Every free function that a seam header declares is defined by some library."""
    declared = set()
    for header in sorted([*(ROOT / "platform").glob("*.h"), *(ROOT / "platform/sample").glob("*.h"), *(ROOT / "text").glob("*.h")]):
        text = re.sub(r"//[^\n]*", "", header.read_text())
        # Functions of a namespace begin their line; those of a class are indented.
        declared.update(re.findall(r"^\[\[nodiscard\]\][^;{}()]*?\b(\w+)\(", text, re.M))
    symbols = run([LLVM / "bin/llvm-nm", "--defined-only", "--extern-only", "--demangle", "--just-symbol-name",
                   *sorted(BUILD.glob("**/*.a"))]).stdout
    defined = set(re.findall(r"^pellam::(?:\w+::)*(\w+)\(", symbols, re.M))
    if missing := sorted(declared - defined):
        raise Refused(f"declared in platform/*.h and defined nowhere: {', '.join(missing)}")
    return len(declared)


def compiled_sources():
    entries = json.loads((BUILD / "compile_commands.json").read_text())
    names = {os.path.relpath(entry["file"], ROOT) for entry in entries}
    return {name for name in names if not name.startswith("..")}  # without GoogleTest's own


# --- types for the other architecture ---------------------------------------------------------------------------

class Cache:
    """Remembers which command succeeded on which contents, so that a second run reads only what changed."""

    def __init__(self, folder):
        self.folder = folder
        folder.mkdir(parents=True, exist_ok=True)
        self.digests = {}

    def digest(self, path):
        if path not in self.digests:
            try:
                self.digests[path] = hashlib.sha256(pathlib.Path(path).read_bytes()).hexdigest()
            except OSError:
                self.digests[path] = "missing"
        return self.digests[path]

    def state(self, command, inputs):
        text = "\0".join([*command, *(f"{path} {self.digest(path)}" for path in sorted(inputs))])
        return hashlib.sha256(text.encode()).hexdigest()

    def succeeded(self, command):
        record = self.folder / (hashlib.sha256("\0".join(command).encode()).hexdigest() + ".json")
        if record.exists():
            known = json.loads(record.read_text())
            if known["state"] == self.state(command, known["inputs"]):
                return True, record
        return False, record


def check_types(cache, architecture, name):
    kind = "tests" if name.endswith("_test.cpp") else language_of(name)
    prefix = str(toolchain.prefix_header(WORK, architecture, kind))
    command = [*toolchain.compiler(architecture, WORK, language_of(name)), "-include-pch", prefix, "-fsyntax-only",
               str(ROOT / name)]
    if kind == "tests":
        command += TOLD_TO_TESTS
    known, record = cache.succeeded(command)
    if known:
        return ""
    dependencies = record.with_suffix(".d")
    result = run([*command, "-MD", "-MF", dependencies])
    if result.returncode:
        return result.stderr
    inputs = re.sub(r"^[^:]*:", "", dependencies.read_text().replace("\\\n", " ")).split() + [prefix]
    record.write_text(json.dumps({"inputs": inputs, "state": cache.state(command, inputs)}))
    dependencies.unlink()
    return ""


def types():
    sources = [name for name in tracked("*.cpp", "*.mm") if not ELSEWHERE.match(name)]
    built = compiled_sources()
    jobs = [(ARCHITECTURES[1], name) for name in sources]
    jobs += [(ARCHITECTURES[0], name) for name in sources if name not in built]
    cache = Cache(WORK / "types")
    problems = [text for text in in_parallel(lambda job: check_types(cache, *job), jobs) if text]
    if problems:
        raise Refused("\n".join(problems))
    missing = [name for name in built if name not in sources]
    if missing:
        raise Refused(f"built, but not read for {ARCHITECTURES[1]}: {missing}")
    bodies = sum(1 for name in sources if name.startswith("platform/macos/"))
    return f"{len(sources) - bodies} portable sources and {bodies} bodies agree on {' and '.join(ARCHITECTURES)}"


# --- rules that no compiler knows ------------------------------------------------------------------------------

def include_problems(sources):
    lines = []
    for name, text in sources:
        for header in re.findall(r"^\s*#\s*(?:include|import)\s*<([^>]+)>", text, re.M):
            if "." not in header or header.startswith(toolchain.THIRD_PARTY) or (HERE / "include" / header).exists():
                continue
            lines.append(f"{name}: error: <{header}> is no header of this system that the check knows")
    return lines


def lint():
    names = [name for name in tracked("*.cpp", "*.h", "*.mm") if not ELSEWHERE.match(name)]
    included = "".join((ROOT / name).read_text() for name in names if name.startswith("tests/") or name.endswith("_test.cpp"))
    names += [name for name in tracked("tests/support/*.h") if f'#include "{name}"' in included]
    sources = [(name, (ROOT / name).read_text()) for name in names]
    problems = include_problems(sources) + include_lint.problems(ROOT, sources)
    bodies = [source for source in sources if source[0].startswith("platform/macos/")]
    problems += selector_lint.problems(sorted(HERE.glob("include/**/*.h")), bodies)
    # A header that C++ includes must not ask for Objective-C.
    for name, text in sources:
        if name.endswith(".h") and not name.startswith("platform/macos/") and re.search(r"^\s*(#import|@\w+)", text, re.M):
            problems.append(f"{name}: error: Objective-C in a portable header")
    if problems:
        raise Refused("\n".join(problems))
    return "every method is declared, every system header is known, every library header is included where it is used"


# --- deliberate mistakes ----------------------------------------------------------------------------------------

def preprocessed(text, with_mistake):
    lines, stack = [], []
    for line in text.splitlines():
        if match := re.match(r"#\s*(ifdef|ifndef) MISTAKE", line):
            stack.append((match.group(1) == "ifdef") == with_mistake)
        elif stack and re.match(r"#\s*else", line):
            stack[-1] = not stack[-1]
        elif stack and re.match(r"#\s*endif", line):
            stack.pop()
        elif all(stack):
            lines.append(line)
    return "\n".join(lines)


def attempt(path, text, with_mistake):
    """What the check says about one of the files: error lines, empty when it is accepted."""
    def directive(key):
        found = re.search(rf"^// {key}: (.*)$", text, re.M)
        return found.group(1).strip() if found else None

    stage = directive("stage")
    source = [(path.name, preprocessed(text, with_mistake))]
    if stage == "includes":
        return include_problems(source)
    if stage == "library includes":
        return include_lint.problems(ROOT, source)
    if stage == "lint":
        return selector_lint.problems(sorted(HERE.glob("include/**/*.h")), source)
    command = toolchain.compiler(ARCHITECTURES[0], WORK, language_of(path))
    if with_mistake:
        command.append("-DMISTAKE")
    if stage == "compile":
        result = run([*command, "-fsyntax-only", path])
    else:
        frameworks = (with_mistake and directive("frameworks with the mistake")) or directive("frameworks") or ""
        work = WORK / "mistakes"
        work.mkdir(exist_ok=True)
        compiled = work / f"{path.stem}-{with_mistake}.o"
        result = run([*command, "-c", "-o", compiled, path])
        if result.returncode == 0:
            result = run([*toolchain.linker(ARCHITECTURES[0], WORK), compiled, "-o", compiled.with_suffix(""),
                          *(word for name in frameworks.split() for word in ("-framework", name))])
    if result.returncode == 0:
        return []
    return [line for line in result.stderr.splitlines() if re.search(r"\berror:", line) and "linker command" not in line]


def mistakes():
    files = sorted(path for path in (HERE / "mistakes").iterdir() if path.suffix in (".mm", ".cpp"))

    def judge(path):
        text = path.read_text()
        reason = re.search(r"^// refused: (.*)$", text, re.M).group(1)
        if errors := attempt(path, text, False):
            return f"{path.name}: refused without its mistake:\n" + "\n".join(errors)
        errors = attempt(path, text, True)
        if not errors:
            return f"{path.name}: accepted with its mistake"
        others = [line for line in errors if not re.search(reason, line)]
        return f"{path.name}: refused for another reason:\n" + "\n".join(others) if others else ""

    problems = [text for text in in_parallel(judge, files) if text]
    if problems:
        raise Refused("\n".join(problems))
    return f"{len(files)} deliberate mistakes are refused, each for its reason, and accepted once mended"


def main():
    started = time.monotonic()
    try:
        toolchain.prepare(WORK)
    except toolchain.ToolchainError as error:
        print(f"macos-check: {error}", file=sys.stderr)
        return 1
    counts = link_stubs.write(HERE, WORK / "sysroot")
    print(f"macos-check: against {counts['classes']} classes and {counts['symbols']} other symbols of the frameworks")
    failed = False
    for part in (lint, build, types, mistakes):
        began = time.monotonic()
        try:
            print(f"macos-check: {part.__name__}: {part()} ({time.monotonic() - began:.0f} s)", flush=True)
        except Refused as refusal:
            failed = True
            print(f"{refusal}\nmacos-check: {part.__name__}: refused", file=sys.stderr, flush=True)
    print(f"macos-check: {'FAILED' if failed else 'passed'} in {time.monotonic() - started:.0f} s; proved: agreement with our "
          "declarations and a body for every symbol. Not proved: Apple's own headers, and anything at run time.")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
