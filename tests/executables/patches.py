"""Ways to take a property away from a finished executable, for scripts/check_executables to see."""
import pefile


def header(change):
    """Changes the fields of the headers: change(pe)."""
    def patch(content):
        pe = pefile.PE(data=content)
        change(pe)
        return bytes(pe.write())
    return patch


def without_flag(flag):
    def change(pe):
        pe.OPTIONAL_HEADER.DllCharacteristics &= ~flag
    return header(change)


def low_image_base(pe):
    pe.OPTIONAL_HEADER.ImageBase = 0x400000


def stripped_relocations(pe):
    pe.FILE_HEADER.Characteristics |= 0x0001


def no_relocations(pe):
    directory = pe.OPTIONAL_HEADER.DATA_DIRECTORY[pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_BASERELOC"]]
    directory.VirtualAddress = directory.Size = 0


def executable_data(pe):
    next(section for section in pe.sections if section.Name.startswith(b".data")).Characteristics |= 0x20000000


def writable_code(pe):
    next(section for section in pe.sections if section.Name.startswith(b".text")).Characteristics |= 0x80000000


def a_time(pe):
    pe.FILE_HEADER.TimeDateStamp = 1


def text(old, new):
    """Replaces the first occurrence by as many bytes."""
    def patch(content):
        assert old in content, old
        return content.replace(old, new.ljust(len(old)), 1)
    return patch


def wide_text(old, new):
    return text(old.encode("utf-16-le"), new.encode("utf-16-le"))


# What the file then has, the property that does not hold, and the function that makes it so.
PATCHES = [
    ("no address space layout randomisation", "ASLR", without_flag(0x0040)),
    ("addresses below 4 GiB", "high-entropy ASLR", without_flag(0x0020)),
    ("a low image base", "high-entropy ASLR", header(low_image_base)),
    ("an executable stack", "NX", without_flag(0x0100)),
    ("stripped relocations", "relocations", header(stripped_relocations)),
    ("no relocation", "relocations", header(no_relocations)),
    ("executable data", "sections", header(executable_data)),
    ("writable code", "sections", header(writable_code)),
    ("no function that calls libssp", "stack protector", text(b"stack smashing", b"stack")),
    ("a foreign library", "imports", text(b"WTSAPI32.dll", b"foreign1.dll")),
    ("a path", "build machine", text(b"poc_default_route_detected", b"/home/someone/main.cpp")),
    ("a wide path", "build machine", wide_text("VeltraneVpnTunnel", "/home/someone")),
    ("another version", "version", wide_text("ProductVersion\0" "1.", "ProductVersion\0" "2.")),
    ("another version number", "version",
     text(b"\xbd\x04\xef\xfe\0\0\1\0\0\0\1\0", b"\xbd\x04\xef\xfe\0\0\1\0\0\0\2\0")),
    ("another name", "version", wide_text("VeltraneVpnService.exe", "Service.exe")),
    ("no copyright", "version", wide_text("Copyright (c)", "")),
    ("a demand for administrators", "manifest", text(b'"asInvoker"', b'"requireAd"')),
    ("no supported system", "manifest", text(b"{8e0f7a12", b"{00000000")),
    ("short paths", "manifest", text(b">true</longPathAware>", b">fals</longPathAware>")),
    ("a code page", "manifest", text(b"<!-- Windows 10, Windows 11, and the servers since 2016 -->",
                                     b"<activeCodePage>UTF-8</activeCodePage>")),
    ("a time", "times", header(a_time)),
]
