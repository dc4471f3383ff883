"""A certificate that signs code, made for one run of the tests."""
import functools
import subprocess

PASSWORD = "a long $pass word"
SUBJECT = "/CN=Veltrane tests"


def openssl(*arguments):
    subprocess.run(["openssl", *map(str, arguments)], check=True, stderr=subprocess.DEVNULL)


@functools.cache
def certificate(folder):
    """The certificate, a PEM file, with its key in key.pem beside it."""
    file = folder / "certificate.pem"
    openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", SUBJECT,
            "-addext", "extendedKeyUsage=codeSigning", "-keyout", folder / "key.pem", "-out", file)
    return file


@functools.cache
def pkcs12(folder):
    """Both in one file that PASSWORD opens."""
    file = folder / "key.p12"
    openssl("pkcs12", "-export", "-in", certificate(folder), "-inkey", folder / "key.pem", "-out", file,
            "-passout", f"pass:{PASSWORD}")
    return file


def verify(folder, file):
    """What osslsigncode says of a signature, and whether it accepts it with this certificate."""
    finished = subprocess.run(["osslsigncode", "verify", "-CAfile", certificate(folder), "-in", file],
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return finished.returncode == 0, finished.stdout
