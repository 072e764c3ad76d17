"""Writes the text stubs (.tbd) that stand in for the system's libraries, so that the linker proves every symbol.

A framework exports what its declaration headers declare: classes, and what is marked FOUNDATION_EXPORT, CF_EXPORT
or APPKIT_EXTERN. The C and C++ libraries export the committed lists in symbols/. Libraries of others export what
their installed builds do.
"""
import pathlib
import re
import subprocess

import toolchain

TARGETS = "[ arm64-macos, x86_64-macos ]"
FRAMEWORKS = {"CoreFoundation": "A", "Foundation": "C", "AppKit": "C", "WebKit": "A", "CoreGraphics": "A",
              "Security": "A", "ServiceManagement": "A"}
# Symbols that the compiler refers to by itself.
IMPLIED = {"CoreFoundation": ["___CFConstantStringClassReference"]}


def _without_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.S)


def _without_attributes(declaration):
    plain = declaration
    while match := re.search(r"\b(?:API_MAC\w*|SM_DEP|SEC_API|NS_FORMAT_FUNCTION|__attribute__)\s*\(", plain):
        depth, end = 1, match.end()
        while depth:
            depth += {"(": 1, ")": -1}.get(plain[end], 0)
            end += 1
        plain = plain[:match.start()] + plain[end:]
    return plain.replace("CF_RETURNS_RETAINED", "").strip()


def declared(headers):
    """The classes and the C symbols that the headers of one framework declare."""
    classes, symbols = set(), set()
    for header in headers:
        text = _without_comments(header.read_text())
        classes.update(re.findall(r"@interface\s+(\w+)\s*(?:<[^>@]*>)?\s*:", text))
        text = re.sub(r"^\s*#.*$", "", text, flags=re.M)
        for declaration in re.findall(r"\b(?:FOUNDATION_EXPORT|CF_EXPORT|CG_EXTERN|APPKIT_EXTERN)\s+([^;{]*);", text):
            plain = _without_attributes(declaration)
            function = re.match(r"[^(]*?\b(\w+)\s*\(", plain)
            name = function.group(1) if function else re.search(r"(\w+)$", plain).group(1)
            symbols.add("_" + name)
    return classes, symbols


def listed(path):
    lines = [line for line in path.read_text().splitlines() if not line.startswith("#")]
    return " ".join(lines).split()


def stub(install_name, symbols, classes=(), reexports=()):
    text = f"--- !tapi-tbd\ntbd-version: 4\ntargets: {TARGETS}\ninstall-name: '{install_name}'\n"
    if reexports:
        text += f"reexported-libraries:\n  - targets: {TARGETS}\n    libraries: [ "
        text += ", ".join(f"'{name}'" for name in reexports) + " ]\n"
    text += f"exports:\n  - targets: {TARGETS}\n"
    if symbols:
        text += "    symbols: [ " + ",\n               ".join(f"'{name}'" for name in sorted(set(symbols))) + " ]\n"
    if classes:
        text += "    objc-classes: [ " + ", ".join(sorted(classes)) + " ]\n"
    return text + "...\n"


def exported(library):
    """What an installed library of others exports, which is the same on every system: its own interface."""
    listing = subprocess.run([toolchain.LLVM / "bin/llvm-nm", "--dynamic", "--defined-only", "--extern-only", "--just-symbol-name", library],
                             capture_output=True, text=True, check=True)
    return ["_" + name.split("@")[0] for name in listing.stdout.split()]


def write(here, sysroot):
    """Fills the folder that is given to the linker as the system's root. Returns how much it holds."""
    def place(relative, text):
        path = sysroot / relative
        path.parent.mkdir(parents=True, exist_ok=True)
        if not path.exists() or path.read_text() != text:
            path.write_text(text)

    counts = {"classes": 0, "symbols": 0}
    for name, version in FRAMEWORKS.items():
        classes, symbols = declared(sorted((here / "include" / name).glob("*.h")))
        symbols.update(IMPLIED.get(name, ()))
        base = f"System/Library/Frameworks/{name}.framework"
        place(f"{base}/{name}.tbd", stub(f"/{base}/Versions/{version}/{name}", symbols, classes))
        counts["classes"] += len(classes)
        counts["symbols"] += len(symbols)
    lists = here / "symbols"
    place("usr/lib/libobjc.tbd",
          stub("/usr/lib/libobjc.A.dylib", ["_" + name for name in listed(lists / "libobjc.txt")], ["NSObject"]))
    cxx = ["_" + name for name in listed(lists / "libcxx.txt")]
    place("usr/lib/libc++.tbd", stub("/usr/lib/libc++.1.dylib", cxx, reexports=["/usr/lib/libc++abi.dylib"]))
    place("usr/lib/libc++abi.tbd",
          stub("/usr/lib/libc++abi.dylib", ["_" + name for name in listed(lists / "libcxxabi.txt")]))
    place("usr/lib/libSystem.tbd",
          stub("/usr/lib/libSystem.B.dylib", ["_" + name for name in listed(lists / "libsystem.txt")]))
    for name in toolchain.LINKED:
        place(f"usr/local/lib/{name}.tbd", stub(f"/usr/local/lib/{name}.dylib", exported(toolchain.LIBRARIES / f"{name}.so")))
    return counts
