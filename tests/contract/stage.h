#pragma once

// What a case of the contract may arrange on the machine that it runs on, and look at behind the
// back of platform/. It is implemented twice: over the simulated machine and over Windows itself.
//
//   TEST_F(Files, OpenFileCannotBeRemoved) {
//     const std::wstring path = stage.Path(L"file");      // in a folder of this case alone
//     const OutputFile file = OutputFile::Open(path).value();
//     EXPECT_FALSE(RemoveFile(path));                     // what platform/files.h promises
//   }
//
// A case runs on both machines as it stands. One that a machine cannot show says so with its reason
// and is counted as skipped there.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/access_lists.h"
#include "platform/environment.h"
#include "platform/ip_network.h"
#include "platform/pipes.h"
#include "platform/result.h"
#include "platform/routing.h"
#include "platform/security.h"
#include "platform/services.h"

namespace veltrane::contract {

// Whether this is Wine, which says what it is; Windows itself shows every case that its network and
// its user allow.
bool OnWine();
bool OnSimulatedMachine();

#define NOT_ON_WINE(reason) \
  if (OnWine()) GTEST_SKIP() << "not on Wine: " << (reason)
#define NOT_SIMULATED(reason) \
  if (OnSimulatedMachine()) GTEST_SKIP() << "not simulated: " << (reason)

// Tries until the condition holds; false when it still does not after two minutes.
template <typename Condition>
bool Eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// The value of a result. Without one the case fails with the error.
template <typename T>
T Take(Result<T> result) {
  if (!result) throw std::runtime_error("error " + std::to_string(result.Error()));
  return std::move(*result);
}

// Share modes of an open file.
inline constexpr std::uint32_t kShareRead = 1;
inline constexpr std::uint32_t kShareWrite = 2;
inline constexpr std::uint32_t kShareDelete = 4;

// The registry key that cases put their values under.
inline constexpr wchar_t kRegistryKey[] = L"Software\\VeltraneContract";

// The path of that key under a root: HKEY_USERS has the keys of each user in one of his own.
inline std::wstring RegistryKeyOf(RegistryRoot root) {
  return root == RegistryRoot::kUsers ? L".DEFAULT\\" + std::wstring(kRegistryKey) : kRegistryKey;
}

// What was printed, byte by byte.
struct Printed {
  std::string output;
  std::string error;
  std::string debugger;
};

// A TCP connection from 127.0.0.2 to 127.0.0.1, both ends here. Plain port numbers.
struct Loopback {
  std::uint16_t server_port = 0;
  std::uint16_t client_port = 0;
};

// The network behind the default route. Addresses are in network byte order.
struct Network {
  std::uint32_t gateway = 0;
  std::uint32_t interface_index = 0;
  std::uint32_t own_address = 0;
  std::wstring alias;
  std::wstring description;
  std::uint32_t interface_metric = 0;
};

// A TCP connection from a link-local IPv6 address of an interface to itself.
struct LinkLocalLoopback {
  Loopback ports;
  IpAddress address;
  std::uint32_t interface_index = 0;
};

// The network behind the default route of IPv6.
struct Ipv6Network {
  IpAddress gateway;
  IpAddress own_address;
  std::uint32_t interface_index = 0;
  std::uint32_t interface_metric = 0;
};

struct SessionUser {
  std::uint32_t session = 0;
  Sid sid;
};

// The one pipe instance that this process serves.
struct PipeFacts {
  std::uint32_t pipe_mode = 0;
  std::uint32_t max_instances = 0;
  std::uint32_t out_buffer_bytes = 0;
  std::uint32_t in_buffer_bytes = 0;
  std::optional<std::vector<AccessListEntry>> access = {};  // nullopt: nothing but default security
  bool inheritable = false;
};

// A library of this machine that is not loaded.
struct SpareLibrary {
  std::wstring name;
  std::string exported;
};

// What the control manager holds of a service.
struct InstalledService {
  ServiceSettings settings;  // but for the access of a handle
  std::wstring account;
  std::optional<std::uint32_t> sid_type;
};

// How a service of the stage behaves.
enum class Pace {
  kPrompt,
  kSlowStart,  // stays in start pending until it is let go on
  kSlowStop,   // stays in stop pending until it is let go on
};

// A part of a case that has a process of its own on Windows, and a thread on the simulated machine.
// Defined by GUEST(Name) { ... } at namespace scope.
struct Guest {
  Guest(const char* guest_name, void (*guest)());

  const char* name;
  void (*run)();
};
#define GUEST(guest)                      \
  void Run##guest();                      \
  const Guest guest{#guest, &Run##guest}; \
  void Run##guest()

// For a guest: leaves a line for the case.
void Tell(const std::string& line);

// For a guest that a watchdog is: the arguments that follow those of GuestArguments, as
// CommandLineToArgvW reads them.
std::vector<std::string> OwnArguments();

// What came of a guest.
struct GuestRun {
  std::vector<std::string> told = {};
  std::wstring executable_path = {};  // its own, whole
  std::string screen = {};            // the first line of its terminal, as UTF-8
  bool takes_escape_sequences = false;
  std::uint32_t exit_code = 0;
};

class Stage {
 public:
  Stage();
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;
  ~Stage();  // undoes everything

  // A path in a folder that is this case's own, and empty at first.
  std::wstring Path(const std::wstring& name) const;
  void PutFile(const std::wstring& path, const std::string& bytes);
  std::optional<std::string> Bytes(const std::wstring& path) const;  // nullopt: no such file

  // Another program opens a file for reading and lets others do what the sum of share modes says.
  void Hold(const std::wstring& path, std::uint32_t share);
  void LetGo(const std::wstring& path);

  // A file that is opened on this path takes no more bytes once the disk has been filled.
  std::wstring PathOnSmallDisk();
  void FillDisk();

  // Takes every access from everybody, to a folder and to a file in it.
  void Forbid(const std::wstring& folder, const std::wstring& file);
  void PutAccessList(const std::wstring& path, const AccessList& list);

  void SetVariable(const std::wstring& name, const std::wstring& value);
  void UnsetVariable(const std::wstring& name);

  // A value under RegistryKeyOf(root): a text, an expandable text, a number.
  void PutRegistryText(RegistryRoot root, const std::wstring& name, const std::wstring& value);
  void PutExpandableText(RegistryRoot root, const std::wstring& name, const std::wstring& value);
  void PutRegistryNumber(RegistryRoot root, const std::wstring& name, std::uint32_t value);

  // A key inside kRegistryKey under HKEY_LOCAL_MACHINE; "outer\\inner" is inside another.
  void PutRegistryKey(const std::wstring& name);
  // Takes every access to kRegistryKey under HKEY_LOCAL_MACHINE from everybody.
  void ForbidRegistryKey();

  // The UTC time by another clock than platform's, in its units.
  std::int64_t OtherClock() const;
  // How long the system has not been asleep since it was started, by another clock.
  std::uint64_t MillisecondsAwake() const;
  // When this process was started, by the first of these clocks.
  std::int64_t OwnStart();

  Printed Capture(const std::function<void()>& act);

  // Standard input is a file, or a pipe whose writer has gone.
  void SetInputFile(const std::string& bytes);
  void SetInputPipe(const std::string& bytes);
  void CloseInput();

  // Sends a console event to this process. True when the handler that was installed last takes it,
  // false when it is passed on; nullopt when this machine cannot send it.
  std::optional<bool> SendConsoleEvent(std::uint32_t control_type);

  Loopback Connect();
  std::uint16_t Listen();
  // The client has hung up, and the server has not yet.
  Loopback ConnectAndHangUp();
  // Likewise in IPv6, from ::1 to ::1. nullopt: there is no IPv6.
  std::optional<Loopback> ConnectIpv6();
  std::optional<Loopback> ConnectIpv6AndHangUp();
  // From 127.0.0.2 to a server that serves both families at 127.0.0.1.
  std::optional<Loopback> ConnectToBothFamilies();
  std::optional<LinkLocalLoopback> ConnectLinkLocal();
  std::optional<Network> ReadNetwork();  // nullopt: there is no default route
  std::optional<Ipv6Network> ReadIpv6Network();
  void RemoveRouteAtEnd(const ForwardRow& row);
  std::optional<std::uint32_t> ConsoleSession();  // nullopt: this process cannot tell
  bool InRemoteSession();
  // A Remote Desktop session with a client at this address; nullopt: there can be none.
  std::optional<std::uint32_t> RemoteSession(std::uint32_t client_address);
  // A session whose user this process may look up; nullopt: there is none.
  std::optional<SessionUser> UserToLookUp();

  SpareLibrary PutLibrary();
  bool IsLoaded(const std::wstring& library);
  std::wstring ExecutableFile();  // the name of the executable without its folder

  std::wstring PipeName() const;  // of this case alone
  PipeFacts ServedPipe();
  std::uint32_t OwnProcessId() const;
  // The impersonation level (SECURITY_IMPERSONATION_LEVEL) that the client of that instance grants.
  std::uint32_t LevelGrantedByClient();

  // The handles and other resources that this process holds of the system.
  std::size_t OpenHandles();

  // A name under which no service is installed. What is installed under it is removed at the end.
  std::wstring NewServiceName();
  // The command line of a program that serves at this pace.
  std::wstring ServiceProgram(Pace pace);
  void LetServicesGoOn();
  std::optional<InstalledService> FindService(const std::wstring& name);
  // Another program holds a handle of the service.
  void HoldService(const std::wstring& name);
  void LetGoOfService(const std::wstring& name);

  // In it somebody has typed these keys: "\r" is Enter, "\b" is Backspace.
  GuestRun RunInTerminal(std::uint16_t columns, const Guest& guest, const std::string& keys = {});
  GuestRun RunFromLongPath(const Guest& guest);
  // The arguments with which this executable, started again, is that guest. Once for a case.
  std::vector<std::string> GuestArguments(const Guest& guest);
  // What that one has told so far.
  std::vector<std::string> ToldByGuest();
  // The session of the guests ends.
  void EndSession();
  // Whether a handle of this process that can be inherited is, by a process that this starts.
  bool IsInheritedBy(const std::function<void()>& start);

  // A job that processes may leave, or may not. The guest is a child of this process.
  GuestRun RunInJob(bool may_leave, const Guest& guest);

  // From now on this is a process that the control manager has not started.
  void BeStartedByHand();

  struct State;
  State& state() { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

// A client of a message-mode pipe that takes message by message.
class MessageClient {
 public:
  explicit MessageClient(std::wstring pipe);
  MessageClient(const MessageClient&) = delete;
  MessageClient& operator=(const MessageClient&) = delete;
  ~MessageClient();

  std::uint32_t Open();  // 0, or the Win32 error
  bool Send(std::string_view message);
  std::optional<std::string> Receive();  // nullopt: the connection has ended
  void Close();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// A guest that the service control manager runs as a service.
class RunningService {
 public:
  RunningService(Stage& stage, const Guest& program);
  RunningService(const RunningService&) = delete;
  RunningService& operator=(const RunningService&) = delete;
  ~RunningService();

  // Waits until the service is in this state; what it has reported last.
  ServiceStatus WaitForState(std::uint32_t state);
  void Send(std::uint32_t control);

  // Waits for the end of the program.
  GuestRun WaitForEnd();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Runs such a service until it is told to stop; whether its process then aborts.
bool AbortsWhenStopped(Stage& stage, const Guest& program);

// The fixture of every case.
class Contract : public testing::Test {
 protected:
  Stage stage;
};

}  // namespace veltrane::contract
