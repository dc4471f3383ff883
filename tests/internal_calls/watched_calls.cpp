#include "tests/internal_calls/watched_calls.h"

#include "ipc/connection_profile.h"
#include "service/installer.h"
#include "service/startup_guard.h"
#include "tests/simulated/text.h"
#include "tunnel/active_conf.h"
#include "tunnel/tunnel_manager.h"

// The linker's names of a wrapped function: the one that is called in its place, and its own.
#define VELTRANE_IN_PLACE_OF(symbol) asm("__wrap_" symbol)
#define VELTRANE_REAL(symbol) asm("__real_" symbol)

#define VELTRANE_MARK_STOP "_ZN8veltrane17MarkStopRequestedEv"
#define VELTRANE_INSTALL \
  "_ZN8veltrane14InstallServiceERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEEPS5_"
#define VELTRANE_UNINSTALL \
  "_ZN8veltrane16UninstallServiceEPNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE"
#define VELTRANE_WRITE_CONF                                 \
  "_ZN8veltrane15WriteActiveConfERKNS_17ConnectionProfileE" \
  "PNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
#define VELTRANE_START_TUNNEL                                                                \
  "_ZN8veltrane13TunnelManager5StartERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE" \
  "PNS2_IcS3_IcESaIcEEE"

namespace veltrane {
namespace {

WatchedCalls* current = nullptr;

void Note(const std::string& call, const std::string& error) {
  current->error_texts.push_back(call + " '" + error + "'");
}

}  // namespace

WatchedCalls::WatchedCalls() { current = this; }

WatchedCalls::~WatchedCalls() { current = nullptr; }

void RealMarkStop() VELTRANE_REAL(VELTRANE_MARK_STOP);
bool RealInstall(const std::wstring& path, std::wstring* error) VELTRANE_REAL(VELTRANE_INSTALL);
bool RealUninstall(std::wstring* error) VELTRANE_REAL(VELTRANE_UNINSTALL);
bool RealWriteConf(const ConnectionProfile& profile, std::string* error)
    VELTRANE_REAL(VELTRANE_WRITE_CONF);
bool RealStartTunnel(const std::wstring& path, std::string* error)
    VELTRANE_REAL(VELTRANE_START_TUNNEL);

void WatchedMarkStop() VELTRANE_IN_PLACE_OF(VELTRANE_MARK_STOP);
void WatchedMarkStop() {
  current->on_mark_stop();
  RealMarkStop();
}

bool WatchedInstall(const std::wstring& path, std::wstring* error)
    VELTRANE_IN_PLACE_OF(VELTRANE_INSTALL);
bool WatchedInstall(const std::wstring& path, std::wstring* error) {
  Note("InstallService", simulated::Narrow(*error));
  return RealInstall(path, error);
}

bool WatchedUninstall(std::wstring* error) VELTRANE_IN_PLACE_OF(VELTRANE_UNINSTALL);
bool WatchedUninstall(std::wstring* error) {
  Note("UninstallService", simulated::Narrow(*error));
  return RealUninstall(error);
}

bool WatchedWriteConf(const ConnectionProfile& profile, std::string* error)
    VELTRANE_IN_PLACE_OF(VELTRANE_WRITE_CONF);
bool WatchedWriteConf(const ConnectionProfile& profile, std::string* error) {
  Note("WriteActiveConf", *error);
  return RealWriteConf(profile, error);
}

bool WatchedStartTunnel(const std::wstring& path, std::string* error)
    VELTRANE_IN_PLACE_OF(VELTRANE_START_TUNNEL);
bool WatchedStartTunnel(const std::wstring& path, std::string* error) {
  Note("TunnelManager::Start", *error);
  return RealStartTunnel(path, error);
}

}  // namespace veltrane
