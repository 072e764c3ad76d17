"""Compilers, flags and the generated part of the header set.

Two small headers are made at each run from the installed packages instead of being kept here: the C library's
basic types with the Darwin widths, and libc++'s configuration with its availability annotations switched on.
"""
import os
import pathlib
import re
import subprocess

ARCHITECTURES = ("arm64", "x86_64")
DEPLOYMENT_TARGET = "13.5"
LLVM = pathlib.Path(os.environ.get("LLVM", "/usr/lib/llvm-19"))
USR_INCLUDE = pathlib.Path("/usr/include")
MULTIARCH_INCLUDE = USR_INCLUDE / "x86_64-linux-gnu"
MUSL = USR_INCLUDE / "x86_64-linux-musl"
LIBRARIES = pathlib.Path("/usr/lib/x86_64-linux-gnu")
# Headers of others, folders or files, that know nothing of the system, and what they need to be linked.
THIRD_PARTY = ("nlohmann/", "gtest/", "openssl/", "libdeflate.h")
LINKED = ("libcrypto", "libdeflate")
HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent

# The build's own warnings and those that only these headers can give.
WARNINGS = """-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wimplicit-fallthrough -Wno-gnu -Wno-nullability-extension -Wunguarded-availability
  -Wnullable-to-nonnull-conversion -Wundeclared-selector -Wstrict-selector-match -Wobjc-messaging-id
  -Werror""".split()

# Where the basic types differ; each line must be found once, or the installed C library is another one.
BASIC_TYPES = (
    (r"#define _Int64 long\n", "#define _Int64 long long\n"),
    (r"typedef _Int64 time_t;", "typedef long time_t;"),
    (r"typedef _Int64 suseconds_t;", "typedef int suseconds_t;"),
    (r"typedef signed _Int64   intmax_t;", "typedef long intmax_t;"),
    (r"typedef unsigned _Int64 uintmax_t;", "typedef unsigned long uintmax_t;"),
    (r"typedef unsigned _Int64 fsblkcnt_t;", "typedef unsigned fsblkcnt_t;"),
    (r"typedef unsigned _Int64 fsfilcnt_t;", "typedef unsigned fsfilcnt_t;"),
    (r"typedef long blksize_t;", "typedef int blksize_t;"),
    (r"typedef unsigned mode_t;", "typedef unsigned short mode_t;"),
    (r"typedef unsigned _Reg nlink_t;", "typedef unsigned short nlink_t;"),
    (r"typedef unsigned _Int64 dev_t;", "typedef int dev_t;"),
    (r"typedef struct __pthread \* pthread_t;", "typedef struct _opaque_pthread_t * pthread_t;"),
)
CONFIGURATION = ((r"#define _LIBCPP_HAS_NO_VENDOR_AVAILABILITY_ANNOTATIONS\n", ""),)


class ToolchainError(Exception):
    pass


def _adapted(source, replacements):
    text = source.read_text()
    for pattern, replacement in replacements:
        text, count = re.subn(pattern, replacement, text)
        if count != 1:
            raise ToolchainError(f"{source}: expected one line /{pattern.strip()}/, found {count}")
    return text


def _write_if_changed(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    if not path.exists() or path.read_text() != text:
        path.write_text(text)


def _link(target, source):
    """Makes the target stand for the source; a folder keeps what other sources have put into it."""
    if source.is_dir():
        if target.is_symlink():  # never a way into the source
            target.unlink()
        target.mkdir(parents=True, exist_ok=True)
        for item in source.iterdir():
            _link(target / item.name, item)
    elif source.exists() and not target.is_symlink():
        target.symlink_to(source)


def prepare(work):
    """Writes the generated headers into the working folder. Raises ToolchainError naming what is missing."""
    for tool in ("clang++", "ld64.lld", "llvm-nm"):
        if not (LLVM / "bin" / tool).exists():
            raise ToolchainError(f"{LLVM}/bin/{tool} is missing; run scripts/install-packages macos-check")
    if not (LLVM / "include/c++/v1/__config_site").exists() or not MUSL.is_dir():
        raise ToolchainError("libc++-19-dev or musl-dev is missing; run scripts/install-packages macos-check")
    # The headers that a vendor's tool and the tests use.
    third_party = work / "generated/third-party"
    third_party.mkdir(parents=True, exist_ok=True)
    for name in THIRD_PARTY:
        for source in (USR_INCLUDE / name, MULTIARCH_INCLUDE / name):
            _link(third_party / name, source)
    # The installed package's own file would bring all other headers along.
    _write_if_changed(work / "generated/nlohmann_json/nlohmann_jsonConfig.cmake", f"""
if(NOT TARGET nlohmann_json::nlohmann_json)
  add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
  target_include_directories(nlohmann_json::nlohmann_json INTERFACE "{third_party}")
endif()
""")
    _write_if_changed(work / "generated/nlohmann_json/nlohmann_jsonConfigVersion.cmake", """
set(PACKAGE_VERSION 3.11)
set(PACKAGE_VERSION_COMPATIBLE TRUE)
""")
    _write_if_changed(work / "generated/config/__config_site",
                      _adapted(LLVM / "include/c++/v1/__config_site", CONFIGURATION))
    _write_if_changed(work / "generated/c/bits/alltypes.h", _adapted(MUSL / "bits/alltypes.h", BASIC_TYPES))


def header_flags(work):
    """Where every header comes from, in this order, and what makes the C library show its whole self."""
    resource = next((LLVM / "lib/clang").glob("*/include"))
    flags = ["-nostdinc", "-D_DEFAULT_SOURCE", "-D_BSD_SOURCE", "-D_XOPEN_SOURCE=700"]
    cxx = ["-nostdinc++", "-isystem", str(work / "generated/config"), "-isystem",
           str(LLVM / "include/c++/v1")]
    common = []
    for folder in (HERE / "include", work / "generated/c", resource, MUSL):
        common += ["-isystem", str(folder)]
    third_party = ["-idirafter", str(work / "generated/third-party")]
    return flags + common, flags + cxx + common + third_party


def cmake_settings(work):
    """The settings that toolchain.cmake reads."""
    c_flags, cxx_flags = header_flags(work)
    return {"PELLAM_CHECK_WORK": str(work), "PELLAM_CHECK_LLVM": str(LLVM),
            "PELLAM_CHECK_C_FLAGS": " ".join(c_flags),
            "PELLAM_CHECK_CXX_FLAGS": " ".join(cxx_flags), "PELLAM_CHECK_WARNINGS": ";".join(WARNINGS),
            "PELLAM_CHECK_CXX_PREFIX": str(prefix_header(work, ARCHITECTURES[0], "c++")),
            "PELLAM_CHECK_TESTS_PREFIX": str(prefix_header(work, ARCHITECTURES[0], "tests")),
            "nlohmann_json_DIR": str(work / "generated/nlohmann_json"),
            "OPENSSL_INCLUDE_DIR": str(work / "generated/third-party"),
            "OPENSSL_CRYPTO_LIBRARY": str(work / "sysroot/usr/local/lib/libcrypto.tbd"),
            "Libdeflate_INCLUDE_DIR": str(work / "generated/third-party"),
            "Libdeflate_LIBRARY": str(work / "sysroot/usr/local/lib/libdeflate.tbd"),
            "PELLAM_CHECK_OBJCXX_PREFIX": str(prefix_header(work, ARCHITECTURES[0], "objective-c++")),
            "CMAKE_PROJECT_Pellam_INCLUDE": str(HERE / "prefix_headers.cmake")}


PREFIX = """algorithm array chrono condition_variable filesystem functional future map memory mutex optional set span
  string string_view system_error thread variant vector""".split()


# The headers of ours that nearly everything includes.
OWN_PREFIX = """pellam/bridged_error.h foundation/byte_buffer.h pellam/cancellation.h pellam/installer_error.h
  pellam/property_list_value.h foundation/url_loading.h launcher-protocol/launch_result.h
  launcher-protocol/replacement_request.h platform/bundle_loading.h platform/child_process.h platform/file_system.h
  platform/process_information.h platform/service_connection.h platform/window_toolkit.h
  feed/feed_pipeline.h""".split()


# What a source may begin with. Only the tests get GoogleTest, lest its headers stand in for forgotten ones elsewhere.
PREFIX_KINDS = {"c++": "cxx", "objective-c++": "objcxx", "tests": "tests"}


def prefix_header(work, architecture, kind):
    return work / "prefix" / f"{architecture}-{PREFIX_KINDS[kind]}.pch"


def make_prefix_header(work, architecture, kind):
    """Compiles the common headers once, which takes two thirds of the time away. A missing library header is then
    for include_lint.py to notice, a missing one of ours for the build on the other system. Returns the error text, empty for success."""
    target = prefix_header(work, architecture, kind)
    language = "c++" if kind == "tests" else kind
    source = target.with_suffix(".h")
    text = "".join(f"#include <{name}>\n" for name in PREFIX)
    text += "".join(f'#include "{name}"\n' for name in OWN_PREFIX)
    if language == "objective-c++":
        text += "#import <Foundation/Foundation.h>\n"
    elif kind == "tests":
        text += "#define GTEST_HAS_PTHREAD 1\n#include <gtest/gtest.h>\n"  # as its own build says
    _write_if_changed(source, text)
    inputs = [*HERE.glob("include/**/*.h"), *(work / "generated").glob("*/*"), HERE / "toolchain.py", source]
    for folder in ("include/pellam", "text", "foundation", "feed", "launcher-protocol", "platform"):
        inputs += (ROOT / folder).glob("*.h")
    if target.exists() and all(path.stat().st_mtime <= target.stat().st_mtime for path in inputs if path.is_file()):
        return ""
    command = [word for word in compiler(architecture, work, language) if word not in ("-x", "objective-c++")]
    result = subprocess.run([*command, "-fpch-instantiate-templates", "-x", f"{language}-header", "-o", str(target),
                             str(source)], capture_output=True, text=True)
    return result.stderr if result.returncode else ""


def compiler(architecture, work, language):
    """The compiler and its flags for one source outside the build."""
    command = [str(LLVM / "bin/clang++"), "-target", f"{architecture}-apple-macos{DEPLOYMENT_TARGET}",
               "-std=c++20", "-fstack-protector-strong", *header_flags(work)[1], "-iquote", str(ROOT), "-iquote", str(ROOT / "include"), *WARNINGS]
    if language == "objective-c++":
        command += ["-x", "objective-c++", "-fobjc-arc", "-fobjc-weak"]
    return command


def linker(architecture, work):
    return [str(LLVM / "bin/clang++"), "-target", f"{architecture}-apple-macos{DEPLOYMENT_TARGET}",
            f"--ld-path={LLVM}/bin/ld64.lld", "-mlinker-version=820", "-isysroot", str(work / "sysroot"),
            "-nostdlib", "-lc++", "-lobjc", "-lSystem"]
