#include "tests/faults/failure_kinds.h"

#include <algorithm>
#include <iterator>

#include "platform/pipes.h"
#include "platform/sessions.h"
#include "tests/simulated/calls.h"

namespace veltrane::faults {
namespace {

using simulated::kNothingAtAll;
using simulated::kOnlyHalf;

// clang-format off
constexpr FailureKind kKinds[] = {
    // console.h: output that cannot be written is lost
    {"PrintOutput", "lost", 5},
    {"PrintError", "lost", 5},
    {"PrintErrorLine", "lost", 5},
    {"PrintDebugger", "lost", 5},
    {"InstallConsoleHandler", "not installed", 8},
    // std::thread: an exception
    {"Thread.Start", "no thread", 11},
    // mutex.h: an exception
    {"Mutex.Lock", "no lock", 11},
    // connections.h
    {"ReadTcpConnections", "unreadable", 5},
    {"ReadTcpConnections", "empty", kNothingAtAll},
    {"ReadTcpConnections", "half", kOnlyHalf},
    // environment.h: empty on any error
    {"ReadProcessVariable", "empty", 5},
    {"ReadRegistryText", "empty", 5},
    // files.h
    {"CreateFolders", "fails", 5},
    {"TestExistence", "5", 5},
    {"OutputFile.Open", "fails", 5},
    {"OutputFile.Write", "lost", 5},
    {"OutputFile.Write", "half", kOnlyHalf},
    {"OutputFile.Close", "lost", 5},
    {"OutputFile.Close", "half", kOnlyHalf},
    {"MoveFileWithFlags", "fails", 5},
    {"RemoveFile", "fails", 5},
    {"SetProtectedAccess", "fails", 5},
    // ipv4.h, text.h: nullopt, or an empty text
    {"ParseIpv4", "fails", 5},
    {"FormatIpv4", "empty", 5},
    {"WideToUtf8", "empty", 5},
    // library.h
    {"Library.Load", "fails", 126},
    {"Library.Find", "fails", 127},
    // pipes.h
    {"ServerPipe.Create", "fails", 231},
    {"ServerPipe.WaitForClient", "232", 232},
    {"ServerPipe.WaitForClient", "5", 5},
    {"ServerPipe.WaitForClient", "535", kErrorPipeConnected},
    {"ServerPipe.Read", "fails", 234},
    {"ServerPipe.Read", "0 bytes", kNothingAtAll},
    {"ServerPipe.Write", "lost", 232},
    {"OpenAndClosePipe", "not opened", 231},
    // routing.h
    {"ReadForwardTable", "unreadable", 5},
    {"ReadForwardTable", "empty", kNothingAtAll},
    {"ReadForwardTable", "half", kOnlyHalf},
    {"CreateForwardRow", "5", 5},
    {"CreateForwardRow", "160", 160},
    {"CreateForwardRow", "5010", 5010},
    {"CreateForwardRow", "0, no route", 0},
    {"DeleteForwardRow", "5", 5},
    {"DeleteForwardRow", "1168", 1168},
    {"FindBestRoute", "1232", 1232},
    {"ReadInterfaceNames", "fails", 2},
    {"ReadAdapterAddresses", "unreadable", 5},
    {"ReadAdapterAddresses", "empty", kNothingAtAll},
    {"ReadAdapterAddresses", "half", kOnlyHalf},
    // security.h
    {"MakeNtSid", "fails", 5},
    {"ReadSessionUserSid", "fails", 1314},
    {"MakeSecurityAttributes", "fails", 5},
    // services.h
    {"ServiceManager.Open", "fails", 5},
    {"ServiceManager.OpenExisting", "fails", 5},
    {"ServiceManager.Create", "5", 5},
    {"ServiceManager.Create", "1072", 1072},
    {"ServiceManager.Create", "1073", 1073},
    {"Service.ChangeCommandLine", "fails", 5},
    {"Service.SetSidType", "fails", 5},
    {"Service.Start", "1053", 1053},
    {"Service.Start", "1056", 1056},
    {"Service.Start", "0, no start", 0},
    {"Service.SendStop", "fails", 5},
    {"Service.QueryState", "unreadable", 5},
    {"Service.Delete", "fails", 1072},
    {"RunServiceDispatcher", "1063", 1063},
    {"RegisterControlHandler", "fails", 5},
    {"ReportServiceStatus", "lost", 6},
    // sessions.h
    {"ActiveConsoleSession", "no session", kNoSession},
    {"ReadSessions", "unreadable", 5},
    {"ReadSessions", "empty", kNothingAtAll},
    {"ReadSessions", "half", kOnlyHalf},
    {"ReadClientAddress", "fails", 5},
};
// clang-format on

}  // namespace

std::vector<FailureKind> KindsOf(std::string_view call) {
  std::vector<FailureKind> kinds;
  std::copy_if(std::begin(kKinds), std::end(kKinds), std::back_inserter(kinds),
               [call](const FailureKind& kind) { return kind.call == call; });
  return kinds;
}

}  // namespace veltrane::faults
