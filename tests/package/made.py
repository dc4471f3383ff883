"""The packages that the tests look at, each made once by ./package."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import zipfile

import certificates

ROOT = pathlib.Path(__file__).resolve().parents[2]
# The time of the last commit, which ./package takes where it is not told another one.
EPOCH = int(subprocess.run(["git", "log", "-1", "--format=%ct"], cwd=ROOT, check=True, text=True,
                           stdout=subprocess.PIPE).stdout)
WORK = pathlib.Path(tempfile.mkdtemp(prefix="veltrane-package-"))
EXECUTABLES = ("VeltraneVpnService.exe", "veltranectl.exe")


def once(make_it):
    """The function, called at most once: later calls have the same result, or raise the same error."""
    outcome = []

    def call():
        if not outcome:
            try:
                outcome.append((make_it(), None))
            except Exception as error:
                outcome.append((None, error))
        result, error = outcome[0]
        if error:
            raise error
        return result
    return call


def run_package(*arguments, tree=ROOT, umask=-1, **environment):
    """Runs ./package of a tree, without the caller's settings. Returns the finished process."""
    clean = {name: value for name, value in os.environ.items()
             if not name.startswith("SIGN_") and name != "SOURCE_DATE_EPOCH"}
    return subprocess.run([tree / "package", *map(str, arguments)], text=True, cwd=WORK,
                          env=clean | environment, umask=umask,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def make(output, *arguments, **how):
    finished = run_package("--output", output, *arguments, **how)
    if finished.returncode:
        raise AssertionError(f"./package failed: {finished.stdout}{finished.stderr}")
    return output


def named(folder, ending):
    """The one file of a package with this ending, or None."""
    found = list(folder.glob(f"*{ending}"))
    return found[0] if len(found) == 1 else None


def unpack(folder):
    """Unpacks the zip of a package beside it. Returns the folder that was in it."""
    target = WORK / f"{folder.name}-unpacked"
    with zipfile.ZipFile(named(folder, ".zip")) as archive:
        archive.extractall(target)
    return next(target.iterdir())


@once
def plain():
    """A package without libraries and signatures, from this tree."""
    return make(WORK / "plain")


@once
def plain_files():
    return unpack(plain())


def unpack_installer(folder):
    """Extracts the MSI of a package beside it. Returns the folder of its files, in which the library of
    its custom actions is an additional one."""
    target = WORK / f"{folder.name}-extracted"
    installer = named(folder, ".msi")
    subprocess.run(["msiextract", "-C", target, installer], check=True, stdout=subprocess.DEVNULL)
    files = target / "Veltrane VPN"
    with open(files / "VeltraneSetup.dll", "wb") as library:
        subprocess.run(["msiinfo", "extract", installer, "Binary.VeltraneSetup"], check=True, stdout=library)
    return files


@once
def installed_files():
    return unpack_installer(plain())


@once
def elsewhere():
    """A copy of this tree in another folder, without its history and without anything built."""
    copy = WORK / "another folder" / "with a longer name"
    files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT, check=True,
                           text=True, stdout=subprocess.PIPE).stdout.split("\0")
    for file in filter(None, files):
        if (ROOT / file).exists():
            (copy / file).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(ROOT / file, copy / file)
    return copy


# Settings that programs of a build look at, and a default of somebody else.
ELSEWHERE = {"TZ": "Asia/Kolkata", "LC_ALL": "C", "LANG": "C", "CXXFLAGS": "-O1", "RCFLAGS": "-DOTHER",
             "LDFLAGS": "-Wl,--stack,4194304", "ZIPOPT": "-l"}


@once
def built_elsewhere():
    """The package that ./package makes there by default, in dist/, for somebody with other settings."""
    finished = run_package(tree=elsewhere(), umask=0o077, SOURCE_DATE_EPOCH=str(EPOCH), **ELSEWHERE)
    if finished.returncode:
        raise AssertionError(f"./package failed: {finished.stdout}{finished.stderr}")
    return elsewhere() / "dist"


@once
def libraries():
    """A folder with a tunnel.dll and a wireguard.dll that have the exports of the real ones."""
    folder = WORK / "libraries"
    folder.mkdir()
    shutil.copy(ROOT / "build/windows/lab/plain/tunnel.dll", folder)
    functions = ("WireGuardCreateAdapter", "WireGuardSetConfiguration", "WireGuardSetAdapterState",
                 "WireGuardCloseAdapter")
    make_library(folder / "wireguard.dll", functions)
    return folder


def make_library(file, functions):
    """Makes a 64-bit DLL that exports these functions."""
    source = file.with_suffix(".c")
    source.write_text("".join(f"__declspec(dllexport) void {name}(void) {{}}\n" for name in functions))
    subprocess.run(["x86_64-w64-mingw32-gcc-posix", "-shared", "-s", source, "-o", file], check=True)
    source.unlink()


@once
def signed():
    """A package with libraries, signed with a certificate of the tests."""
    return make(WORK / "signed", "--with", libraries(), "--sign",
                SIGN_PKCS12=str(certificates.pkcs12(WORK)), SIGN_PASSWORD=certificates.PASSWORD)


@once
def signed_files():
    return unpack(signed())


@once
def signed_installed_files():
    return unpack_installer(signed())
