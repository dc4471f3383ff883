#pragma once

// Memory that held a secret.
// Threads: any.
// Windows: "SecureZeroMemory".

#include <cstddef>
#include <span>

namespace veltrane {

// Overwrites memory with zeros (SecureZeroMemory). The compiler keeps the writes even when nothing
// reads the memory afterwards.
void WipeMemory(std::span<std::byte> memory);

}  // namespace veltrane
