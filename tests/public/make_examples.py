"""Writes a program that includes each public header first and alone, and runs the example that stands in it.

usage: make_examples.py FOLDER OUTPUT    FOLDER has the headers; OUTPUT receives one source for each, and main.cpp
An example is the indented block after a comment line "// For example:". A header without one is an error, and so is an include
of a public header that leaves the set, or a macro."""
import pathlib
import re
import sys

FOLDER, OUTPUT = map(pathlib.Path, sys.argv[1:])
EXAMPLE = re.compile(r"^// For example:\n//\n((?://(?:     .*)?\n)+)", re.M)
PARAMETERS = ("[[maybe_unused]] const std::filesystem::path& applicationBundle, "
              "[[maybe_unused]] const pellam::URL& feedAddress")
# What the examples use besides their own header; theirs comes first, so that it cannot lean on these.
INCLUDES = ["cassert", "cstdio", "cstdlib", "chrono", "exception", "filesystem", "functional", "map", "memory", "optional",
            "string", "string_view", "thread", "utility", "vector"]


def refuse(text):
    sys.exit(f"make_examples: {text}")


def examine(header, text):
    for included in re.findall(r'#\s*include\s*(["<][^">]+[">])', text):
        name = included[1:-1]
        if included[0] == '"' and not (name.startswith("pellam/") and (FOLDER.parent / name).is_file()):
            refuse(f"{header.name} includes {included}, which is no public header")
        if included[0] == "<" and ("/" in name or name.endswith(".h")):
            refuse(f"{header.name} includes {included}, which is no header of the C++ library")
    if found := re.search(r"^\s*#\s*(?!include|pragma once)(\w+)", text, re.M):
        refuse(f"{header.name} says #{found.group(1)}; a public header has no macros")


def main():
    OUTPUT.mkdir(parents=True, exist_ok=True)
    calls = []
    for header in sorted(FOLDER.glob("*.h")):
        text = header.read_text()
        examine(header, text)
        examples = EXAMPLE.findall(text)
        if len(examples) != 1:
            refuse(f"{header.name} has {len(examples)} worked examples, not one")
        code = "\n".join(line[2:].removeprefix("     ") for line in examples[0].splitlines()).strip("\n")
        lines = [f'#include "pellam/{header.name}"', "", *(f"#include <{name}>" for name in INCLUDES), "",
                 '#include "pellam/errors.h"', '#include "pellam/main_thread_queue.h"', '#include "pellam/url.h"', "",
                 "using namespace pellam;", f"void example_{header.stem}({PARAMETERS});",
                 f"void example_{header.stem}({PARAMETERS}) {{", f'#line 1 "{header.name}, example"', code, "}", ""]
        write(OUTPUT / f"{header.stem}.cpp", "\n".join(lines))
        calls.append(header.stem)
    main_lines = ["#include <cstdio>", "#include <filesystem>", "", '#include "pellam/url.h"', "",
                  *(f"void example_{name}({PARAMETERS});" for name in calls), "",
                  "int main(int count, char** arguments) {", "  if (count != 3) return 2;",
                  "  const std::filesystem::path bundle = arguments[1];",
                  "  const auto feed = pellam::URL::parse(arguments[2]);", "  if (!feed) return 2;"]
    for name in calls:
        main_lines += [f'  std::puts("{name}.h");', "  std::fflush(stdout);", f"  example_{name}(bundle, *feed);"]
    write(OUTPUT / "main.cpp", "\n".join([*main_lines, "}", ""]))


def write(path, text):
    if not path.exists() or path.read_text() != text:
        path.write_text(text)


main()
