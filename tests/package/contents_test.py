"""What is in a package."""
import json
import re
import subprocess
import time
import unittest
import zipfile

import pefile

import made


class Package(unittest.TestCase):
    def test_has_installer_zip_bill_and_sums(self):
        names = {file.name for file in made.plain().iterdir()}
        self.assertEqual(names, {"veltrane-vpn-1.0.0-x64.msi", "veltrane-vpn-1.0.0-x64.zip",
                                 "veltrane-vpn-1.0.0-x64.cdx.json", "SHA256SUMS"})

    def test_sums_are_those_of_all_its_files(self):
        sums = (made.plain() / "SHA256SUMS").read_text()
        self.assertEqual({line[66:] for line in sums.splitlines()},
                         {file.name for file in made.plain().iterdir()} - {"SHA256SUMS"})
        subprocess.run(["sha256sum", "--check", "--strict", "--quiet", "SHA256SUMS"],
                       cwd=made.plain(), check=True)


class Zip(unittest.TestCase):
    def entries(self):
        with zipfile.ZipFile(made.named(made.plain(), ".zip")) as archive:
            return archive.infolist()

    def test_has_one_folder_with_the_name_of_the_package(self):
        self.assertEqual({entry.filename.split("/")[0] for entry in self.entries()},
                         {"veltrane-vpn-1.0.0-x64"})

    def test_has_executables_licence_notice_and_documents(self):
        names = {entry.filename.partition("/")[2] for entry in self.entries()}
        self.assertLessEqual({"VeltraneVpnService.exe", "veltranectl.exe", "LICENSE", "NOTICE", "SECURITY.md",
                              "README.txt", "docs/deployment.md", "docs/limits.md", "docs/operations.md",
                              "docs/protocol.md", "docs/veltranectl.md", "docs/schema/doctor.schema.json",
                              "examples/profile.conf"}, names)

    def test_has_nothing_that_an_operator_does_not_use(self):
        documents = re.compile(r"docs/[a-z]+\.md|docs/schema/[\w-]+\.schema\.json"
                               r"|examples/(profile\.(conf|json)|minimal_client\.cpp)")
        names = {entry.filename.partition("/")[2] for entry in self.entries()}
        self.assertEqual({name for name in names if not documents.fullmatch(name)},
                         {"VeltraneVpnService.exe", "veltranectl.exe", "LICENSE", "NOTICE", "SECURITY.md",
                          "CHANGELOG.md", "README.txt"})
        self.assertFalse({"docs/architecture.md", "docs/lab.md"} & names)

    def test_has_the_executables_of_the_build(self):
        for name in made.EXECUTABLES:
            self.assertEqual((made.plain_files() / name).read_bytes(),
                             (made.ROOT / "build/windows" / name).read_bytes(), name)

    def test_is_sorted_and_has_the_time_of_the_sources_and_plain_modes(self):
        names = [entry.filename for entry in self.entries()]
        self.assertEqual(names, sorted(names))
        even = (made.EPOCH + 1) // 2 * 2  # a zip has no odd seconds
        self.assertEqual({entry.date_time for entry in self.entries()}, {time.gmtime(even)[:6]})
        self.assertEqual({oct(entry.external_attr >> 16) for entry in self.entries()}, {"0o100644"})


class Installer(unittest.TestCase):
    def test_has_the_files_of_the_zip(self):
        def contents(folder):
            return {str(file.relative_to(folder)): file.read_bytes()
                    for file in folder.rglob("*") if file.is_file()}
        files = contents(made.installed_files())
        del files["VeltraneSetup.dll"]
        self.assertEqual(files.keys(), contents(made.plain_files()).keys())
        self.assertEqual(files, contents(made.plain_files()))

    def test_has_the_library_of_the_build(self):
        self.assertEqual((made.installed_files() / "VeltraneSetup.dll").read_bytes(),
                         (made.ROOT / "build/windows/VeltraneSetup.dll").read_bytes())


class Documents(unittest.TestCase):
    def test_link_only_what_is_in_the_package(self):
        broken = []
        for document in made.plain_files().rglob("*.md"):
            for target in re.findall(r"\]\((?!\w+:)([^)#\s]+)", document.read_text()):
                if not (document.parent / target).exists():
                    broken.append(f"{document.name} links {target}")
        self.assertEqual(broken, [])

    def test_name_only_examples_that_are_in_the_package(self):
        named = {name for document in made.plain_files().rglob("*.md")
                 for name in re.findall(r"`(examples/[^`]+)`", document.read_text())}
        self.assertEqual(named, {"examples/minimal_client.cpp", "examples/profile.conf",
                                 "examples/profile.json"})
        self.assertEqual([name for name in named if not (made.plain_files() / name).is_file()], [])

    def test_begin_with_one_that_names_all_others(self):
        beginning = (made.plain_files() / "README.txt").read_text()
        documents = {str(file.relative_to(made.plain_files())) for file in made.plain_files().rglob("*.md")}
        self.assertEqual(documents, set(re.findall(r"[\w/]+\.md", beginning)))
        for name in ("VeltraneVpnService.exe", "tunnel.dll", "wireguard.dll", "LICENSE", "NOTICE"):
            self.assertIn(name, beginning)

    def test_say_where_the_libraries_go(self):
        operations = (made.plain_files() / "docs/operations.md").read_text()
        self.assertIn("`tunnel.dll` and `wireguard.dll` into one folder", operations.replace("\n   ", " "))


class Notice(unittest.TestCase):
    def test_has_the_terms_of_everything_that_was_linked(self):
        text = (made.plain_files() / "NOTICE").read_text()
        for words in ("University of Cincinnati", "Niels Lohmann", "GCC RUNTIME LIBRARY EXCEPTION",
                      "2009-2016 the mingw-w64 project", "2011-2016 mingw-w64 project", "Lockless Inc.",
                      "Lucent Technologies", "libstdc++ 12.", "winpthreads 10."):
            self.assertIn(words, text)


class Version(unittest.TestCase):
    """CMakeLists.txt has the version, and everything else has it from there."""

    def test_is_in_the_version_resource_of_each_executable(self):
        for name in (*made.EXECUTABLES, "VeltraneSetup.dll"):
            image = pefile.PE(made.installed_files() / name)
            texts = {key: value for table in image.FileInfo[0] if table.Key == b"StringFileInfo"
                     for key, value in table.StringTable[0].entries.items()}
            self.assertEqual((texts[b"FileVersion"], texts[b"ProductVersion"]), (b"1.0.0", b"1.0.0"), name)
            fixed = image.VS_FIXEDFILEINFO[0]
            self.assertEqual((fixed.FileVersionMS, fixed.FileVersionLS), (1 << 16, 0), name)

    def test_is_that_of_the_changelog(self):
        headings = re.findall(r"^## (\S+)", (made.ROOT / "CHANGELOG.md").read_text(), re.MULTILINE)
        self.assertEqual(headings[0], "1.0.0")

    def test_is_in_the_bill_of_materials(self):
        bill = json.loads(made.named(made.plain(), ".cdx.json").read_text())
        self.assertEqual(bill["metadata"]["component"]["version"], "1.0.0")

    def test_is_in_the_installer(self):
        table = subprocess.run(["msiinfo", "export", made.named(made.plain(), ".msi"), "Property"],
                               check=True, text=True, stdout=subprocess.PIPE).stdout
        self.assertIn("ProductVersion\t1.0.0", table.replace("\r", ""))
