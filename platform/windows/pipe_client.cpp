#include "platform/pipe_client.h"

#include <windows.h>

#include <array>
#include <memory>

#include "platform/windows/handles.h"
#include "platform/windows/overlapped.h"

namespace veltrane {
namespace {

static_assert(kErrorNoSuchPipe == ERROR_FILE_NOT_FOUND);
static_assert(kErrorWaitTimedOut == ERROR_SEM_TIMEOUT);
static_assert(kErrorPipeBusy == ERROR_PIPE_BUSY);

constexpr std::size_t kPieceBytes = 65536;
constexpr DWORD kSendMilliseconds = 30'000;

// The handle is overlapped, so that the wait for the reply can be bounded. A read stays pending
// between two calls of Receive, also while something is sent.
struct Connection {
  UniqueHandle pipe;
  Operation write;
  Operation read;
  bool reading = false;
  std::array<char, kPieceBytes> piece;

  ~Connection() {
    if (reading) read.Cancel(pipe.get());
  }
};

Connection& AsConnection(const Owner<void, CloseClientConnection>& connection) {
  return *static_cast<Connection*>(connection.get());
}

}  // namespace

Result<ClientPipe> ClientPipe::Open(const std::wstring& name) {
  const HANDLE handle =
      CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                  FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return Result<ClientPipe>::Failure(GetLastError());
  auto connection = std::make_unique<Connection>();
  connection->pipe.reset(handle);
  for (Operation* operation : {&connection->write, &connection->read}) {
    operation->event.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!operation->event) return Result<ClientPipe>::Failure(GetLastError());
  }
  return ClientPipe(connection.release());
}

void CloseClientConnection(void* connection) noexcept {
  delete static_cast<Connection*>(connection);
}

std::optional<std::uint32_t> ClientPipe::ServerProcessId() const {
  ULONG process_id = 0;
  if (!GetNamedPipeServerProcessId(AsConnection(connection_).pipe.get(), &process_id)) {
    return std::nullopt;
  }
  return process_id;
}

bool ClientPipe::Send(std::string_view message) {
  Connection& connection = AsConnection(connection_);
  Operation& write = connection.write;
  if (WriteFile(connection.pipe.get(), message.data(), static_cast<DWORD>(message.size()), nullptr,
                write.Begin()) == 0 &&
      GetLastError() != ERROR_IO_PENDING) {
    return false;
  }
  if (WaitForSingleObject(write.event.get(), kSendMilliseconds) != WAIT_OBJECT_0) {
    write.Cancel(connection.pipe.get());
  }
  DWORD written = 0;
  return GetOverlappedResult(connection.pipe.get(), &write.overlapped, &written, FALSE) != 0 &&
         written == message.size();
}

ClientPipe::Progress ClientPipe::Receive(std::uint32_t milliseconds, std::string& received) {
  Connection& connection = AsConnection(connection_);
  if (!connection.reading) {
    connection.reading = ReadFile(connection.pipe.get(), connection.piece.data(),
                                  static_cast<DWORD>(connection.piece.size()), nullptr,
                                  connection.read.Begin()) != 0 ||
                         GetLastError() == ERROR_IO_PENDING || GetLastError() == ERROR_MORE_DATA;
    if (!connection.reading) return Progress::kEnded;
  }
  const DWORD wait = WaitForSingleObject(connection.read.event.get(), milliseconds);
  if (wait == WAIT_TIMEOUT) return Progress::kPending;
  if (wait != WAIT_OBJECT_0) connection.read.Cancel(connection.pipe.get());
  connection.reading = false;
  DWORD read = 0;
  const bool whole =
      GetOverlappedResult(connection.pipe.get(), &connection.read.overlapped, &read, FALSE) != 0;
  if (!whole && GetLastError() != ERROR_MORE_DATA) return Progress::kEnded;
  received.append(connection.piece.data(), read);
  return Progress::kPending;
}

std::uint32_t WaitForFreePipe(const std::wstring& name, std::uint32_t milliseconds) {
  return WaitNamedPipeW(name.c_str(), milliseconds) ? ERROR_SUCCESS : GetLastError();
}

}  // namespace veltrane
