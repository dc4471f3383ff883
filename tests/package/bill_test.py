"""The bill of materials."""
import hashlib
import json
import pathlib
import re
import subprocess
import sys
import time
import unittest

import jsonschema

import made

sys.path.append(str(made.ROOT / "packaging/materials"))
from failure import Failure  # noqa: E402
from licences import spdx  # noqa: E402

SCHEMAS = pathlib.Path(__file__).resolve().parent / "cyclonedx"
# The Debian package that has what is linked of each component.
PACKAGES = {"CLI11": "libcli11-dev", "nlohmann-json": "nlohmann-json3-dev",
            "libgcc": "gcc-mingw-w64-x86-64-posix", "libssp": "gcc-mingw-w64-x86-64-posix",
            "libstdc++": "g++-mingw-w64-x86-64-posix", "winpthreads": "mingw-w64-x86-64-dev",
            "mingw-w64-runtime": "mingw-w64-x86-64-dev", "mingw-w64-headers": "mingw-w64-common"}
LICENCES = {"CLI11": "BSD-3-Clause", "nlohmann-json": "MIT",
            "libgcc": "GPL-3.0-or-later WITH GCC-exception-3.1",
            "libssp": "GPL-3.0-or-later WITH GCC-exception-3.1",
            "libstdc++": "GPL-3.0-or-later WITH GCC-exception-3.1",
            "winpthreads": "BSD-3-Clause AND LicenseRef-public-domain AND MIT"}
RUNTIME = ["libgcc", "libssp", "libstdc++", "mingw-w64-headers", "mingw-w64-runtime", "winpthreads"]


def schema(name):
    return json.loads((SCHEMAS / f"{name}.SNAPSHOT.schema.json").read_text())


def validator():
    """Of CycloneDX 1.6; the schemas that it names lie beside it."""
    resolver = jsonschema.RefResolver("http://cyclonedx.org/schema/", schema("bom-1.6"), store={
        f"http://cyclonedx.org/schema/{name}.SNAPSHOT.schema.json": schema(name)
        for name in ("spdx", "jsf-0.82")})
    return jsonschema.Draft7Validator(schema("bom-1.6"), resolver=resolver)


def read_bill(folder):
    return json.loads(made.named(folder, ".cdx.json").read_text())


def component(bill, name):
    return next(each for each in bill["components"] if each["name"] == name)


def licence(entry):
    terms = entry["licenses"][0]
    return terms.get("expression") or terms["license"]["id"]


def sha256(file):
    return hashlib.sha256(pathlib.Path(file).read_bytes()).hexdigest()


class Bill(unittest.TestCase):
    def setUp(self):
        self.bill = read_bill(made.plain())

    def test_is_valid_cyclonedx(self):
        self.assertEqual([error.message for error in validator().iter_errors(self.bill)], [])

    def test_that_breaks_the_rules_would_not_be_valid(self):
        del component(self.bill, "CLI11")["type"]
        component(self.bill, "CLI11")["licenses"] = [{"license": {"id": "BSD-3-clause"}}]
        self.assertEqual(len(list(validator().iter_errors(self.bill))), 2)

    def test_names_every_component_with_the_version_that_is_installed(self):
        libraries = {each["name"]: each for each in self.bill["components"] if "purl" in each}
        self.assertEqual(libraries.keys(), PACKAGES.keys())
        for name, package in PACKAGES.items():
            installed = subprocess.run(["dpkg-query", "-W", "-f=${Version}", package], check=True,
                                       text=True, stdout=subprocess.PIPE).stdout
            self.assertRegex(installed, rf"^{re.escape(libraries[name]['version'])}[-+]", name)
            self.assertIn(f"@{installed.replace('+', '%2B')}?", libraries[name]["purl"], name)

    def test_names_the_licences(self):
        self.assertEqual({name: licence(component(self.bill, name)) for name in LICENCES}, LICENCES)

    def test_names_the_holders_of_the_copyrights(self):
        self.assertEqual(component(self.bill, "winpthreads")["copyright"],
                         "1992, 1993 The Regents of the University of California\n"
                         "2010 Lockless Inc.\n2011-2016 mingw-w64 project")
        holders = [line for each in self.bill["components"] for line in each.get("copyright", "").splitlines()]
        self.assertEqual([line for line in holders if line != line.strip() or line == "public-domain"], [])

    def test_names_licences_that_spdx_knows(self):
        words = {word for each in self.bill["components"] for word in
                 re.findall(r"[\w.+-]+", licence(each))} - {"AND", "OR", "WITH"}
        self.assertEqual({word for word in words if not word.startswith("LicenseRef-")}
                         - set(schema("spdx")["enum"]), set())

    def test_says_which_executable_contains_what(self):
        contains = {each["ref"]: each["dependsOn"] for each in self.bill["dependencies"]}
        self.assertEqual(contains["VeltraneVpnService.exe"], RUNTIME)
        self.assertEqual(contains["veltranectl.exe"], ["CLI11", *RUNTIME[:5], "nlohmann-json", "winpthreads"])
        self.assertEqual(contains["VeltraneSetup.dll"], [*RUNTIME[:5], "nlohmann-json", "winpthreads"])

    def test_has_the_hashes_of_the_executables(self):
        for name in (*made.EXECUTABLES, "VeltraneSetup.dll"):
            self.assertEqual(component(self.bill, name)["hashes"],
                             [{"alg": "SHA-256", "content": sha256(made.installed_files() / name)}], name)

    def test_has_the_hash_of_each_file_that_was_linked_or_compiled(self):
        files = [file for each in self.bill["components"] for file in each.get("components", [])]
        wrong = [file["name"] for file in files if file["hashes"][0]["content"] != sha256(file["name"])]
        self.assertEqual(wrong, [])
        self.assertLessEqual({"libstdc++.a", "libmingwex.a", "libpthread.a", "App.hpp", "json.hpp"},
                             {pathlib.Path(file["name"]).name for file in files})

    def test_has_the_time_of_the_sources(self):
        self.assertEqual(self.bill["metadata"]["timestamp"],
                         time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(made.EPOCH)))

    def test_of_a_signed_package_has_what_is_shipped(self):
        bill = read_bill(made.signed())
        self.assertEqual([error.message for error in validator().iter_errors(bill)], [])
        for name in (*made.EXECUTABLES, "tunnel.dll", "wireguard.dll", "VeltraneSetup.dll"):
            self.assertEqual(component(bill, name)["hashes"][0]["content"],
                             sha256(made.signed_installed_files() / name), name)


class Unreviewed(unittest.TestCase):
    """What is not as it was reviewed stops the package, and the earlier one stays as it was."""

    def refuses(self, addition, words):
        before = sha256(made.built_elsewhere() / "SHA256SUMS")
        script = made.elsewhere() / "cmake/Product.cmake"
        text = script.read_text()
        script.write_text(f"{text}\n{addition}\n")
        try:
            finished = made.run_package(tree=made.elsewhere(), SOURCE_DATE_EPOCH=str(made.EPOCH))
        finally:
            script.write_text(text)
        self.assertEqual(finished.returncode, 1, finished.stdout)
        self.assertRegex(finished.stderr, words)
        self.assertEqual(sha256(made.built_elsewhere() / "SHA256SUMS"), before)
        self.assertEqual(list((made.elsewhere() / "build").glob("package.*")), [])

    def test_protection(self):
        self.refuses("target_link_options(veltranectl PRIVATE -Wl,--image-base,0x400000)",
                     "veltranectl.exe\n  FAILED  high-entropy ASLR: +the image base 0x400000 is below 4 GiB\n")

    def test_library_of_the_compiler(self):
        self.refuses("target_link_libraries(veltranectl PRIVATE -Wl,-u,sqrtq quadmath)",
                     "veltranectl.exe contains /usr/lib/gcc/.*/libquadmath.a of the package "
                     "gcc-mingw-w64-x86-64-posix, which nobody has reviewed")

    def test_library_of_no_package(self):
        foreign = made.WORK / "libforeign.a"
        subprocess.run(["x86_64-w64-mingw32-gcc-posix", "-xc", "-c", "-", "-o", made.WORK / "foreign.o"],
                       input="int foreign(void) { return 1; }", text=True, check=True)
        subprocess.run(["x86_64-w64-mingw32-ar", "rc", foreign, made.WORK / "foreign.o"], check=True)
        self.refuses(f"target_link_libraries(VeltraneVpnService PRIVATE -Wl,-u,foreign {foreign})",
                     f"no Debian package has {foreign}")

    def test_header(self):
        self.refuses('set_source_files_properties(client/main.cpp DIRECTORY client '
                     'PROPERTIES COMPILE_OPTIONS "-include;/usr/include/linux/limits.h")',
                     "veltranectl.exe contains /usr/include/linux/limits.h of the package linux-libc-dev")

    def test_licence(self):
        with self.assertRaisesRegex(Failure, 'the licence "Artistic" of libfoo is not known'):
            spdx("Expat and Artistic", "libfoo")
        self.assertEqual(spdx("Expat and ISC", "libfoo"), "MIT AND ISC")
