#pragma once

// The routes of both families, the interfaces and the adapter addresses.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/ip_network.h"
#include "platform/routing.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

// A row as a test writes it: MakeRoute("203.0.113.5/32", "192.168.1.1", 12, 1). Type 4 (indirect),
// or 3 (direct) when the next hop is 0.0.0.0; protocol 3; everything else 0.
ForwardRow MakeRoute(const std::string& destination, const std::string& next_hop,
                     std::uint32_t interface_index, std::uint32_t metric);

// A row of IPv6: MakeIpv6Route("2001:db8::/32", "fe80::1", 12, 25); without a gateway, "::".
IpRoute MakeIpv6Route(const std::string& destination, const std::string& next_hop,
                      std::uint32_t interface_index, std::uint32_t metric);

// A row as text: "203.0.113.5/32 via 192.168.1.1 if 12 metric 1".
std::string RouteText(const ForwardRow& row);

// Everything is empty at the start. Rows are kept in the order in which they were added; a read
// returns them sorted as Windows does, by destination, protocol, policy and next hop, addresses
// compared as numbers in host byte order, and rows that are equal in those in their table order.
//
// A row is the same as another when destination, mask, next hop and interface are. Creating a row
// that is there answers 5010, and one of another protocol than 3 answers 87; deleting one that is
// not there, or that is of another protocol, answers 1168. Neither the interface nor the gateway
// has to exist. Every member may be called on any thread.
//
// Members that do not name IPv6 are about the IPv4 routes alone. The IPv6 routes are read in the
// order in which they were added.
class Routes {
 public:
  explicit Routes(Core& core) : core_(core) {}

  // A machine in an ordinary office: interface 12, alias "Ethernet", description "Intel(R) Ethernet
  // Connection", address 192.168.1.10; routes 0.0.0.0/0 via 192.168.1.1 if 12 metric 25 and
  // 192.168.1.0/24 via 0.0.0.0 if 12 metric 281.
  void AddPhysicalNetwork();

  void Add(const ForwardRow& row);
  void Add(const std::string& destination, const std::string& next_hop,
           std::uint32_t interface_index, std::uint32_t metric);

  void AddIpv6(const std::string& destination, const std::string& next_hop,
               std::uint32_t interface_index, std::uint32_t metric);
  void ClearIpv6();

  // Removes every row to this destination ("203.0.113.5/32"); returns how many there were.
  std::size_t Remove(const std::string& destination);
  void Clear();

  // Sets the first metric of every row to this destination.
  void SetMetric(const std::string& destination, std::uint32_t metric);

  // The rows in table order, as rows and as texts (see RouteText).
  std::vector<ForwardRow> Rows() const;
  std::vector<std::string> Texts() const;
  bool Has(const std::string& route_text) const;

  // Reads return the rows in table order, not sorted.
  void KeepTableOrder();

  // Rows that the program creates get this metric in the table, whatever it asked for.
  void SetMetricOfCreatedRows(std::uint32_t metric);

  // Adding an interface that is there replaces its names. It is hardware until SetHardware says
  // that it is not.
  void AddInterface(std::uint32_t index, const std::wstring& alias,
                    const std::wstring& description = {});
  void RemoveInterface(std::uint32_t index);
  void SetHardware(std::uint32_t index, bool is_hardware);

  // Adapter addresses of both families are listed in the order in which they were added. The
  // interface does not have to exist.
  void AddAdapterAddress(const std::string& address, std::uint32_t interface_index = 12);

  // Every question for the best route gets this answer until Clear... is called. Otherwise the
  // answer is the matching row with the longest mask, then the lowest first metric, then the first
  // in the table; 1232 when there is none.
  void OverrideBestRoute(const BestRoute& answer);
  void ClearBestRouteOverride();

  // Runs after every create and delete of the program, on its thread and with no lock held, with
  // "create" or "delete", the text of the row and the status that the program gets. Replaces an
  // earlier hook.
  using AnswerHook =
      std::function<void(const char* change, const std::string& row, std::uint32_t status)>;
  void OnAnswer(AnswerHook hook);

  // For the boundary functions.
  void Answer(const char* change, const std::string& row, std::uint32_t status);
  std::vector<ForwardRow> Read() const;
  std::uint32_t Create(ForwardRow row);
  std::uint32_t Delete(const ForwardRow& row);
  Result<BestRoute> Best(std::uint32_t dest) const;
  std::optional<InterfaceNames> Names(std::uint32_t index) const;
  std::vector<std::uint32_t> AdapterAddresses() const;  // of IPv4
  std::vector<IpRoute> ReadIpv6() const;
  std::vector<OwnAddress> OwnAddresses() const;
  std::optional<bool> IsHardware(std::uint32_t index) const;

 private:
  struct Interface {
    InterfaceNames names;
    bool is_hardware = true;
  };

  Core& core_;
  std::vector<ForwardRow> rows_;
  std::vector<IpRoute> ipv6_routes_;
  bool keep_order_ = false;
  std::optional<std::uint32_t> created_metric_;
  std::map<std::uint32_t, Interface> interfaces_;
  std::vector<OwnAddress> adapter_addresses_;
  std::optional<BestRoute> best_;
  AnswerHook on_answer_;
};

}  // namespace veltrane::simulated
