"""./package --with FOLDER: the operator's libraries."""
import shutil
import struct
import unittest

import made


class With(unittest.TestCase):
    def setUp(self):
        self.folder = made.WORK / "wrong libraries"
        shutil.copytree(made.libraries(), self.folder)
        self.addCleanup(shutil.rmtree, self.folder)

    def refuses(self, *complaints):
        finished = made.run_package("--with", self.folder)
        self.assertEqual(finished.stderr.splitlines(), [f"{self.folder}: {each}" for each in complaints])
        self.assertEqual((finished.returncode, finished.stdout), (2, ""))

    def set_machine(self, name, machine):
        """Writes another machine into the file header behind the PE signature."""
        file = self.folder / name
        content = bytearray(file.read_bytes())
        header, = struct.unpack_from("<I", content, 0x3C)
        struct.pack_into("<H", content, header + 4, machine)
        file.write_bytes(content)

    def test_adds_both_libraries_as_they_are(self):
        for name in ("tunnel.dll", "wireguard.dll"):
            self.assertEqual((made.signed_files() / name).read_bytes(),
                             (made.libraries() / name).read_bytes())

    def test_means_a_folder_where_the_caller_is(self):
        finished = made.run_package("--with", "wrong libraries", "--output", "wrong libraries")
        self.assertEqual(finished.stderr, "package: --output: wrong libraries is there already\n")

    def test_refuses_a_folder_that_is_not_there(self):
        finished = made.run_package("--with", "nowhere")
        self.assertEqual((finished.returncode, finished.stderr),
                         (2, "package: --with: there is no folder nowhere\n"))

    def test_refuses_without_tunnel_dll(self):
        (self.folder / "tunnel.dll").unlink()
        self.refuses("tunnel.dll is missing")

    def test_refuses_without_wireguard_dll(self):
        (self.folder / "wireguard.dll").unlink()
        self.refuses("wireguard.dll is missing")

    def test_refuses_an_empty_folder_and_names_both(self):
        for name in ("tunnel.dll", "wireguard.dll"):
            (self.folder / name).unlink()
        self.refuses("tunnel.dll is missing", "wireguard.dll is missing")

    def test_refuses_what_is_not_a_windows_library(self):
        (self.folder / "tunnel.dll").write_text("<html>404 Not Found</html>")
        self.refuses("tunnel.dll is not a Windows library")

    def test_refuses_a_32_bit_library(self):
        self.set_machine("tunnel.dll", 0x014C)
        self.refuses("tunnel.dll is not 64-bit x86 but 32-bit x86")

    def test_refuses_a_library_for_arm(self):
        self.set_machine("wireguard.dll", 0xAA64)
        self.refuses("wireguard.dll is not 64-bit x86 but ARM64")

    def test_refuses_a_program(self):
        shutil.copy(made.ROOT / "build/windows/veltranectl.exe", self.folder / "wireguard.dll")
        self.refuses("wireguard.dll is a program, not a library")

    def test_refuses_libraries_that_were_exchanged(self):
        (self.folder / "tunnel.dll").rename(self.folder / "other")
        (self.folder / "wireguard.dll").rename(self.folder / "tunnel.dll")
        (self.folder / "other").rename(self.folder / "wireguard.dll")
        self.refuses("tunnel.dll does not export WireGuardTunnelService",
                     "wireguard.dll does not export WireGuardCreateAdapter, WireGuardSetConfiguration, "
                     "WireGuardSetAdapterState, WireGuardCloseAdapter")

    def test_refuses_a_library_that_lacks_one_function(self):
        made.make_library(self.folder / "wireguard.dll", [
            "WireGuardCreateAdapter", "WireGuardSetConfiguration", "WireGuardCloseAdapter"])
        self.refuses("wireguard.dll does not export WireGuardSetAdapterState")
