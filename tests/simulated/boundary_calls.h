#pragma once

// Every call of the boundary: the name under which Fail, OnCall, Calls::Of and the like know it,
// and its text in the log, which is the name and what the comment shows. A comment also says what
// else a call does that is made to fail. Calls of the client alone whose switches are in
// client_side.h are not among them.
//
// Any other name, and making an unfailing call fail, is a mistake of the test and ends the process.

#include <array>
#include <string_view>

namespace veltrane::simulated {

struct BoundaryCall {
  std::string_view name;
  bool changes = false;  // routes, services or files: listed by Changes
  bool fails = true;
  bool logged = true;  // else it is counted alone
};

constexpr BoundaryCall Reading(std::string_view name) { return {name}; }
constexpr BoundaryCall Changing(std::string_view name) { return {name, true}; }
constexpr BoundaryCall Unfailing(std::string_view name) { return {name, false, false}; }
constexpr BoundaryCall Unlogged(std::string_view name) { return {name, false, true, false}; }

// clang-format off
inline constexpr std::array kBoundaryCalls{
    Unfailing("UtcTicks"),
    Unfailing("UptimeMilliseconds"),
    Unfailing("Sleep"),                      // 1000
    Unlogged("Thread.Start"),                // see threads.h
    Unlogged("Mutex.Lock"),                  // see threads.h
    Reading("ReadTcpConnections"),           //   also answers a part of the list
    Reading("PrintOutput"),                  // service installed (without the line feed)
                                             //   failed, like the next three: the text is lost
    Reading("PrintError"),                   // install failed: OpenSCManager failed
    Reading("PrintErrorLine"),               // [Veltrane] passive startup report: {}
    Reading("PrintDebugger"),                // [Veltrane][admin_bypass] {...}
    Reading("InstallConsoleHandler"),        //   failed: the handler is not installed
    Reading("ReadProcessVariable"),          // ADMIN_BYPASS_IP
    Reading("ReadRegistryText"),             // HKLM ADMIN_BYPASS_IP
    Reading("ReadRegistryTexts"),            // Environment
    Reading("FindRegistryText"),             // HKU S-1-5-18\Environment\ADMIN_BYPASS_IP
    Reading("TestExpandableText"),           // HKU S-1-5-18\Environment\ADMIN_BYPASS_IP
    Reading("ReadRegistryNumber"),           // HKLM SYSTEM\...\RDP-Tcp\PortNumber
    Reading("ListRegistryKeys"),             // HKLM SYSTEM\...\WinStations
    Reading("ReadKeyWriteTime"),             // HKU S-1-5-18\Environment
    Changing("WriteRegistryTexts"),          // HKLM SYSTEM\...\Environment: A=1; B=2
    Changing("RemoveRegistryValue"),         // HKLM SYSTEM\...\Environment
    Reading("ReadProcessStart"),             // 4711
    Changing("CreateFolders"),               // C:\ProgramData\Veltrane\tunnels
    Reading("TestExistence"),                // C:\...\active.conf
    Changing("OutputFile.Open"),             // C:\...\active.conf.tmp
    Changing("OutputFile.Write"),            // C:\...\active.conf.tmp 312 bytes
                                             //   failed: they, or the second half of them, are
                                             //   lost, and Close answers false
    Changing("OutputFile.Close"),            // C:\...\active.conf.tmp
                                             //   also the end of a stream that was never closed
                                             //   failed: what the stream has kept back, or the
                                             //   second half of it, is lost
    Changing("MoveFileWithFlags"),           // C:\...\a.tmp to C:\...\a flags 9
    Changing("RemoveFile"),                  // C:\...\active.conf
    Changing("RemoveFolder"),                // C:\ProgramData\Veltrane\tunnels
    Changing("CreateClosedFolder"),          // C:\ProgramData\Veltrane
    Changing("SetProtectedAccess"),          // C:\...\active.conf
    Unlogged("ParseIpv4"),                   // 203.0.113.5
    Unlogged("FormatIpv4"),                  // 203.0.113.5
    Unlogged("WideToUtf8"),                  // Ethernet
    Reading("InstallerSession.Property"),    // INSTALLFOLDER
    Reading("InstallerSession.SetProperty"),  // VeltraneRegister
    Reading("Library.Load"),                 // tunnel.dll
    Reading("Library.Find"),                 // tunnel.dll WireGuardTunnelService
    Unfailing("Library.Free"),               // tunnel.dll
    Unfailing("ExecutablePath"),
    Reading("ServerPipe.Create"),            // \\.\pipe\VeltraneVpn
    Reading("ServerPipe.WaitForClient"),     //   failed with 535: waits all the same, and answers
                                             //   that the client had connected before
    Reading("ServerPipe.Read"),              // 65535; also answers an empty message
    Reading("ServerPipe.Write"),             // 120 bytes; failed: they are lost
    Unfailing("ServerPipe.Flush"),
    Unfailing("ServerPipe.Disconnect"),
    Unfailing("ServerPipe.Close"),           // the end of the object
    Reading("OpenAndClosePipe"),             // \\.\pipe\VeltraneVpn
    Reading("ReadForwardTable"),             //   also answers a part of the list
    Changing("CreateForwardRow"),            // 203.0.113.5/32 via 192.0.2.1 if 12 metric 1
    Changing("DeleteForwardRow"),            // 203.0.113.5/32 via 192.0.2.1 if 12 metric 1
    Reading("FindBestRoute"),                // 203.0.113.5
    Reading("ReadInterfaceNames"),           // 12
    Reading("ReadAdapterAddresses"),         //   also answers a part of the list
    Reading("ReadIpv6Routes"),
    Reading("ReadEstablishedConnections"),   // IPv6
    Reading("ReadOwnAddresses"),
    Reading("ReadIpv6InterfaceMetric"),      // 12
    Reading("IsHardwareInterface"),          // 12
    Reading("MakeNtSid"),                    // S-1-5-18
    Reading("ReadSessionUserSid"),           // 1
    Reading("ReadOwnUserSid"),
    Reading("MakeSecurityAttributes"),       // 3 entries
    Unfailing("FreeSecurityAttributes"),
    Reading("ServiceManager.Open"),          // 0xf003f
    Reading("ServiceManager.OpenExisting"),  // VeltraneVpnTunnel$Active 0xf01ff
    Changing("ServiceManager.Create"),       // VeltraneVpnTunnel$Active
    Changing("Service.ChangeCommandLine"),   // VeltraneVpnTunnel$Active
    Changing("Service.ChangeSettings"),      // VeltraneVpnTunnel start type 2
    Changing("Service.SetSidType"),          // VeltraneVpnTunnel$Active 1
    Changing("Service.Start"),               // VeltraneVpnTunnel$Active
    Changing("Service.SendStop"),            // VeltraneVpnTunnel$Active
    Reading("Service.QueryState"),           // VeltraneVpnTunnel$Active
    Changing("Service.Delete"),              // VeltraneVpnTunnel$Active
    Reading("RunServiceDispatcher"),         // VeltraneVpnTunnel
                                             //   fails with 1063 where the manager did not start
                                             //   the program
    Reading("RegisterControlHandler"),       // VeltraneVpnTunnel
    Reading("ReportServiceStatus"),          // 4; failed: nobody learns of it
    Unfailing("IsRemoteSession"),
    Reading("ActiveConsoleSession"),         //   failed: there is none
    Reading("ReadSessions"),                 //   also answers a part of the list
    Reading("ReadClientAddress"),            // 2
};
// clang-format on

}  // namespace veltrane::simulated
