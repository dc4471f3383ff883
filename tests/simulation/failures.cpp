#include "tests/simulation/failures.h"

#include "platform/sessions.h"
#include "tests/simulated/calls.h"

namespace veltrane::simulation {

using simulated::kNothingAtAll;
using simulated::kOnlyHalf;

const std::vector<FailingCall>& FailingCalls() {
  static const std::vector<FailingCall> calls = {
      {"PrintOutput", {5}},
      {"PrintError", {5}},
      {"PrintErrorLine", {5}},
      {"PrintDebugger", {5}},
      {"InstallConsoleHandler", {8}},
      {"Mutex.Lock", {11}},
      {"ReadTcpConnections", {5, kOnlyHalf, kNothingAtAll}},
      {"ReadProcessVariable", {203}},
      {"ReadRegistryText", {2, 5, 234}},
      {"CreateFolders", {5, 112}},
      {"TestExistence", {5, 123}},
      {"OutputFile.Open", {5, 32}},
      {"OutputFile.Write", {112, kOnlyHalf}},
      {"OutputFile.Close", {112, kOnlyHalf}},
      {"MoveFileWithFlags", {5, 32}},
      {"RemoveFile", {5, 32}},
      {"SetProtectedAccess", {5}},
      {"ParseIpv4", {1}},
      {"FormatIpv4", {1}},
      {"WideToUtf8", {1}},
      {"Library.Load", {126}},
      {"Library.Find", {127}},
      {"ServerPipe.Create", {5, 231}},
      {"ServerPipe.WaitForClient", {6, 232}},
      {"ServerPipe.Read", {109, 234, kNothingAtAll}},
      {"ServerPipe.Write", {232}},
      {"OpenAndClosePipe", {2, 231}},
      {"ReadForwardTable", {8, 87, kOnlyHalf, kNothingAtAll}},
      {"CreateForwardRow", {0, 5, 87, 160, 5010}},
      {"DeleteForwardRow", {0, 5, 1168}},
      {"FindBestRoute", {87, 1232}},
      {"ReadInterfaceNames", {2}},
      {"ReadAdapterAddresses", {8, kOnlyHalf, kNothingAtAll}},
      {"MakeNtSid", {87}},
      {"ReadSessionUserSid", {1008, 1314}},
      {"MakeSecurityAttributes", {8}},
      {"ServiceManager.Open", {5, 1065}},
      {"ServiceManager.OpenExisting", {5, 1060}},
      {"ServiceManager.Create", {5, 1072, 1073}},
      {"Service.ChangeCommandLine", {5, 1072}},
      {"Service.SetSidType", {5}},
      {"Service.Start", {0, 2, 1053, 1056, 1072}},
      {"Service.SendStop", {5, 1061, 1062}},
      {"Service.QueryState", {6}},
      {"Service.Delete", {5, 1072}},
      {"RunServiceDispatcher", {1063}},
      {"RegisterControlHandler", {6}},
      {"ReportServiceStatus", {6}},
      {"ActiveConsoleSession", {kNoSession}},
      {"ReadSessions", {5, kOnlyHalf, kNothingAtAll}},
      {"ReadClientAddress", {7022}},
  };
  return calls;
}

}  // namespace veltrane::simulation
