#include "platform/secret_memory.h"

#include <windows.h>

namespace veltrane {

void WipeMemory(std::span<std::byte> memory) { SecureZeroMemory(memory.data(), memory.size()); }

}  // namespace veltrane
