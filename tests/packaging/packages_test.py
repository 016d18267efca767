"""Makes the packages of a build and looks at them; those of this machine's own architecture are used as well.

usage: packages_test.py SOURCE-FOLDER BUILD-FOLDER PROCESSOR
"""

import os
import sys
import unittest

import made_test
import scratch

modules = [made_test]
if "ZEB_ON_BED" in os.environ:
    import built_test
    import installed_test
    import system_test
    modules += [built_test, installed_test, system_test]
try:
    suite = unittest.TestSuite(map(unittest.defaultTestLoader.loadTestsFromModule, modules))
    result = unittest.TextTestRunner(verbosity=2).run(suite)
finally:
    scratch.remove()
sys.exit(not result.wasSuccessful())
