#pragma once

// The fixture of tests of the configuration file.

#include "tests/support/on_machine.h"
#include "tunnel/active_conf.h"

namespace veltrane {

using Texts = std::vector<std::string>;

inline constexpr wchar_t kFolder[] = L"C:\\ProgramData\\Veltrane\\tunnels";
inline constexpr wchar_t kActive[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf";
inline constexpr wchar_t kTemporary[] = L"C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp";

// The file that OnStore::Write leads to.
inline constexpr char kText[] =
    "[Interface]\n"
    "PrivateKey = cHJpdmF0ZQ==\n"
    "Address = 10.66.66.7/32\n"
    "\n"
    "[Peer]\n"
    "PublicKey = cHVibGlj\n"
    "AllowedIPs = 10.66.66.0/24\n"
    "Endpoint = 192.0.2.10:51820\n"
    "PersistentKeepalive = 25\n";

// The changes that it makes.
inline const Texts kWriteSteps = {
    "CreateFolders C:\\ProgramData\\Veltrane\\tunnels",
    "SetProtectedAccess C:\\ProgramData\\Veltrane\\tunnels",
    "OutputFile.Open C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp",
    "OutputFile.Write C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp 171 bytes",
    "OutputFile.Close C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp",
    "SetProtectedAccess C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp",
    "MoveFileWithFlags C:\\ProgramData\\Veltrane\\tunnels\\active.conf.tmp to "
    "C:\\ProgramData\\Veltrane\\tunnels\\active.conf flags 9",
    "SetProtectedAccess C:\\ProgramData\\Veltrane\\tunnels\\active.conf"};

inline simulated::Files& Files() { return simulated::Machine::Current().files; }

// Lets the next call of this name fail.
inline void Fail(const char* call) { simulated::Machine::Current().Fail(call, 1, 5); }

// Outside the passive phase, so that the calls are those of the store alone.
class OnStore : public OnMachine {
 protected:
  OnStore() { MarkConnectRequested(); }

  // No test leaves a stream open.
  void TearDown() override { EXPECT_EQ(machine.files.OpenStreams(), 0); }

  static bool Write(std::string* error_text) {
    ConnectionProfile profile;
    profile.client_private_key = "cHJpdmF0ZQ==";
    profile.address_cidr = "10.66.66.7/32";
    profile.server_public_key = "cHVibGlj";
    profile.allowed_ips_csv = "10.66.66.0/24";
    profile.endpoint_host = "192.0.2.10";
    return WriteActiveConf(profile, error_text);
  }

  std::string error = "untouched";
};

}  // namespace veltrane
