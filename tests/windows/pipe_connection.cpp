#include "tests/windows/pipe_connection.h"

#include <gtest/gtest.h>

#include "ipc/pipe_name.h"

namespace veltrane::windows_tests {
namespace {

constexpr DWORD kPatienceMilliseconds = 120'000;
constexpr DWORD kRetryMilliseconds = 20;

HANDLE OpenPipe() {
  return CreateFileW(kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                     nullptr);
}

}  // namespace

PipeConnection::PipeConnection() {
  const ULONGLONG deadline = GetTickCount64() + kPatienceMilliseconds;
  while ((handle_ = OpenPipe()) == INVALID_HANDLE_VALUE && GetTickCount64() < deadline) {
    const bool busy = GetLastError() == ERROR_PIPE_BUSY;
    if (!busy || !WaitNamedPipeW(kPipeName, kPatienceMilliseconds)) Sleep(kRetryMilliseconds);
  }
  if (handle_ == INVALID_HANDLE_VALUE) ADD_FAILURE() << "the control pipe is not there";
  DWORD mode = PIPE_READMODE_MESSAGE;
  SetNamedPipeHandleState(handle_, &mode, nullptr, nullptr);
}

bool PipeConnection::Write(const std::string& message) {
  DWORD written = 0;
  return WriteFile(handle_, message.data(), static_cast<DWORD>(message.size()), &written,
                   nullptr) != 0;
}

std::optional<std::string> PipeConnection::Read() {
  std::string message(65536, '\0');
  DWORD size = 0;
  if (!ReadFile(handle_, message.data(), static_cast<DWORD>(message.size()), &size, nullptr)) {
    return std::nullopt;
  }
  message.resize(size);
  return message;
}

void PipeConnection::Close() {
  if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
  handle_ = INVALID_HANDLE_VALUE;
}

DWORD TryToConnect() {
  const HANDLE handle = OpenPipe();
  if (handle == INVALID_HANDLE_VALUE) return GetLastError();
  CloseHandle(handle);
  return ERROR_SUCCESS;
}

std::string Ask(const std::string& request) {
  PipeConnection connection;
  connection.Write(request);
  return connection.Read().value_or("(no reply)");
}

}  // namespace veltrane::windows_tests
