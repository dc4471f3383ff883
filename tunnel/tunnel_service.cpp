#include "tunnel/tunnel_service.h"

#include <optional>

#include "platform/library.h"

namespace veltrane {
namespace {

// WireGuardTunnelService(const wchar_t*) returns a one-byte boolean.
using TunnelFunction = bool (*)(const wchar_t* conf_path);

}  // namespace

int RunTunnelService(const wchar_t* conf_path) {
  if (conf_path == nullptr || *conf_path == L'\0') return 1;
  const std::optional<Library> library = Library::Load(L"tunnel.dll");
  if (!library) return 2;
  const LibraryFunction found = library->Find("WireGuardTunnelService");
  if (found == nullptr) return 3;
  const auto run_tunnel = reinterpret_cast<TunnelFunction>(found);
  return run_tunnel(conf_path) ? 0 : 4;
}

}  // namespace veltrane
