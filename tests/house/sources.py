"""What the sources must keep to: the layers of the folders, and sizes that a reader can take in.

usage: sources.py ROOT CHECK
Each check prints what is wrong, as FILE:LINE: COMPLAINT, and fails if there is anything to print.
"""

import json
import re
import subprocess
import sys
from pathlib import Path

# What ships: each folder may include from itself and from those named; nothing else of the tree.
LAYERS = {
    "include": {"zebdiscovery"},
    "mxcommon": {"mxcommon"},
    "common": {"common", "mxcommon", "zebdiscovery"},
    "usb": {"usb", "common", "mxcommon", "zebdiscovery"},
}
AROUND = ("host", "phones", "lab", "tests", "bench", "examples")
FUNCTION_LINES = 40
FILE_LINES = 400


def sources(root, folders, *suffixes):
    return sorted(path for folder in folders for path in (root / folder).rglob("*") if path.suffix in suffixes)


def includes(path):
    """The include lines of a file as triples of line number, opening mark and name."""
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if found := re.match(r'\s*#\s*include\s*(["<])([^">]+)', line):
            yield number, *found.groups()


def layers_point_down(root):
    tree = set(LAYERS) | set(AROUND) | {"zebdiscovery"}
    for layer, allowed in LAYERS.items():
        for path in sources(root, [layer], ".h", ".cpp"):
            for number, mark, name in includes(path):
                folder = name.split("/")[0]
                # The tree's own headers are named from its root, so a quoted name always has a folder.
                if folder not in allowed and (mark == '"' or folder in tree):
                    yield f"{path.relative_to(root)}:{number}: {layer}/ may not include {name}"


def headers_name_no_libusb(root):
    for path in sources(root, LAYERS, ".h"):
        for number, _, name in includes(path):
            if Path(name).name == "libusb.h":
                yield f"{path.relative_to(root)}:{number}: only a .cpp may include {name}"


def own_header_comes_first(root):
    for path in sources(root, [*LAYERS, "host", "phones"], ".cpp"):
        header = path.with_suffix(".h")
        own = str(header.relative_to(root))
        first = next(includes(path), (1, "", ""))
        if header.exists() and first[2] != own:
            yield f"{path.relative_to(root)}:{first[0]}: the first to include is {own}"


def files_are_short(root):
    for path in sources(root, [*LAYERS, *AROUND], ".h", ".c", ".cpp", ".py"):
        lines = len(path.read_text().splitlines())
        if lines > FILE_LINES:
            yield f"{path.relative_to(root)}:{lines}: {lines} lines, of {FILE_LINES} at most"


def functions_are_short(root):
    # Not those of tests: a table of all slots, written as a function, is one table and not forty steps.
    folders = [folder for folder in (*LAYERS, *AROUND) if folder != "tests"]
    paths = sources(root, folders, ".h", ".c", ".cpp", ".py")
    command = ["ctags", "--output-format=json", "--fields=+ne", "--languages=C,C++,Python",
               "--map-C++=+.h", "--kinds-C=f", "--kinds-C++=f", "--kinds-Python=fm", "-L", "-", "-f", "-"]
    listing = subprocess.run(command, input="\n".join(map(str, paths)), text=True, check=True,
                             capture_output=True).stdout
    for tag in map(json.loads, listing.splitlines()):
        lines = tag.get("end", tag["line"]) - tag["line"] + 1
        if lines > FUNCTION_LINES:
            path = Path(tag["path"]).relative_to(root)
            yield f"{path}:{tag['line']}: {tag['name']} has {lines} lines, of {FUNCTION_LINES} at most"


def tests_are_built(root):
    """What no CMakeLists.txt names compiles nowhere, and passes for ever."""
    for path in sources(root, ["tests"], ".c", ".cpp"):
        lists = [*(folder / "CMakeLists.txt" for folder in path.parents), *(root / "cmake").glob("*.cmake")]
        if not any(re.search(rf"\b{re.escape(path.name)}\b", file.read_text()) for file in lists if file.exists()):
            yield f"{path.relative_to(root)}:1: no CMakeLists.txt names it"


CHECKS = {check.__name__: check for check in (
    layers_point_down, headers_name_no_libusb, own_header_comes_first, files_are_short, functions_are_short,
    tests_are_built)}


if __name__ == "__main__":
    complaints = list(CHECKS[sys.argv[2]](Path(sys.argv[1])))
    sys.exit("\n".join(complaints) or 0)
