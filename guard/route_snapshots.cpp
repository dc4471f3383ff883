#include "guard/route_snapshots.h"

#include <optional>

#include "platform/ipv4.h"
#include "platform/text.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

bool IsDefaultRoute(const ForwardRow& row) { return row.dest == 0 && row.mask == 0; }

void AppendElement(std::string& snapshot, const std::string& element) {
  if (!snapshot.empty()) snapshot += ";";
  snapshot += element;
}

std::string OrNone(const std::string& snapshot) { return snapshot.empty() ? "none" : snapshot; }

}  // namespace

std::string DescribeInterface(std::uint32_t interface_index) {
  const std::optional<InterfaceNames> names = ReadInterfaceNames(interface_index);
  if (!names) return "if" + std::to_string(interface_index);
  const std::string alias = WideToUtf8(names->alias);
  return alias.empty() ? WideToUtf8(names->description) : alias;
}

bool IsTunnelInterface(std::uint32_t interface_index) {
  const std::string label = AsciiToLower(DescribeInterface(interface_index));
  return label.find("wireguard") != std::string::npos ||
         label.find("wintun") != std::string::npos || label.find("tunnel") != std::string::npos;
}

std::string FormatDefaultRoute(const ForwardRow& row) {
  return "0.0.0.0/0->" + FormatIpv4(row.next_hop) + "@if" + std::to_string(row.interface_index) +
         ":" + DescribeInterface(row.interface_index) + ":metric=" + std::to_string(row.metric1);
}

bool FindTunnelDefaultRoute(std::string* offending_route) {
  const std::optional<std::vector<ForwardRow>> table = ReadForwardTable();
  if (!table) return false;
  for (const ForwardRow& row : *table) {
    if (!IsDefaultRoute(row) || !IsTunnelInterface(row.interface_index)) continue;
    if (offending_route != nullptr) *offending_route = FormatDefaultRoute(row);
    return true;
  }
  return false;
}

std::string SnapshotDefaultRoutes() {
  const std::optional<std::vector<ForwardRow>> table = ReadForwardTable();
  if (!table) return "unavailable";
  std::string snapshot;
  for (const ForwardRow& row : *table) {
    if (IsDefaultRoute(row)) AppendElement(snapshot, FormatDefaultRoute(row));
  }
  return OrNone(snapshot);
}

std::string SnapshotHostRoutes(const std::vector<std::string>& ips) {
  const std::optional<std::vector<ForwardRow>> table = ReadForwardTable();
  if (!table) return "unavailable";
  std::string snapshot;
  for (const std::string& ip : ips) {
    const std::optional<std::uint32_t> dest = ParseIpv4(ip);
    if (!dest) continue;
    for (const ForwardRow& row : *table) {
      if (row.dest != *dest || row.mask != kHostMask) continue;
      AppendElement(snapshot, ip + "/32->" + FormatIpv4(row.next_hop) + "@if" +
                                  std::to_string(row.interface_index));
    }
  }
  return OrNone(snapshot);
}

}  // namespace veltrane
