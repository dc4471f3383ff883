#include "platform/pipes.h"

#include <windows.h>

#include <utility>

#include "platform/windows/handles.h"
#include "platform/windows/security_attributes.h"

namespace veltrane {

std::optional<ServerPipe> ServerPipe::Create(const PipeParameters& parameters,
                                             const SecurityAttributes* attributes) {
  SECURITY_ATTRIBUTES record{};
  if (attributes != nullptr) record = attributes->record;
  const HANDLE handle = CreateNamedPipeW(
      parameters.name.c_str(), parameters.open_mode, parameters.pipe_mode, parameters.max_instances,
      parameters.out_buffer_bytes, parameters.in_buffer_bytes, parameters.default_timeout_ms,
      attributes != nullptr ? &record : nullptr);
  if (handle == INVALID_HANDLE_VALUE) return std::nullopt;
  return ServerPipe(handle);
}

ServerPipe::ServerPipe(ServerPipe&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)) {}

ServerPipe::~ServerPipe() { UniqueHandle(handle_).reset(); }

std::uint32_t ServerPipe::WaitForClient() {
  return ConnectNamedPipe(handle_, nullptr) ? ERROR_SUCCESS : GetLastError();
}

std::optional<std::size_t> ServerPipe::Read(char* buffer, std::size_t capacity) {
  DWORD read = 0;
  if (!ReadFile(handle_, buffer, static_cast<DWORD>(capacity), &read, nullptr)) return std::nullopt;
  return read;
}

void ServerPipe::Write(std::string_view bytes) {
  DWORD written = 0;
  WriteFile(handle_, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

void ServerPipe::Flush() { FlushFileBuffers(handle_); }

void ServerPipe::Disconnect() { DisconnectNamedPipe(handle_); }

void OpenAndClosePipe(const std::wstring& name) {
  const HANDLE handle = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
  if (handle != INVALID_HANDLE_VALUE) UniqueHandle(handle).reset();
}

}  // namespace veltrane
