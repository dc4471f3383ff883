// The stage over the simulated machine, but for its network.

#include "tests/contract/stage_simulated.h"

#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <mutex>
#include <utility>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/ipv4.h"
#include "platform/service_codes.h"
#include "tests/simulated/pipe_client.h"

namespace veltrane::contract {
namespace {

using simulated::Machine;

constexpr wchar_t kFolder[] = L"C:\\Contract\\";
constexpr std::uint32_t kManyPolls = 1'000'000;

std::mutex told_mutex;
std::vector<std::string> told;

std::vector<std::string> TakeTold() {
  const std::lock_guard<std::mutex> lock(told_mutex);
  return std::exchange(told, {});
}

// What the C library writes of a wide text: a byte of each unit.
std::string BytesOf(const std::wstring& text) {
  std::string bytes;
  for (const wchar_t unit : text) bytes.push_back(static_cast<char>(unit));
  return bytes;
}

std::vector<AccessListEntry> ListOf(const std::vector<AccessEntry>& entries) {
  std::vector<AccessListEntry> list;
  for (const AccessEntry& entry : entries) {
    list.push_back({simulated::SidText(entry.sid), true, entry.access_mask});
  }
  return list;
}

}  // namespace

bool OnWine() { return false; }
bool OnSimulatedMachine() { return true; }

Guest::Guest(const char* guest_name, void (*guest)()) : name(guest_name), run(guest) {}

void Tell(const std::string& line) {
  const std::lock_guard<std::mutex> lock(told_mutex);
  told.push_back(line);
}

std::vector<std::string> OwnArguments() {
  return simulated::ClientSide::Current().watchdogs.started.back();
}

Stage::Stage() : state_(std::make_unique<State>()) {
  state_->machine.files.AddFolder(kFolder);
  TakeTold();
}
Stage::~Stage() = default;

std::wstring Stage::Path(const std::wstring& name) const { return kFolder + name; }

void Stage::PutFile(const std::wstring& path, const std::string& bytes) {
  state_->machine.files.AddFile(path, bytes);
}

std::optional<std::string> Stage::Bytes(const std::wstring& path) const {
  return state_->machine.files.Bytes(path);
}

void Stage::Hold(const std::wstring& path, std::uint32_t share) {
  state_->machine.files.HoldOpen(path, share);
}

void Stage::LetGo(const std::wstring& path) {
  if (IsThere(path)) state_->machine.files.Release(path);
}

std::wstring Stage::PathOnSmallDisk() { return Path(L"small_disk"); }

void Stage::FillDisk() { state_->machine.FailWhere("OutputFile.Write", "small_disk", 112); }

void Stage::Forbid(const std::wstring& folder, const std::wstring& file) {
  state_->machine.FailWhere("TestExistence", simulated::Narrow(folder + L"\\" + file), 5);
}

void Stage::PutAccessList(const std::wstring& path, const AccessList& list) {
  state_->client.SetAccessList(path, list);
}

void Stage::SetVariable(const std::wstring& name, const std::wstring& value) {
  state_->machine.environment.SetProcess(name, value);
}

void Stage::UnsetVariable(const std::wstring& name) {
  state_->machine.environment.UnsetProcess(name);
}

void Stage::PutRegistryText(RegistryRoot root, const std::wstring& name,
                            const std::wstring& value) {
  state_->machine.registry.SetText(root, RegistryKeyOf(root), name, value);
  state_->machine.registry.SetWriteTime(root, RegistryKeyOf(root), state_->machine.clock.Ticks());
}

// The simulated registry holds what a reader gets.
void Stage::PutExpandableText(RegistryRoot root, const std::wstring& name,
                              const std::wstring& value) {
  const std::size_t first = value.find(L'%'), last = value.rfind(L'%');
  const std::wstring variable = value.substr(first + 1, last - first - 1);
  const std::wstring expanded = state_->machine.environment.Process(variable, 32767);
  state_->machine.registry.SetExpandableText(
      root, RegistryKeyOf(root), name, value.substr(0, first) + expanded + value.substr(last + 1));
}

void Stage::PutRegistryNumber(RegistryRoot root, const std::wstring& name, std::uint32_t value) {
  state_->machine.registry.SetNumber(root, RegistryKeyOf(root), name, value);
}

void Stage::PutRegistryKey(const std::wstring& name) {
  state_->machine.registry.AddKey(RegistryRoot::kLocalMachine,
                                  kRegistryKey + std::wstring(L"\\") + name);
}

void Stage::ForbidRegistryKey() {
  for (const char* call : {"FindRegistryText", "ReadRegistryNumber", "ListRegistryKeys",
                           "ReadKeyWriteTime", "WriteRegistryTexts"}) {
    state_->machine.FailWhere(call, "HKLM " + simulated::Narrow(kRegistryKey), 5);
  }
}

std::int64_t Stage::OtherClock() const { return state_->machine.clock.Ticks(); }

std::uint64_t Stage::MillisecondsAwake() const { return state_->machine.clock.Uptime(); }

std::int64_t Stage::OwnStart() {
  const std::int64_t start = OtherClock() - 5 * 60 * kTicksPerSecond;
  state_->client.process_starts[OwnProcessId()] = start;
  return start;
}

Printed Stage::Capture(const std::function<void()>& act) {
  state_->machine.console.Clear();
  state_->client.ClearScreen();
  act();
  const auto& console = state_->machine.console;
  return {.output = BytesOf(console.Output()) + state_->client.Output(),
          .error = BytesOf(console.Error()) + state_->client.Error(),
          .debugger = BytesOf(console.Debugger())};
}

void Stage::SetInputFile(const std::string& bytes) { state_->client.input = bytes; }
void Stage::SetInputPipe(const std::string& bytes) { state_->client.input = bytes; }
void Stage::CloseInput() {}

std::optional<bool> Stage::SendConsoleEvent(std::uint32_t control_type) {
  return state_->machine.console.SendEvent(control_type);
}

std::optional<std::uint32_t> Stage::ConsoleSession() {
  state_->machine.sessions.SetConsoleSession(3);
  state_->machine.sessions.AddSession(3, 0);
  return 3;
}

bool Stage::InRemoteSession() {
  state_->machine.sessions.SetRemoteSession(true);
  return true;
}

std::optional<std::uint32_t> Stage::RemoteSession(std::uint32_t client_address) {
  state_->machine.sessions.AddActive(5, simulated::IpText(client_address));
  return 5;
}

std::optional<SessionUser> Stage::UserToLookUp() {
  const SessionUser user{3, simulated::NtSid({21, 1, 2, 3, 1001})};
  state_->machine.sessions.SetUser(user.session, user.sid);
  return user;
}

SpareLibrary Stage::PutLibrary() {
  state_->libraries.push_back({L"spare.dll", "SpareFunction"});
  state_->machine.libraries.AddExport(L"spare.dll", "SpareFunction", [] {});
  return state_->libraries.back();
}

bool Stage::IsLoaded(const std::wstring& library) {
  const auto& libraries = state_->machine.libraries;
  return libraries.Loads(library) > libraries.Frees(library);
}

std::wstring Stage::ExecutableFile() { return L"VeltraneVpnService.exe"; }

std::wstring Stage::PipeName() const { return L"\\\\.\\pipe\\VeltraneContract"; }

PipeFacts Stage::ServedPipe() {
  const simulated::CreatedPipe created = state_->machine.pipes.Created().back();
  PipeFacts facts{.pipe_mode = created.parameters.pipe_mode,
                  .max_instances = created.parameters.max_instances,
                  .out_buffer_bytes = created.parameters.out_buffer_bytes,
                  .in_buffer_bytes = created.parameters.in_buffer_bytes};
  if (created.access) facts.access = ListOf(*created.access);
  return facts;
}

std::uint32_t Stage::OwnProcessId() const { return *state_->client.pipe_server; }

std::uint32_t Stage::LevelGrantedByClient() { return 0; }

std::size_t Stage::OpenHandles() {
  return static_cast<std::size_t>(state_->machine.files.OpenStreams()) +
         state_->machine.pipes.OpenInstances();
}

std::wstring Stage::NewServiceName() {
  state_->service_names.push_back(L"VeltraneContract");
  return state_->service_names.back();
}

std::wstring Stage::ServiceProgram(Pace pace) {
  auto& services = state_->machine.services;
  if (pace == Pace::kSlowStart) services.RunAfterPolls(kManyPolls);
  if (pace == Pace::kSlowStop) services.NeverStop();
  return L"\"C:\\Contract\\service.exe\"";
}

void Stage::LetServicesGoOn() {
  for (const std::wstring& name : state_->service_names) {
    const auto record = state_->machine.services.Find(name);
    if (!record) continue;
    const bool starts = record->state == kServiceStartPending;
    state_->machine.services.SetState(name, starts ? kServiceRunning : kServiceStopped);
  }
}

std::optional<InstalledService> Stage::FindService(const std::wstring& name) {
  const auto record = state_->machine.services.Find(name);
  if (!record) return std::nullopt;
  return InstalledService{record->settings, L"LocalSystem", record->sid_type};
}

void Stage::HoldService(const std::wstring& name) { state_->machine.services.HoldHandle(name); }

void Stage::LetGoOfService(const std::wstring& name) {
  state_->machine.services.ReleaseHandle(name);
}

std::vector<std::string> Stage::GuestArguments(const Guest& guest) {
  state_->client.watchdogs.Run([&guest](const std::vector<std::string>&) { guest.run(); });
  return {};
}

std::vector<std::string> Stage::ToldByGuest() {
  const std::lock_guard<std::mutex> lock(told_mutex);
  return told;
}

void Stage::EndSession() { state_->client.watchdogs.MustEnd(); }
bool Stage::IsInheritedBy(const std::function<void()>&) { return false; }

GuestRun Stage::RunInTerminal(std::uint16_t columns, const Guest& guest, const std::string& keys) {
  state_->client.console_is_interactive = true;
  state_->client.watchdogs.has_client = false;
  state_->client.Type(keys);
  state_->client.ClearScreen();
  state_->client.SetTerminal(veltrane::Stream::kOutput, columns);
  state_->client.SetTerminal(veltrane::Stream::kError, columns);
  guest.run();
  return {.told = TakeTold(), .screen = state_->client.Output() + state_->client.Error()};
}

GuestRun Stage::RunFromLongPath(const Guest& guest) {
  const std::wstring path = L"C:\\" + std::wstring(290, L'x') + L"\\contract_tests.exe";
  state_->machine.libraries.SetExecutablePath(path);
  guest.run();
  return {.told = TakeTold(), .executable_path = path};
}

GuestRun Stage::RunInJob(bool may_leave, const Guest& guest) {
  state_->client.watchdogs.leaves_job = may_leave;
  state_->client.ancestors->insert(state_->client.ancestors->begin(), ExecutableFile());
  guest.run();
  state_->client.ancestors->erase(state_->client.ancestors->begin());
  return {.told = TakeTold()};
}

void Stage::BeStartedByHand() { state_->machine.FailAlways("RunServiceDispatcher", 1063); }

struct MessageClient::State {
  simulated::PipeClient client;
};

MessageClient::MessageClient(std::wstring pipe)
    : state_(new State{simulated::PipeClient(std::move(pipe))}) {}
MessageClient::~MessageClient() = default;

std::uint32_t MessageClient::Open() { return state_->client.TryConnect(); }
bool MessageClient::Send(std::string_view message) { return state_->client.Send(message); }
std::optional<std::string> MessageClient::Receive() { return state_->client.Receive(); }
void MessageClient::Close() { state_->client.Close(); }

struct RunningService::State {
  Machine& machine;
  std::thread program;
};

RunningService::RunningService(Stage& stage, const Guest& program)
    : state_(new State{stage.state().machine, std::thread(program.run)}) {}

RunningService::~RunningService() {
  if (state_->program.joinable()) state_->program.join();
}

ServiceStatus RunningService::WaitForState(std::uint32_t state) {
  state_->machine.service_host.WaitForState(state);
  return state_->machine.service_host.Statuses().back();
}

void RunningService::Send(std::uint32_t control) {
  state_->machine.service_host.SendControl(control);
}

GuestRun RunningService::WaitForEnd() {
  state_->program.join();
  return {.told = TakeTold()};
}

bool AbortsWhenStopped(Stage& stage, const Guest& program) {
  const pid_t child = fork();
  if (child == 0) {
    RunningService service(stage, program);
    service.WaitForState(kServiceRunning);
    service.Send(kControlStop);
    service.WaitForEnd();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
}

}  // namespace veltrane::contract
