// The stage over Windows: files, environment variables, libraries and sessions.

#include "tests/contract/stage_windows.h"

#include <sddl.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "platform/sessions.h"

namespace veltrane::contract {
namespace {

const std::chrono::system_clock::time_point own_start = std::chrono::system_clock::now();

constexpr wchar_t kFullDevice[] = L"Z:\\dev\\full";

// Files that Hold has opened.
std::map<std::wstring, UniqueHandle>& HeldFiles() {
  static std::map<std::wstring, UniqueHandle> held;
  return held;
}

std::optional<std::wstring> ReadVariable(const std::wstring& name) {
  std::wstring value(32767, L'\0');
  SetLastError(ERROR_SUCCESS);
  const DWORD size =
      GetEnvironmentVariableW(name.c_str(), value.data(), static_cast<DWORD>(value.size()));
  if (size == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
  value.resize(size);
  return value;
}

void WriteVariable(Stage::State& state, const std::wstring& name,
                   const std::optional<std::wstring>& value) {
  const auto write = [name](const std::optional<std::wstring>& text) {
    SetEnvironmentVariableW(name.c_str(), text ? text->c_str() : nullptr);
  };
  state.undo.push_back([write, earlier = ReadVariable(name)] { write(earlier); });
  write(value);
}

// Sets an access list that is written in the security descriptor definition language.
void SetAccess(const std::wstring& path, const std::wstring& text) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  EXPECT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1,
                                                                   &descriptor, nullptr));
  EXPECT_TRUE(SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor));
  LocalFree(descriptor);
}

Sid OwnSid() {
  HANDLE handle = nullptr;
  EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &handle));
  const UniqueHandle token(handle);
  alignas(TOKEN_USER) unsigned char buffer[256];
  DWORD size = 0;
  EXPECT_TRUE(GetTokenInformation(token.get(), TokenUser, buffer, sizeof(buffer), &size));
  const PSID sid = reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid;
  const auto* bytes = static_cast<const unsigned char*>(sid);
  return {{bytes, bytes + GetLengthSid(sid)}};
}

std::int64_t TicksOf(std::chrono::system_clock::time_point time) {
  constexpr std::int64_t kTicksPerSecond = 10'000'000;
  return std::chrono::system_clock::to_time_t(time) * kTicksPerSecond;
}

}  // namespace

bool OnWine() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

bool OnSimulatedMachine() { return false; }

std::wstring OwnProgram() {
  std::wstring path(32767, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

std::wstring UniqueNumber() {
  static std::atomic<int> count = 0;
  return std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++count);
}

std::vector<HANDLE> AllHandles() {
  constexpr std::uintptr_t kStep = 4, kLast = 0x2000;
  std::vector<HANDLE> handles;
  for (std::uintptr_t number = kStep; number < kLast; number += kStep) {
    const auto handle = reinterpret_cast<HANDLE>(number);
    DWORD flags = 0;
    if (GetHandleInformation(handle, &flags)) handles.push_back(handle);
  }
  return handles;
}

std::string SidText(PSID sid) {
  char* text = nullptr;
  EXPECT_TRUE(ConvertSidToStringSidA(sid, &text));
  const std::string copy = text;
  LocalFree(text);
  return copy;
}

std::vector<AccessListEntry> EntriesOf(ACL* list) {
  std::vector<AccessListEntry> entries;
  for (DWORD i = 0; i < list->AceCount; ++i) {
    void* memory = nullptr;
    EXPECT_TRUE(GetAce(list, i, &memory));
    auto* entry = static_cast<ACCESS_ALLOWED_ACE*>(memory);
    entries.push_back(
        {SidText(&entry->SidStart), entry->Header.AceType == ACCESS_ALLOWED_ACE_TYPE, entry->Mask});
  }
  return entries;
}

Stage::Stage() : state_(std::make_unique<State>()) {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / (L"VeltraneContract-" + UniqueNumber());
  std::filesystem::remove_all(folder);  // of a run that did not come to its end
  std::filesystem::create_directory(folder);
  state_->folder = folder.wstring() + L"\\";
  state_->undo.push_back([folder] { std::filesystem::remove_all(folder); });
}

Stage::~Stage() {
  while (!state_->undo.empty()) {
    state_->undo.back()();
    state_->undo.pop_back();
  }
}

std::wstring Stage::Path(const std::wstring& name) const { return state_->folder + name; }

void Stage::PutFile(const std::wstring& path, const std::string& bytes) {
  std::ofstream(std::filesystem::path(path), std::ios::binary) << bytes;
}

std::optional<std::string> Stage::Bytes(const std::wstring& path) const {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  if (!file) return std::nullopt;
  return std::string{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Stage::Hold(const std::wstring& path, std::uint32_t share) {
  const HANDLE handle =
      CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(handle, INVALID_HANDLE_VALUE);
  HeldFiles()[path].reset(handle);
  state_->undo.push_back([path] { HeldFiles().erase(path); });
}

void Stage::LetGo(const std::wstring& path) { HeldFiles().erase(path); }

// Wine reaches a device that is always full. Elsewhere another program locks the whole file, with
// the same outcome for who writes.
std::wstring Stage::PathOnSmallDisk() { return OnWine() ? kFullDevice : Path(L"small_disk"); }

void Stage::FillDisk() {
  if (OnWine()) return;
  Hold(PathOnSmallDisk(), kShareRead | kShareWrite);
  OVERLAPPED from_the_start{};
  EXPECT_TRUE(LockFileEx(HeldFiles()[PathOnSmallDisk()].get(), LOCKFILE_EXCLUSIVE_LOCK, 0,
                         1'000'000, 0, &from_the_start));
}

void Stage::Forbid(const std::wstring& folder, const std::wstring& file) {
  constexpr wchar_t kNobody[] = L"D:P", kEverybody[] = L"D:(A;;FA;;;WD)";
  const std::wstring path = folder + L"\\" + file;
  SetAccess(path, kNobody);
  SetAccess(folder, kNobody);
  state_->undo.push_back([=] {
    SetAccess(folder, kEverybody);
    SetAccess(path, kEverybody);
  });
}

void Stage::PutAccessList(const std::wstring& path, const AccessList& list) {
  if (!list.has_list) return SetAccess(path, L"D:NO_ACCESS_CONTROL");
  std::wstring text = list.is_protected ? L"D:P" : L"D:";
  for (const AccessListEntry& entry : list.entries) {
    text += (entry.allows ? L"(A;;" : L"(D;;") + std::to_wstring(entry.access_mask) + L";;;" +
            std::wstring(entry.sid.begin(), entry.sid.end()) + L")";
  }
  SetAccess(path, text);
}

void Stage::SetVariable(const std::wstring& name, const std::wstring& value) {
  WriteVariable(*state_, name, value);
}

void Stage::UnsetVariable(const std::wstring& name) { WriteVariable(*state_, name, std::nullopt); }

std::int64_t Stage::OtherClock() const { return TicksOf(std::chrono::system_clock::now()); }

std::uint64_t Stage::MillisecondsAwake() const {
  constexpr ULONGLONG kTicksPerMillisecond = 10'000;
  ULONGLONG ticks = 0;
  EXPECT_TRUE(QueryUnbiasedInterruptTime(&ticks));
  return ticks / kTicksPerMillisecond;
}

std::int64_t Stage::OwnStart() { return TicksOf(own_start); }

std::optional<std::uint32_t> Stage::ConsoleSession() {
  DWORD session = 0;
  if (!ProcessIdToSessionId(GetCurrentProcessId(), &session)) return std::nullopt;
  if (session == 0 || InRemoteSession()) return std::nullopt;
  return session;
}

bool Stage::InRemoteSession() {
  return ReadVariable(L"SESSIONNAME").value_or(L"").starts_with(L"RDP-");
}

std::optional<std::uint32_t> Stage::RemoteSession(std::uint32_t) { return std::nullopt; }

// Windows lets nobody but LocalSystem look up the user of a session; Wine lets everybody.
std::optional<SessionUser> Stage::UserToLookUp() {
  if (!OnWine()) return std::nullopt;
  return SessionUser{ConsoleSession().value_or(0), OwnSid()};
}

SpareLibrary Stage::PutLibrary() { return {L"mscms.dll", "OpenColorProfileW"}; }

bool Stage::IsLoaded(const std::wstring& library) {
  return GetModuleHandleW(library.c_str()) != nullptr;
}

std::wstring Stage::ExecutableFile() {
  return std::filesystem::path(OwnProgram()).filename().wstring();
}

std::uint32_t Stage::OwnProcessId() const { return GetCurrentProcessId(); }

std::size_t Stage::OpenHandles() { return AllHandles().size(); }

}  // namespace veltrane::contract
