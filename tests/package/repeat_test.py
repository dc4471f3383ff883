"""The same sources give the same bytes."""
import filecmp
import json
import os
import subprocess
import unittest

import made


def differences(one, other):
    """The names of the files that two packages do not share with the same bytes."""
    compared = filecmp.dircmp(one, other)
    _, different, unreadable = filecmp.cmpfiles(one, other, compared.common, shallow=False)
    return sorted([*compared.left_only, *compared.right_only, *different, *unreadable])


class SameBytes(unittest.TestCase):
    def test_come_from_a_build_in_another_folder(self):
        self.assertEqual(differences(made.plain(), made.built_elsewhere()), [])

    def test_have_the_time_of_the_last_commit_unless_another_is_set(self):
        package = made.make(made.WORK / "of the last commit", SOURCE_DATE_EPOCH="")
        commit = subprocess.run(["git", "log", "-1", "--date=format-local:%Y-%m-%dT%H:%M:%SZ",
                                 "--format=%cd"], cwd=made.ROOT, env=os.environ | {"TZ": "UTC"},
                                check=True, text=True, stdout=subprocess.PIPE).stdout.strip()
        bill = json.loads(made.named(package, ".cdx.json").read_text())
        self.assertEqual(bill["metadata"]["timestamp"], commit)
        self.assertEqual(differences(made.plain(), package), sorted(
            file.name for file in package.iterdir()))

    def test_need_a_time_where_there_is_no_commit(self):
        finished = made.run_package(tree=made.elsewhere(), SOURCE_DATE_EPOCH="")
        self.assertEqual((finished.returncode, finished.stderr),
                         (2, "package: this folder is not a git clone: set SOURCE_DATE_EPOCH to the time "
                             "of the sources\n"))

    def test_name_no_folder_of_the_build_machine(self):
        files = [*made.plain().iterdir(), *made.plain_files().rglob("*"), *made.installed_files().iterdir()]
        found = [(file.name, str(folder)) for file in files if file.is_file()
                 for folder in (made.ROOT, made.WORK, made.elsewhere())
                 if str(folder).encode() in file.read_bytes()
                 or str(folder).encode("utf-16-le") in file.read_bytes()]
        self.assertEqual(found, [])
