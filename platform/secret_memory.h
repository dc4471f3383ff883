#pragma once

#include <cstddef>
#include <span>

namespace veltrane {

// Overwrites memory with zeros in a way that the compiler keeps, also where nothing reads the
// memory any more (SecureZeroMemory).
void WipeMemory(std::span<std::byte> memory);

}  // namespace veltrane
