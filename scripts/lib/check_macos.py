"""Type-checks the program for the Mac, with Clang and without a Mac.

The system's own headers may be used on Apple's machines only. In their place stand outlines of just those
declarations that we call, one header for each framework, in tests/macos-outline/. The C++ library is Clang's own;
the C library is this machine's, changed in tests/macos-outline/libc/ where a Mac's differs.

Beyond the compiler's errors and warnings these rules hold:
- Every Objective-C method that a class implements is declared, by the class or by a protocol. A misspelt optional
  method of a protocol is no error to the compiler, but the system would never call it.
- Only platform/ asks which system it is compiled for, and portable files and their tests use nothing that Linux alone
  has.
- The bundle's description names what the system asks for.
- Every function and class in the outlines is used, and docs/macos.md says what it promises.
- The check catches the mistakes in tests/macos-outline/mistakes/, each in the words of its file's first line.

The last line counts what was checked.
"""

import os
import plistlib
import re
import subprocess
import sys
import tempfile
from collections import defaultdict
from concurrent.futures import ThreadPoolExecutor
from glob import glob
from pathlib import Path

OUTLINE = "tests/macos-outline"
LIBRARY = "/usr/lib/llvm-19"
MULTIARCH = subprocess.run(["gcc", "-print-multiarch"], capture_output=True, text=True).stdout.strip()

COMPILER = [
    "clang++-19", "-target", "arm64-apple-macos14", "-std=c++20", "-fno-color-diagnostics",
    # What this machine's C library expects of a compiler for its own system.
    "-U__nonnull", "-D_DEFAULT_SOURCE", "-D_XOPEN_SOURCE=700",
    "-nostdinc", "-isystem", f"{LIBRARY}/include/c++/v1", "-isystem", f"{OUTLINE}/libc",
    "-isystem", f"{LIBRARY}/lib/clang/19/include", "-isystem", OUTLINE,
    "-isystem", f"/usr/include/{MULTIARCH}", "-isystem", "/usr/include", "-I.",
    # As cmake/options.cmake has them.
    "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-Wshadow", "-Wconversion", "-Wno-sign-conversion",
    "-Wnon-virtual-dtor", "-Woverloaded-virtual", "-Wno-missing-field-initializers", "-Wthread-safety",
    '-DQUILLON_IDENTIFIER="net.quillon.host"', '-DQUILLON_VERSION="0"',
]  # fmt: skip
OBJECTIVE = ["-fobjc-arc", "-Wundeclared-selector", "-Wunguarded-availability", "-Wno-unused-parameter"]

# What nearly every file takes in, parsed once for all; it is half of the work. No more than these: a file that forgets
# one of its includes must not find it here.
COMMON = "".join(f"#include <{name}>\n" for name in ("functional", "memory", "string", "vector"))
precompiled = {}  # by the suffix of those that use it

LAYER = ["platform/macos/*.mm", "platform/posix/macos/*", "tests/macos/*", "tests/platform/*"]
PORTABLE = [
    "app/*.cpp", "base/*.cpp", "display/*.cpp", "input/*.cpp", "media/*.cpp", "session/*.cpp", "transport/*.cpp",
    ":(glob)platform/*.cpp", ":(glob)platform/posix/*.cpp", "platform/simulated/*.cpp",
]  # fmt: skip

# Run on a Mac too, and written with no system in mind.
PORTABLE_TESTS = [f"tests/{room}/*" for room in ("app", "base", "display", "input", "media", "platform", "session",
                                                 "transport")]

ASKS_FOR_SYSTEM = re.compile(r"__APPLE__|__linux__|__MACH__|TARGET_OS_|__gnu_linux__")
LINUX_ONLY = re.compile(
    r"#include <(linux/|sys/(epoll|eventfd|timerfd|signalfd|inotify|prctl|sendfile)\.h|endian\.h|malloc\.h|semaphore\.h)"
    r"|\b(SOCK_CLOEXEC|SOCK_NONBLOCK|accept4|pipe2|gettid)\b|/proc/"
)


def files(patterns):
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", *patterns], capture_output=True,
                            text=True, check=True)
    return [name for name in listed.stdout.split() if name.endswith((".cpp", ".mm"))]


def headers_of_system():
    return [name for name in glob(f"{OUTLINE}/**/*.h", recursive=True) if "/libc/" not in name]


# --- methods that nobody declared, from Clang's dump of what it has read

CONTAINER = re.compile(r"^[|`]-ObjC(Protocol|Interface|Category|Implementation|CategoryImpl)Decl (.*)$")
CHILD = re.compile(r"^[| ] [|`]-(.*)$")
METHOD = re.compile(r"^ObjCMethodDecl 0x\w+ .*?(implicit )?([-+]) (\S+) '")
REFERENCE = re.compile(r"^(?:super )?ObjC(Interface|Protocol) 0x\w+ '(\w+)'$")


class Declarations:
    """Classes and protocols (with "@" before their names) and their methods."""

    def __init__(self):
        self.methods = defaultdict(set)
        self.above = defaultdict(set)
        self.implemented = []

    def read(self, dump):
        kind = name = None
        for line in dump:
            if container := CONTAINER.match(line):
                kind, rest = container.groups()
                # A category's class comes as its first child.
                name = None if kind.startswith("Category") else self.mark(kind) + rest.split()[-1]
            elif line[:1] in "|`" and line[1:2] == "-":
                kind = None
            elif kind and (child := CHILD.match(line)):
                name = self.take(kind, name, child.group(1))

    @staticmethod
    def mark(kind):
        return "@" if kind == "Protocol" else ""

    def take(self, kind, name, text):
        if reference := REFERENCE.match(text):
            place = self.mark(reference.group(1)) + reference.group(2)
            if name is None:
                return place
            if not kind.endswith(("Implementation", "Impl")):
                self.above[name].add(place)
        elif name and (method := METHOD.match(text)):
            implicit, sort, selector = method.groups()
            if not kind.endswith(("Implementation", "Impl")):
                self.methods[name].add(sort + selector)
            elif not implicit:
                self.implemented.append((name, sort + selector))
        return name

    def declares(self, place, method, seen):
        if place in seen:
            return False
        seen.add(place)
        return method in self.methods[place] or any(self.declares(each, method, seen) for each in self.above[place])

    def undeclared(self):
        return [f"error: {method[0]}[{name} {method[1:]}] is declared nowhere; is it a misspelt delegate method?\n"
                for name, method in self.implemented if not self.declares(name, method, set())]


# --- the checks; each gives what is wrong, an empty text when nothing is

def precompile(folder):
    header = Path(folder, "common.hpp")
    header.write_text(COMMON)
    for suffix, language in ((".cpp", "c++-header"), (".mm", "objective-c++-header")):
        result = Path(folder, f"common{suffix}.pch")
        subprocess.run([*COMPILER, *(OBJECTIVE if suffix == ".mm" else []), "-x", language, header, "-o", result],
                       check=True)
        precompiled[suffix] = ["-include-pch", str(result)]


def type_check(name):
    suffix = Path(name).suffix
    command = [*COMPILER, *(OBJECTIVE if suffix == ".mm" else []), *precompiled.get(suffix, []), "-fsyntax-only", name]
    if "@implementation" not in Path(name).read_text():
        return subprocess.run(command, capture_output=True, text=True).stderr
    with tempfile.TemporaryFile("w+") as said:
        clang = subprocess.Popen([*command, "-Xclang", "-ast-dump"], stdout=subprocess.PIPE, stderr=said)
        # Few of the dump's lines are about Objective-C.
        dump = subprocess.run(["grep", "-E", "^[|`]-|^[| ] [|`]-(super |ObjC)"], stdin=clang.stdout,
                              capture_output=True, text=True).stdout.splitlines()
        clang.wait()
        said.seek(0)
        declarations = Declarations()
        declarations.read(dump)
        return said.read() + "".join(declarations.undeclared())


def find_system_use(name):
    lines = Path(name).read_text().splitlines()
    return "".join(f"{name}:{number}: error: this is one system's own: {line.strip()}\n"
                   for number, line in enumerate(lines, 1)
                   if ASKS_FOR_SYSTEM.search(line) or LINUX_ONLY.search(line))


def find_gap(name):
    """What the bundle's description lacks."""
    settings = {"QUILLON_IDENTIFIER": "net.quillon.host", "PROJECT_VERSION": "0.1.0"}
    description = plistlib.loads(re.sub(r"\$\{(\w+)\}", lambda use: settings[use.group(1)],
                                        Path(name).read_text()).encode())
    service = re.search(r'kServiceType = "(_\w+\._tcp)\."', Path("transport/wifi_discovery.cpp").read_text()).group(1)
    wanted = {
        "CFBundlePackageType": "APPL", "CFBundleIdentifier": "net.quillon.host", "CFBundleShortVersionString": "0.1.0",
        "LSUIElement": True, "LSMinimumSystemVersion": "14.0", "NSBonjourServices": [service],
    }  # fmt: skip
    gaps = [key for key, value in wanted.items() if description.get(key) != value]
    gaps += [key for key in ("CFBundleExecutable", "CFBundleIconFile", "NSLocalNetworkUsageDescription")
             if not description.get(key)]
    return "".join(f"{name}: error: {key} is not as it must be\n" for key in gaps)


def find_untold(name):
    """What stands in an outline, but not in the layer or not in its description."""
    outline = re.sub(r"//.*|#.*", "", Path(name).read_text())
    told = Path("docs/macos.md").read_text()
    layer = "".join(Path(each).read_text() for each in glob("platform/macos/*.*") + glob("platform/posix/macos/*"))
    functions = set(re.findall(r"\b((?:CF|CG|AX|CM|CV|VT|IOPM|dispatch_|protocol_|NSLog)\w*)\(", outline)) - {"CF_BRIDGED", "CF_AVAILABLE_MAC"}
    untold = [each for each in sorted(functions) if not re.search(rf"\b{each}\b", layer)
              or not re.search(rf"\b{each}\b", told)]
    untold += [each for each in re.findall(r"^@interface (\w+)", outline, re.M) if not re.search(rf"\b{each}\b", told)]
    return "".join(f"{name}: error: {each} is not called, or docs/macos.md says nothing of it\n" for each in untold)


def miss(name):
    expected = Path(name).read_text().splitlines()[0].removeprefix("// expected: ")
    said = type_check(name)
    if said.count("error: ") == 1 and expected in said:
        return ""
    return f'{name}: error: not caught as "{expected}" and nothing else:\n{said}'


def checks(names):
    if names:
        return [(type_check, name) for name in names]
    portable = files(PORTABLE)
    headers = [name.replace(".cpp", ".hpp") for name in portable]
    return [
        *[(miss, name) for name in files([f"{OUTLINE}/mistakes/*"])],
        (find_gap, "platform/macos/bundle/Info.plist.in"),
        *[(find_untold, name) for name in headers_of_system()],
        *[(type_check, name) for name in files(LAYER) + portable],
        *[(find_system_use, name) for name in portable + headers + files(PORTABLE_TESTS) if os.path.exists(name)
          and not name.startswith("platform/posix/")],
    ]


def main(names):
    passed = failed = 0
    with tempfile.TemporaryDirectory() as folder, ThreadPoolExecutor(os.cpu_count()) as pool:
        if not names:
            precompile(folder)
        for said in pool.map(lambda check: check[0](check[1]), checks(names)):
            print(said, end="", flush=True)
            passed, failed = (passed, failed + 1) if said else (passed + 1, failed)
    print(f"{passed} passed, {failed} failed")
    return 1 if failed or not passed else 0


sys.exit(main(sys.argv[1:]))
