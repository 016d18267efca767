"""usage: size.py STRIP FILE: is the plug-in, stripped as it is shipped, as small as it has to be?"""

import subprocess
import sys
import tempfile
from pathlib import Path

# 32-bit ARM, the target, has the limit that counts; code for the others is larger. A file for 64-bit ARM has a hole
# of up to 64 KiB before its data, which then starts a page of the largest size that its kernels use.
ELF_MACHINE = slice(18, 20)
ARM = 40
ARM64 = 183
MOST = {ARM: 96 * 1024, ARM64: (128 + 64) * 1024}
MOST_ELSEWHERE = 128 * 1024


def stripped_size(strip, file):
    with tempfile.TemporaryDirectory() as folder:
        result = Path(folder, "stripped")
        subprocess.run([strip, "-o", result, file], check=True)
        return result.stat().st_size


def main(strip, file):
    machine = int.from_bytes(Path(file).read_bytes()[ELF_MACHINE], "little")
    most = MOST.get(machine, MOST_ELSEWHERE)
    size = stripped_size(strip, file)
    print(f"{size} bytes, at most {most} allowed")
    return size > most


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
