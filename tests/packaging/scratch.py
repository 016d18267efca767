"""The packages of a build, made once, and scratch roots to install them in. Nothing of this machine is changed: the
package manager works on another root, as root of a user name space of its own."""

import functools
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

SOURCE, BUILD, PROCESSOR = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3]
ARCHITECTURE = {"x86_64": "amd64", "i686": "i386", "armv7l": "armhf", "aarch64": "arm64"}[PROCESSOR]
NAMES = ("libzebdiscovery-dev", "zebdiscoverer-usb", "zebhost", "zebphones")
SCRATCH = Path(tempfile.mkdtemp(prefix="zeb-packages."))
AS_ROOT = ("unshare", "--user", "--map-root-user", "--mount")


def run(*command, **options):
    """The output of a command, both streams; an error with it when the command fails."""
    result = subprocess.run(list(map(str, command)), text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            timeout=500, **options)
    if result.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))} ended with {result.returncode}:\n{result.stdout}")
    return result.stdout


def make():
    """Packs the build as it is, by the script that people use."""
    run(SOURCE / "scripts" / "package", "--no-build", BUILD.name)
    return sorted((BUILD / "packages").iterdir())


@functools.cache
def packages():
    """Where the packages are, by name."""
    kept = SCRATCH / "packages"
    kept.mkdir()
    return {file.name.split("_")[0]: Path(shutil.copy(file, kept)) for file in make()}


def field(name, which):
    return run("dpkg-deb", "-f", packages()[name], which).strip()


def needed_libraries(name):
    """What the programs of a package are linked with, each as "NAME VERSION"."""
    folder = SCRATCH / f"{name}.files"
    run("dpkg-deb", "-x", packages()[name], folder)
    programs = [path for path in folder.rglob("*") if path.is_file() and path.read_bytes()[:4] == b"\x7fELF"]
    needed = run("readelf", "-d", *programs) if programs else ""
    return {" ".join(one) for one in re.findall(r"\(NEEDED\).*\[(.*)\.so\.(\d+)\]", needed)}


def empty_root(name):
    root = SCRATCH / name
    for folder in ("info", "updates", "triggers"):
        (root / "var/lib/dpkg" / folder).mkdir(parents=True)
    for file in ("status", "available"):
        (root / "var/lib/dpkg" / file).touch()
    return root


def dpkg(root, *arguments):
    """What the packages depend on is this machine's, so it is not in the root."""
    path = "/usr/sbin:/usr/bin:/sbin:/bin"
    return run(*AS_ROOT, "dpkg", f"--root={root}", "--log=/dev/null", "--force-depends", "--force-unsafe-io",
               "--force-architecture", *arguments, env={**os.environ, "PATH": path, "LC_ALL": "C"})


@functools.cache
def installed_root():
    root = empty_root("root")
    dpkg(root, "--install", *packages().values())
    return root


def contents(root):
    """All files below a root with what is in them, without the package manager's own records."""
    return {str(path.relative_to(root)): path.read_bytes() if path.is_file() else None
            for path in sorted(root.rglob("*")) if "var/lib/dpkg" not in str(path)}


def remove():
    shutil.rmtree(SCRATCH, ignore_errors=True)
