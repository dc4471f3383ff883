"""./package --sign and packaging/sign."""
import os
import shutil
import subprocess
import unittest

import certificates
import made

SOFTHSM = "/usr/lib/softhsm/libsofthsm2.so"


def run_sign(*arguments, **settings):
    clean = {name: value for name, value in os.environ.items() if not name.startswith("SIGN_")}
    return subprocess.run([made.ROOT / "packaging/sign", *map(str, arguments)], text=True,
                          env=clean | {name: str(value) for name, value in settings.items()},
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def executable_copy(name):
    return shutil.copy(made.ROOT / "build/windows/veltranectl.exe", made.WORK / name)


class SignedPackage(unittest.TestCase):
    def assert_signed(self, file):
        accepted, said = certificates.verify(made.WORK, file)
        self.assertTrue(accepted, said)
        self.assertIn("CN=Veltrane tests", said)

    def test_has_signed_executables(self):
        for name in made.EXECUTABLES:
            self.assert_signed(made.signed_files() / name)

    def test_has_a_signed_installer(self):
        self.assert_signed(made.named(made.signed(), ".msi"))

    def test_has_signed_files_in_the_installer(self):
        for name in (*made.EXECUTABLES, "VeltraneSetup.dll"):
            self.assert_signed(made.signed_installed_files() / name)

    def test_is_noticed_when_it_was_changed(self):
        file = shutil.copy(made.signed_files() / "veltranectl.exe", made.WORK / "changed.exe")
        with open(file, "r+b") as content:
            content.seek(0x1000)
            byte = content.read(1)
            content.seek(0x1000)
            content.write(bytes([byte[0] ^ 1]))
        self.assertFalse(certificates.verify(made.WORK, file)[0])

    def test_differs_from_one_that_is_not_signed(self):
        self.assertFalse(certificates.verify(made.WORK, made.plain_files() / "veltranectl.exe")[0])


class Settings(unittest.TestCase):
    """Settings that are missing are named before anything is built."""

    def refuses(self, words, **settings):
        finished = made.run_package("--sign", "--output", made.WORK / "refused", **settings)
        self.assertEqual((finished.returncode, finished.stderr), (2, f"sign: {words}\n"))
        self.assertNotIn("building", finished.stdout)

    def test_without_a_key(self):
        self.refuses("no key: set SIGN_PKCS12, or SIGN_PKCS11_MODULE; packaging/sign names the settings")

    def test_with_two_keys(self):
        self.refuses("SIGN_PKCS12 and SIGN_PKCS11_MODULE are both set; one of them has the key",
                     SIGN_PKCS12="key.p12", SIGN_PKCS11_MODULE=SOFTHSM)

    def test_with_a_file_that_is_not_there(self):
        self.refuses(f"SIGN_PKCS12 is {made.WORK}/none.p12, which is not a file that can be read",
                     SIGN_PKCS12="none.p12", SIGN_PASSWORD="x")

    def test_without_a_password(self):
        self.refuses("SIGN_PASSWORD is not set; an empty one is set to nothing",
                     SIGN_PKCS12=str(certificates.pkcs12(made.WORK)))

    def test_of_a_token_without_its_certificate(self):
        self.refuses("SIGN_CERTIFICATE is not set; packaging/sign names the settings",
                     SIGN_PKCS11_MODULE=str(certificates.pkcs12(made.WORK)), SIGN_PASSWORD="1234")

    def test_of_a_token_with_the_pin_in_the_address_of_the_key(self):
        self.refuses("SIGN_PKCS11_KEY contains the PIN, which others could then see; put it into "
                     "SIGN_PASSWORD", SIGN_PKCS11_MODULE=str(certificates.pkcs12(made.WORK)),
                     SIGN_CERTIFICATE=str(certificates.certificate(made.WORK)),
                     SIGN_PKCS11_KEY="pkcs11:object=key;pin-value=1234", SIGN_PASSWORD="1234")


class Signing(unittest.TestCase):
    def test_with_a_wrong_password_fails_and_leaves_the_file_as_it_was(self):
        file = executable_copy("unsigned.exe")
        before = file.read_bytes()
        finished = run_sign(file, SIGN_PKCS12=certificates.pkcs12(made.WORK), SIGN_PASSWORD="wrong")
        self.assertEqual(finished.returncode, 1)
        self.assertIn("unsigned.exe could not be signed:", finished.stderr)
        self.assertIn("Wrong password?", finished.stderr)
        self.assertEqual(file.read_bytes(), before)
        self.assertEqual([each.name for each in made.WORK.glob("unsigned.exe*")], ["unsigned.exe"])

    def recorded(self, **settings):
        """The command line of osslsigncode, from one that only writes it down."""
        folder = made.WORK / "recorder"
        folder.mkdir(exist_ok=True)
        recorder = folder / "osslsigncode"
        recorder.write_text('#!/bin/sh\nprintf "%s\\n" "$@" >"$0.log"\n'
                            'while [ "$1" != -in ]; do shift; done\ncp "$2" "$4"\n')
        recorder.chmod(0o755)
        finished = run_sign(executable_copy("recorded.exe"), PATH=f"{folder}:{os.environ['PATH']}",
                            SIGN_PKCS12=certificates.pkcs12(made.WORK),
                            SIGN_PASSWORD=certificates.PASSWORD, **settings)
        self.assertEqual((finished.returncode, finished.stderr), (0, ""))
        return (folder / "osslsigncode.log").read_text()

    def test_shows_the_password_to_nobody(self):
        self.assertNotIn(certificates.PASSWORD, self.recorded())

    def test_asks_a_timestamp_server_only_when_one_is_named(self):
        self.assertNotIn("-ts", self.recorded().splitlines())
        self.assertIn("-ts\nhttp://stamps.example/\n", self.recorded(SIGN_TIMESTAMP="http://stamps.example/"))

    def test_with_a_key_in_a_token(self):
        tokens = made.WORK / "tokens"
        tokens.mkdir()
        settings = made.WORK / "softhsm.conf"
        settings.write_text(f"directories.tokendir = {tokens}\nobjectstore.backend = file\n")
        certificate = certificates.certificate(made.WORK)
        environment = os.environ | {"SOFTHSM2_CONF": str(settings)}
        for command in ("--init-token --free --label tests --pin 1234 --so-pin 5678",
                        f"--import {made.WORK}/key.pem --token tests --label key --id 01 --pin 1234"):
            subprocess.run(["softhsm2-util", *command.split()], env=environment, check=True,
                           stdout=subprocess.DEVNULL)
        file = executable_copy("token.exe")
        finished = run_sign(file, SOFTHSM2_CONF=settings, SIGN_PKCS11_MODULE=SOFTHSM,
                            SIGN_PKCS11_KEY="pkcs11:token=tests;object=key;type=private",
                            SIGN_CERTIFICATE=certificate, SIGN_PASSWORD="1234")
        self.assertEqual((finished.returncode, finished.stderr), (0, ""))
        accepted, said = certificates.verify(made.WORK, file)
        self.assertTrue(accepted, said)
