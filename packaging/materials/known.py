"""What may come into an executable, as it was reviewed: each component, the files of the build machine
that are parts of it, and where its licences are written. Anything else stops the package."""
import fnmatch
from dataclasses import dataclass

GCC = "/usr/lib/gcc/x86_64-w64-mingw32/*-posix"
MINGW = "/usr/x86_64-w64-mingw32"
MINGW_HEADERS = "/usr/share/mingw-w64/include"


@dataclass(frozen=True)
class Known:
    """A component. Its licences are found in one of three ways: by sources, by headers, or by licence."""
    name: str
    about: str
    packages: tuple  # Debian packages, as globs
    files: tuple  # their files, as globs
    # Compiled from this folder of the sources, as the copyright file names it, without those in it.
    sources: str = ""
    not_sources: tuple = ()
    # Headers: (a folder, the folders of the sources that its headers come from), more than once.
    headers: tuple = ()
    # A copyright file that is not machine-readable: the licence, and the ends of its text.
    licence: str = ""
    text_from: str = ""
    text_to: str = ""


def gcc_runtime(name, about, *files):
    return Known(name, about, ("g++-mingw-w64-x86-64-posix", "gcc-mingw-w64-x86-64-posix*"), files,
                 licence="GPL-3.0-or-later WITH GCC-exception-3.1",
                 text_from="GCC RUNTIME LIBRARY EXCEPTION\n",
                 text_to="requirements of the license of GCC.\n")


def mingw(name, about, files, **licences):
    return Known(name, about, ("mingw-w64-x86-64-dev", "mingw-w64-common"), files, **licences)


HEADER_SOURCES = tuple(f"mingw-w64-headers/{folder}" for folder in
                       ("crt", "include", "defaults/include", "direct-x/include"))

# The first that has a file counts.
KNOWN = (
    Known("CLI11", "reads the command line",
          ("libcli11-dev",), ("/usr/include/CLI/*",), headers=(("/usr/include", ("include",)),)),
    Known("nlohmann-json", "reads and writes JSON",
          ("nlohmann-json3-dev",), ("/usr/include/nlohmann/*",), headers=(("/usr/include", ("include",)),)),
    gcc_runtime("libstdc++", "the C++ standard library of GCC", f"{GCC}/include/c++/*",
                f"{GCC}/libstdc++.a", f"{GCC}/libstdc++fs.a", f"{GCC}/libsupc++.a"),
    gcc_runtime("libssp", "the stack protector of GCC", f"{GCC}/libssp.a", f"{GCC}/libssp_nonshared.a",
                f"{GCC}/include/ssp/*"),
    gcc_runtime("libgcc", "the runtime of GCC", f"{GCC}/libgcc.a", f"{GCC}/libgcc_eh.a", f"{GCC}/crt*.o",
                f"{GCC}/include/*.h", f"{GCC}/include-fixed/*.h"),
    mingw("winpthreads", "the POSIX threads of MinGW-w64",
          (f"{MINGW}/lib/libpthread.a", f"{MINGW}/lib/libwinpthread.a", f"{MINGW_HEADERS}/pthread*.h",
           f"{MINGW_HEADERS}/sched.h", f"{MINGW_HEADERS}/semaphore.h"),
          sources="mingw-w64-libraries/winpthreads/",
          not_sources=("mingw-w64-libraries/winpthreads/tests_pthread/",)),
    mingw("mingw-w64-runtime", "the C runtime of MinGW-w64, and what calls the DLLs of Windows",
          (f"{MINGW}/lib/*.a", f"{MINGW}/lib/*.o"),
          sources="mingw-w64-crt/",
          not_sources=("mingw-w64-crt/profile/", "mingw-w64-crt/testcases/")),
    mingw("mingw-w64-headers", "the headers of MinGW-w64 for C and Windows",
          (f"{MINGW_HEADERS}/*", f"{MINGW}/include/*"),
          headers=((MINGW_HEADERS, HEADER_SOURCES), (f"{MINGW}/include", HEADER_SOURCES))),
)


def matches(globs, name):
    return any(fnmatch.fnmatchcase(name, glob) for glob in globs)


def component_of(file, package):
    """The Known whose part this file of this Debian package is, or None."""
    return next((known for known in KNOWN if matches(known.packages, package) and matches(known.files, file)),
                None)
