#pragma once

// Looking into a DLL without loading it (PE format, Microsoft Portable Executable specification).

#include <string_view>

namespace veltrane {

enum class ExportState {
  kNotALibrary,   // no PE file, or one that is cut off
  kOtherMachine,  // a PE file, but not for 64-bit x86
  kMissing,       // the library does not export this name
  kPresent,
};

// Whether the bytes of a file are a 64-bit library that exports this name. Reads nothing outside
// the bytes, whatever they claim. Pure function.
ExportState FindExport(std::string_view file, std::string_view name);

}  // namespace veltrane
