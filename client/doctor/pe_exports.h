#pragma once

// Looking into a DLL without loading it (PE, the file format of Windows executables).

#include <string_view>

namespace veltrane {

enum class ExportState {
  kNotALibrary,   // not a PE file, or a truncated one
  kOtherMachine,  // a PE file, but not for 64-bit x86
  kMissing,       // the library does not export this name
  kPresent,
};

// Whether a file with these bytes is a 64-bit x86 library that exports this name. Never reads
// outside the bytes, whatever offsets they contain. Looks at the first 96 sections and the first
// 65536 names, the most that Windows knows, and at no more bytes of each than `name` has, so that
// no file takes long. Pure function.
ExportState FindExport(std::string_view file, std::string_view name);

}  // namespace veltrane
