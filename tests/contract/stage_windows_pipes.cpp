// The stage over Windows: pipes.

#include <aclapi.h>

#include "tests/contract/stage_windows.h"

namespace veltrane::contract {
namespace {

// The handle of the one pipe instance that this process serves; what is read from a pipe of the
// system's own making has no messages.
HANDLE FindServedPipe() {
  for (const HANDLE handle : AllHandles()) {
    DWORD flags = 0;
    if (GetNamedPipeInfo(handle, &flags, nullptr, nullptr, nullptr) &&
        (flags & PIPE_SERVER_END) != 0 && (flags & PIPE_TYPE_MESSAGE) != 0) {
      return handle;
    }
  }
  ADD_FAILURE() << "this process serves no pipe";
  return nullptr;
}

std::vector<AccessListEntry> ReadAccess(HANDLE pipe) {
  ACL* list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  EXPECT_EQ(GetSecurityInfo(pipe, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                            &list, nullptr, &descriptor),
            DWORD{ERROR_SUCCESS});
  std::vector<AccessListEntry> entries;
  if (list != nullptr) entries = EntriesOf(list);
  LocalFree(descriptor);
  return entries;
}

}  // namespace

std::wstring Stage::PipeName() const {
  return L"\\\\.\\pipe\\VeltraneContract-" + std::to_wstring(GetCurrentProcessId());
}

PipeFacts Stage::ServedPipe() {
  const HANDLE pipe = FindServedPipe();
  DWORD flags = 0, mode = 0, out = 0, in = 0, instances = 0, inheritance = 0;
  EXPECT_TRUE(GetNamedPipeInfo(pipe, &flags, &out, &in, &instances));
  EXPECT_TRUE(GetNamedPipeHandleStateW(pipe, &mode, nullptr, nullptr, nullptr, nullptr, 0));
  EXPECT_TRUE(GetHandleInformation(pipe, &inheritance));
  return {.pipe_mode = (flags & PIPE_TYPE_MESSAGE) | mode,
          .max_instances = instances,
          .out_buffer_bytes = out,
          .in_buffer_bytes = in,
          .access = ReadAccess(pipe),
          .inheritable = (inheritance & HANDLE_FLAG_INHERIT) != 0};
}

std::uint32_t Stage::LevelGrantedByClient() {
  EXPECT_TRUE(ImpersonateNamedPipeClient(FindServedPipe()));
  HANDLE handle = nullptr;
  EXPECT_TRUE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &handle));
  RevertToSelf();
  const UniqueHandle token(handle);
  SECURITY_IMPERSONATION_LEVEL level{};
  DWORD size = 0;
  EXPECT_TRUE(
      GetTokenInformation(token.get(), TokenImpersonationLevel, &level, sizeof(level), &size));
  return static_cast<std::uint32_t>(level);
}

struct MessageClient::State {
  std::wstring name;
  UniqueHandle pipe;
};

MessageClient::MessageClient(std::wstring pipe) : state_(new State{std::move(pipe), nullptr}) {}
MessageClient::~MessageClient() = default;

std::uint32_t MessageClient::Open() {
  Close();
  const HANDLE handle = CreateFileW(state_->name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return GetLastError();
  state_->pipe.reset(handle);
  DWORD mode = PIPE_READMODE_MESSAGE;
  EXPECT_TRUE(SetNamedPipeHandleState(handle, &mode, nullptr, nullptr));
  return ERROR_SUCCESS;
}

bool MessageClient::Send(std::string_view message) {
  DWORD written = 0;
  return WriteFile(state_->pipe.get(), message.data(), static_cast<DWORD>(message.size()), &written,
                   nullptr) != 0;
}

std::optional<std::string> MessageClient::Receive() {
  std::string message(65536, '\0');
  DWORD size = 0;
  if (!ReadFile(state_->pipe.get(), message.data(), static_cast<DWORD>(message.size()), &size,
                nullptr)) {
    return std::nullopt;
  }
  message.resize(size);
  return message;
}

void MessageClient::Close() { state_->pipe.reset(); }

}  // namespace veltrane::contract
