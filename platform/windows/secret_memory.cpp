#include "platform/secret_memory.h"

#include <windows.h>

namespace veltrane {

void WipeMemory(void* memory, std::size_t bytes) { SecureZeroMemory(memory, bytes); }

}  // namespace veltrane
