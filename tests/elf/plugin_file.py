"""What the plug-in's file must be like, as a host's loader and its security rules see it.

readelf is used for it because it is in the binutils that every build has anyway, reads the files of
every architecture wherever it runs, and prints what a reviewer would look at.

usage: plugin_file.py FILE CHECK [ARGUMENT...]
Each check prints what is wrong and fails if there is anything to print.
"""

import re
import subprocess
import sys

SYMBOL = "ZEBDiscovererInitialize"
VERSION = "DISCOVERY_1.0"
LIBRARIES = {"libusb-1.0.so.0", "libstdc++.so.6", "libgcc_s.so.1", "libc.so.6", "libm.so.6"}


def readelf(file, *options):
    return subprocess.run(["readelf", "--wide", *options, file], check=True, text=True,
                          capture_output=True, env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"}).stdout


def dynamic(file):
    """The dynamic section as pairs of tag and value."""
    return re.findall(r"^ 0x[0-9a-f]+ \((\w+)\)\s+(.*)$", readelf(file, "--dynamic"), re.MULTILINE)


def symbols(file):
    """The symbols the loader sees as triples of binding, section index and name@version."""
    row = r"^ +\d+: [0-9a-f]+ +\S+ +\S+ +(\S+) +\S+ +(\S+) +(\S+)"
    return re.findall(row, readelf(file, "--dyn-syms"), re.MULTILINE)


def segments(file):
    """The program headers as pairs of type and flags, the flags without their blanks."""
    row = r"^  (\w+) +(?:0x[0-9a-f]+ +){5}([RWE ]{3}) "
    found = re.findall(row, readelf(file, "--segments"), re.MULTILINE)
    return [(kind, flags.replace(" ", "")) for kind, flags in found]


def imports(file):
    return {name.split("@")[0] for _, section, name in symbols(file) if section == "UND"}


def exports_one_symbol(file):
    # The version itself may stand among the symbols, as an absolute one; linkers differ.
    exported = {name for binding, section, name in symbols(file)
                if binding != "LOCAL" and section != "UND" and (section, name) != ("ABS", VERSION)}
    wanted = f"{SYMBOL}@@{VERSION}"
    yield from (f"exports {name}" for name in sorted(exported - {wanted}))
    if wanted not in exported:
        yield f"does not export {wanted}"


def is_read_only_after_loading(file):
    entries = dynamic(file)
    if "GNU_RELRO" not in dict(segments(file)):
        yield "no segment is made read-only after relocation"
    if not any(tag in ("FLAGS", "FLAGS_1") and "NOW" in value for tag, value in entries):
        yield "symbols are bound lazily, so the table of addresses stays writable"


def has_no_executable_data(file):
    headers = segments(file)
    if ("GNU_STACK", "RW") not in headers:
        yield "the stack is executable, or the file does not say"
    yield from (f"a {kind} segment is both writable and executable" for kind, flags in headers
                if kind == "LOAD" and "W" in flags and "E" in flags)


def has_no_text_relocation(file):
    if any(tag == "TEXTREL" or (tag == "FLAGS" and "TEXTREL" in value) for tag, value in dynamic(file)):
        yield "code has to be relocated"


def has_no_run_path(file):
    yield from (f"{tag} {value}" for tag, value in dynamic(file) if tag in ("RPATH", "RUNPATH"))


def needs_only_its_libraries(file):
    needed = {re.search(r"\[(.*)\]", value)[1] for tag, value in dynamic(file) if tag == "NEEDED"}
    yield from (f"needs {name}" for name in sorted(needed - LIBRARIES) if not name.startswith("ld-linux"))
    if "libusb-1.0.so.0" not in needed:
        yield "does not need libusb-1.0.so.0"


def has_a_stack_protector(file):
    if "__stack_chk_fail" not in imports(file):
        yield "no function checks its stack"


def is_fortified(file):
    if not any(re.fullmatch(r"__\w+_chk", name) for name in imports(file)):
        yield "no library call is checked for overflow"


def names_no_folder_of_the_build(file, *folders):
    with open(file, "rb") as stream:
        content = stream.read()
    yield from (f"contains {folder}" for folder in folders if folder.encode() in content)


def is_for_machine(file, machine, *abi):
    header = readelf(file, "--file-header")
    if not re.search(rf"Machine: +{re.escape(machine)}$", header, re.MULTILINE):
        yield f"is not for {machine}"
    yield from (f"is not for the {name}" for name in abi if name not in header)


CHECKS = {check.__name__: check for check in (
    exports_one_symbol, is_read_only_after_loading, has_no_executable_data, has_no_text_relocation,
    has_no_run_path, needs_only_its_libraries, has_a_stack_protector, is_fortified,
    names_no_folder_of_the_build, is_for_machine)}


if __name__ == "__main__":
    complaints = list(CHECKS[sys.argv[2]](sys.argv[1], *sys.argv[3:]))
    sys.exit("\n".join(f"{sys.argv[1]}: {complaint}" for complaint in complaints) or 0)
