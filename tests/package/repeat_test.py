"""The same sources give the same bytes."""
import filecmp
import unittest

import made


def differences(one, other):
    """The names of the files that two packages do not share with the same bytes."""
    compared = filecmp.dircmp(one, other)
    _, different, unreadable = filecmp.cmpfiles(one, other, compared.common, shallow=False)
    return sorted([*compared.left_only, *compared.right_only, *different, *unreadable])


class SameBytes(unittest.TestCase):
    def test_come_from_a_build_in_another_folder_with_other_settings(self):
        self.assertEqual(differences(made.plain(), made.built_elsewhere()), [])

    def test_would_be_missed_if_they_were_others(self):
        self.assertEqual(differences(made.plain(), made.signed()), [
            "SHA256SUMS", "veltrane-vpn-1.0.0-x64.cdx.json", "veltrane-vpn-1.0.0-x64.msi",
            "veltrane-vpn-1.0.0-x64.zip"])

    def test_need_a_time_where_there_is_no_commit(self):
        finished = made.run_package(tree=made.elsewhere())
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
