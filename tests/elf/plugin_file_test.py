"""Shows that each check of plugin_file.py goes red: builds one small flawed library for each.

usage: plugin_file_test.py COMPILER [FLAG...]
"""

import os
import subprocess
import sys
import tempfile
import unittest

import plugin_file

COMPILER = sys.argv[1:]
ENTRY = 'extern "C" __attribute__((visibility("default"))) int ZEBDiscovererInitialize() { return 0; }\n'
ADDRESS_IN_CODE = ENTRY + """
extern "C" int target;
int target;
#ifdef __LP64__
asm(".text; .balign 8; .quad target");
#else
asm(".text; .balign 4; .long target");
#endif
"""
MAP = "DISCOVERY_1.0 { global: ZEBDiscovererInitialize; local: *; };"
HARDENED = ["-Wl,-z,relro,-z,now,-z,noexecstack"]


class AFlawedLibrary(unittest.TestCase):
    def complaints(self, check, *arguments, source=ENTRY, flags=(), version_script=MAP):
        """Builds a library and returns what the check says of it."""
        with tempfile.TemporaryDirectory() as folder:
            library, code, script = (os.path.join(folder, name) for name in ("a.so", "a.cpp", "a.map"))
            with open(code, "w") as stream:
                stream.write(source)
            with open(script, "w") as stream:
                stream.write(version_script)
            subprocess.run([*COMPILER, "-shared", "-fPIC", "-O1", "-nostdlib", "-o", library, code,
                            f"-Wl,--version-script={script}", *flags], check=True)
            return list(plugin_file.CHECKS[check](library, *arguments))

    def test_without_a_flaw_passes(self):
        for check in ("exports_one_symbol", "is_read_only_after_loading", "has_no_executable_data",
                      "has_no_text_relocation", "has_no_run_path"):
            with self.subTest(check):
                self.assertEqual(self.complaints(check, flags=HARDENED), [])

    def test_with_a_second_symbol_is_reported(self):
        second = ENTRY + 'extern "C" __attribute__((visibility("default"))) int leak() { return 1; }\n'
        both = "DISCOVERY_1.0 { global: ZEBDiscovererInitialize; leak; local: *; };"
        self.assertEqual(self.complaints("exports_one_symbol", source=second, version_script=both),
                         ["exports leak@@DISCOVERY_1.0"])

    def test_with_another_version_is_reported(self):
        found = self.complaints("exports_one_symbol", version_script=MAP.replace("1.0", "1.1"))
        self.assertIn("exports ZEBDiscovererInitialize@@DISCOVERY_1.1", found)
        self.assertIn("does not export ZEBDiscovererInitialize@@DISCOVERY_1.0", found)

    def test_with_lazy_binding_is_reported(self):
        self.assertEqual(len(self.complaints("is_read_only_after_loading", flags=["-Wl,-z,relro,-z,lazy"])), 1)

    def test_without_read_only_relocations_is_reported(self):
        self.assertEqual(len(self.complaints("is_read_only_after_loading", flags=["-Wl,-z,norelro,-z,now"])), 1)

    def test_with_an_executable_stack_is_reported(self):
        self.assertEqual(len(self.complaints("has_no_executable_data", flags=["-Wl,-z,execstack"])), 1)

    def test_with_a_text_relocation_is_reported(self):
        found = self.complaints("has_no_text_relocation", source=ADDRESS_IN_CODE, flags=["-Wl,-z,notext"])
        self.assertEqual(found, ["code has to be relocated"])

    def test_with_a_run_path_is_reported(self):
        for flag, tag in (("--enable-new-dtags", "RUNPATH"), ("--disable-new-dtags", "RPATH")):
            with self.subTest(tag):
                found = self.complaints("has_no_run_path", flags=[f"-Wl,{flag},-rpath,/opt/lib"])
                self.assertEqual(len(found), 1)
                self.assertRegex(found[0], f"^{tag} .*/opt/lib")

    def test_that_needs_another_library_is_reported(self):
        found = self.complaints("needs_only_its_libraries", flags=["-Wl,--no-as-needed", "-l:libudev.so.1"])
        self.assertEqual(found, ["needs libudev.so.1", "does not need libusb-1.0.so.0"])

    def test_without_checks_of_stack_and_calls_is_reported(self):
        self.assertEqual(len(self.complaints("has_a_stack_protector", flags=["-fno-stack-protector"])), 1)
        self.assertEqual(len(self.complaints("is_fortified")), 1)

    def test_that_names_the_build_folder_is_reported(self):
        here = ENTRY + 'extern "C" { const char* where = "/build/machine/file.cpp"; }\n'
        found = self.complaints("names_no_folder_of_the_build", "/build/machine", "/elsewhere", source=here)
        self.assertEqual(found, ["contains /build/machine"])

    def test_for_another_machine_is_reported(self):
        self.assertEqual(self.complaints("is_for_machine", "IBM S/390", "soft-float ABI"),
                         ["is not for IBM S/390", "is not for the soft-float ABI"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
