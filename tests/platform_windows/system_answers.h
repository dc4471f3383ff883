#pragma once

// Stand-ins for the functions of Windows from which platform/windows/ reads structures. They take
// the place of the system's own in the executable that links them, and answer what a test says.

#include <windows.h>
#include <winsock2.h>

#include <cstddef>
#include <cstring>
#include <optional>
#include <vector>

namespace veltrane {

// Appends the bytes of a value.
template <typename Value>
void Append(std::vector<std::byte>& bytes, const Value& value) {
  const std::size_t begin = bytes.size();
  bytes.resize(begin + sizeof(Value));
  std::memcpy(bytes.data() + begin, &value, sizeof(Value));
}

// What the system answers; the answers of one test do not outlive it.
struct SystemAnswers {
  SystemAnswers();
  SystemAnswers(const SystemAnswers&) = delete;
  SystemAnswers& operator=(const SystemAnswers&) = delete;
  ~SystemAnswers();

  // Any table of IP Helper: the size that the first call asks for is that of these bytes, which the
  // second call gives.
  std::vector<std::byte> table;

  // The first adapter of the machine.
  SOCKET_ADDRESS adapter_address{};

  // The client address of every session. Without one the call succeeds and gives no buffer.
  std::optional<std::vector<std::byte>> client_address;
  int client_address_buffers = 0;  // given and not freed
};

}  // namespace veltrane
