#pragma once

#include <string>

namespace veltrane {

// The bytes of a 64-bit library with one section that exports one name: headers at 0x80, section
// data at 0x200 loaded at 0x1000, the name at its end.
inline std::string TunnelLibrary(const std::string& name) {
  std::string file(0x240, '\0');
  const auto put = [&file](std::size_t offset, std::size_t size, std::size_t value) {
    for (std::size_t i = 0; i < size; ++i) {
      file[offset + i] = static_cast<char>(static_cast<unsigned char>(value >> (8 * i)));
    }
  };
  file.replace(0, 2, "MZ");
  put(0x3C, 4, 0x80);
  file.replace(0x80, 2, "PE");
  put(0x84, 2, 0x8664);        // machine
  put(0x86, 2, 1);             // sections
  put(0x94, 2, 0xF0);          // size of the optional header
  put(0x98, 2, 0x20B);         // PE32+
  put(0x98 + 112, 4, 0x1000);  // export directory
  put(0x188 + 12, 4, 0x1000);  // the section's address
  put(0x188 + 16, 4, 0x1000);  // its size in the file
  put(0x188 + 20, 4, 0x200);   // its place in the file
  put(0x200 + 24, 4, 1);       // exported names
  put(0x200 + 32, 4, 0x1030);  // their table
  put(0x230, 4, 0x1040);       // the first name
  return file + name + '\0';
}

}  // namespace veltrane
