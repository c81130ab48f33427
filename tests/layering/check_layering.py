#!/usr/bin/python3
"""Checks the module layering of the source tree through its #include lines.

Usage: check_layering.py <source root>
       check_layering.py --self-test   (checks the checker on a small tree made for the purpose)

Rules (each break is printed as "<file>:<line>: <rule>: #include ..." and makes the exit code 1):
  - A header or source of a module (include/kx/<module>/, include/kx/<module>.h, src/<module>/)
    includes only headers of its own module or of the modules below it, in the order of MODULES.
    Modules whose folders do not exist are simply absent.
  - Nothing outside the user-interface code (src/ui, include/kx/ui, tests/ui, apps/kxstudio and
    the desktop benchmark bench/kxstudio_bench.cpp)
    includes a wxWidgets header (wx/...).
  - An installed header (under include/) never includes a private header of src/.
"""
import os
import re
import sys

MODULES = ["foundation", "objects", "expressions", "geometry", "numerics", "project", "commands",
           "materials", "graph", "app", "ui"]
WX_ALLOWED = ["src/ui/", "include/kx/ui/", "include/kx/ui.h", "tests/ui/", "apps/kxstudio/",
              "bench/kxstudio_bench.cpp"]
SCANNED = ["include", "src", "tests", "bench", "fuzz", "apps"]
SUFFIXES = (".h", ".hpp", ".cpp", ".cc", ".c", ".def", ".inc")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def module_of(rel):
    """The module a path (relative to the root) belongs to, or None."""
    parts = rel.split("/")
    if parts[0] == "src" and len(parts) > 2 and parts[1] in MODULES:
        return parts[1]
    if parts[0] == "include" and len(parts) > 2 and parts[1] == "kx":
        if len(parts) > 3 and parts[2] in MODULES:
            return parts[2]
        name = os.path.splitext(parts[2])[0]
        if len(parts) == 3 and name in MODULES:
            return name
        if len(parts) == 3 and name == "kxcore":   # the header of the whole library
            return "kxcore"
    return None


def resolve(root, including, quote, target):
    """The included file relative to the root, or None for a system header."""
    candidates = []
    if quote == '"':
        candidates.append(os.path.join(os.path.dirname(including), target))
    candidates += [os.path.join("include", target), os.path.join("src", target)]
    for c in candidates:
        c = os.path.normpath(c)
        if os.path.isfile(os.path.join(root, c)):
            return c
    return None


def rank(module):
    if module == "kxcore":
        return len(MODULES)   # above every module: only the library's users include it
    return MODULES.index(module)


def check(root):
    present = [m for m in MODULES
               if os.path.isdir(os.path.join(root, "src", m))
               or os.path.isdir(os.path.join(root, "include", "kx", m))]
    faults = []
    for top in SCANNED:
        for folder, _, files in os.walk(os.path.join(root, top)):
            for name in sorted(files):
                if not name.endswith(SUFFIXES):
                    continue
                path = os.path.join(folder, name)
                rel = os.path.relpath(path, root).replace(os.sep, "/")
                own = module_of(rel)
                with open(path, encoding="utf-8", errors="replace") as f:
                    for number, line in enumerate(f, 1):
                        m = INCLUDE.match(line)
                        if not m:
                            continue
                        quote, target = m.group(1), m.group(2)
                        text = "#include " + (f'"{target}"' if quote == '"' else f"<{target}>")
                        if target.startswith("wx/") and not any(rel.startswith(a) for a in WX_ALLOWED):
                            faults.append(f"{rel}:{number}: wxWidgets header outside the user "
                                          f"interface: {text}")
                            continue
                        found = resolve(root, rel, quote, target)
                        if found is None:
                            continue
                        if rel.startswith("include/") and found.startswith("src/"):
                            faults.append(f"{rel}:{number}: installed header includes a private "
                                          f"header: {text}")
                        theirs = module_of(found)
                        if own is None or theirs is None or own == theirs:
                            continue
                        if rank(theirs) > rank(own):
                            faults.append(f"{rel}:{number}: module {own} includes a header of "
                                          f"module {theirs}, which is above it: {text}")
    return present, faults


def self_test():
    """Builds a tree with one fault of each kind beside allowed includes; True when exactly the
    faults are found."""
    import tempfile
    files = {
        "include/kx/foundation/a.h": '#include <vector>\n',
        "include/kx/objects/b.h": '#include "kx/foundation/a.h"\n#include "kx/geometry/c.h"\n',
        "include/kx/geometry/c.h": '#include "kx/objects/b.h"\n',
        "src/geometry/c.cpp": '#include "kx/geometry/c.h"\n#include "kxprivate.h"\n#include <wx/frame.h>\n',
        "src/geometry/kxprivate.h": '#include "kx/expressions/d.h"\n',
        "include/kx/expressions/d.h": '#include "geometry/kxprivate.h"\n',
        "src/ui/e.cpp": '#include <wx/frame.h>\n#include "kx/geometry/c.h"\n',
    }
    expected = [
        "include/kx/expressions/d.h:1: installed header includes a private header",
        "include/kx/expressions/d.h:1: module expressions includes a header of module geometry",
        "include/kx/objects/b.h:2: module objects includes a header of module geometry",
        "src/geometry/c.cpp:3: wxWidgets header outside the user interface",
    ]
    with tempfile.TemporaryDirectory() as root:
        for rel, text in files.items():
            os.makedirs(os.path.dirname(os.path.join(root, rel)), exist_ok=True)
            with open(os.path.join(root, rel), "w", encoding="utf-8") as f:
                f.write(text)
        _, faults = check(root)
    # Each fault without the offending include and the explanation after the module name.
    found = sorted(f.split(": #include")[0].split(", which")[0] for f in faults)
    if found == sorted(expected):
        print("self-test passed: %d faults found as planted" % len(expected))
        return True
    print("self-test failed; found:")
    for f in faults:
        print("  " + f)
    return False


def main():
    if len(sys.argv) == 2 and sys.argv[1] == "--self-test":
        return 0 if self_test() else 1
    if len(sys.argv) != 2:
        print("usage: check_layering.py <source root>")
        return 2
    present, faults = check(sys.argv[1])
    for fault in faults:
        print(fault)
    if faults:
        print(f"{len(faults)} layering fault(s); modules, bottom to top: {' < '.join(present)}")
        return 1
    print(f"layering kept: {' < '.join(present)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
