"""The command line of ./package."""
import unittest

import made


class Arguments(unittest.TestCase):
    def refuses(self, words, *arguments):
        finished = made.run_package(*arguments)
        self.assertEqual((finished.returncode, finished.stdout, finished.stderr),
                         (2, "", f"package: {words}\n"))

    def test_help_names_every_option(self):
        finished = made.run_package("--help")
        self.assertEqual((finished.returncode, finished.stderr), (0, ""))
        self.assertEqual(finished.stdout.splitlines()[0],
                         "usage: ./package [--with FOLDER] [--sign] [--output FOLDER]")
        self.assertEqual(finished.stdout, made.run_package("-h").stdout)

    def test_that_are_unknown_are_refused(self):
        self.refuses('"--sing" is not known; ./package --help says what is', "--sing")

    def test_that_need_a_folder_are_refused_without_one(self):
        self.refuses("--with needs a folder", "--with")
        self.refuses("--output needs a folder", "--output", "")

    def test_that_would_replace_a_folder_are_refused(self):
        self.refuses(f"--output: {made.WORK} is there already", "--output", made.WORK)

    def test_that_name_a_folder_in_none_are_refused(self):
        self.refuses("--output: there is no folder none", "--output", "none/package")

    def test_times_that_are_none_are_refused(self):
        finished = made.run_package(SOURCE_DATE_EPOCH="yesterday")
        self.assertEqual((finished.returncode, finished.stderr),
                         (2, "package: SOURCE_DATE_EPOCH is not a number of seconds\n"))
