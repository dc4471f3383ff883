#include "platform/pipes.h"

#include <windows.h>

#include "platform/windows/security_attributes.h"

namespace veltrane {

static_assert(kPipeAccessDuplex == PIPE_ACCESS_DUPLEX);
static_assert(kPipeTypeMessage == PIPE_TYPE_MESSAGE);
static_assert(kPipeReadModeMessage == PIPE_READMODE_MESSAGE);
static_assert(kPipeWait == PIPE_WAIT);
static_assert(kErrorPipeConnected == ERROR_PIPE_CONNECTED);

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

void ClosePipeInstance(void* handle) noexcept { CloseHandle(handle); }

std::uint32_t ServerPipe::WaitForClient() {
  return ConnectNamedPipe(handle_.get(), nullptr) ? ERROR_SUCCESS : GetLastError();
}

std::optional<std::size_t> ServerPipe::Read(std::span<char> buffer) {
  DWORD read = 0;
  if (!ReadFile(handle_.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &read, nullptr)) {
    return std::nullopt;
  }
  return read;
}

void ServerPipe::Write(std::string_view bytes) {
  DWORD written = 0;
  WriteFile(handle_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

void ServerPipe::Flush() { FlushFileBuffers(handle_.get()); }

void ServerPipe::Disconnect() { DisconnectNamedPipe(handle_.get()); }

void OpenAndClosePipe(const std::wstring& name) {
  const HANDLE handle = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
  if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
}

}  // namespace veltrane
