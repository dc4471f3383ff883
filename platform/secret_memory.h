#pragma once

#include <cstddef>

namespace veltrane {

// Overwrites memory with zeros in a way that the compiler keeps, also where nothing reads the
// memory any more (SecureZeroMemory).
void WipeMemory(void* memory, std::size_t bytes);

}  // namespace veltrane
