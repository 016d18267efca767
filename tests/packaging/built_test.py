"""The same bytes from another build, in a folder of another name and depth. It makes what discoverers ship and what
they are built on; "scripts/package --twice" does so with everything."""

import os
import unittest

import scratch


class AnotherBuild(unittest.TestCase):
    def test_gives_the_same_bytes(self):
        tree = scratch.SCRATCH / "quite/another/tree"
        tree.mkdir(parents=True)
        scratch.run("sh", "-ec", "git ls-files -z --cached --others --exclude-standard | tar --null -T - -c | "
                    f"tar -x -C {tree}", cwd=scratch.SOURCE)
        # The compiler's own work, not that of a cache.
        environment = {**os.environ, "CCACHE_DISABLE": "1", "DESTDIR": str(scratch.SCRATCH / "another")}
        build = tree / "build" / scratch.BUILD.name
        scratch.run("cmake", "--preset", scratch.BUILD.name, "-DBUILD_TESTING=OFF", cwd=tree, env=environment)
        scratch.run("cmake", "--build", build, "--target", "zebdiscoverer-usb", "compressed", env=environment)
        for component in ("plugin", "dev"):
            scratch.run("cmake", "--install", build, "--strip", "--prefix", "/usr", "--component", component,
                        env=environment)

        there = scratch.contents(scratch.SCRATCH / "another")

        here = scratch.contents(scratch.installed_root())
        self.assertGreater(len(there), 60)
        self.assertEqual([path for path, content in there.items() if here[path] != content], [])
