#include "tests/client/forecast/naive_inventor.h"

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/client/forecast/naive_bits.h"

namespace veltrane::naive {
namespace {

constexpr std::uint32_t kInventedInterface = 9999;

// A network that nobody else in a situation uses, and a public address in it.
const std::string kStranger = "4:11000110001100111111111101001101";
const std::string kInventedHop = "4:11000110001100111111111100000001";

// A public address that no host route can be created for.
const std::string kUnpinnable = "4:11000110001100111111111101001110";

// One way to fill in a blank.
using Filling = std::function<void(Machine&)>;

class Inventor {
 public:
  Inventor(const Situation& situation, const World& world, const Subject& subject)
      : situation_(situation), world_(world), subject_(Bits(subject.address)) {
    machines_.emplace_back();
    machines_.front().unpinnable = kUnpinnable;
    CopyLines(situation.ipv4_routes, '4');
    CopyLines(situation.ipv6_routes, '6');
  }

  std::vector<Machine> Machines() {
    FillTunnels();
    if (!world_.guard && world_.bypass) FillGateway();
    FillInterfaces();
    if (!world_.guard && world_.bypass) FillPeople();
    FillOwnAddresses();
    FillIpv4Table();
    FillProfile();
    return machines_;
  }

 private:
  void Try(const std::vector<Filling>& fillings) {
    std::vector<Machine> filled;
    for (const Machine& machine : machines_) {
      const std::size_t first = filled.size();
      for (const Filling& filling : fillings) {
        Machine copy = machine;
        filling(copy);
        const auto begin = filled.begin() + static_cast<std::ptrdiff_t>(first);
        if (std::find(begin, filled.end(), copy) == filled.end()) filled.push_back(copy);
      }
    }
    machines_ = std::move(filled);
  }

  void CopyLines(const std::optional<std::vector<IpRoute>>& routes, char family) {
    Machine& machine = machines_.front();
    if (!routes) machine.unread_families.insert(family);
    for (const IpRoute& route : routes.value_or(std::vector<IpRoute>())) {
      machine.lines.push_back(
          {.network = Bits(route.destination).substr(0, 2 + route.prefix_length),
           .next_hop = Bits(route.next_hop),
           .interface_index = route.interface_index,
           .metric = route.metric});
    }
  }

  std::vector<Line> Ipv4Lines() const {
    std::vector<Line> lines;
    for (const Line& line : machines_.front().lines) {
      if (line.network[0] == '4') lines.push_back(line);
    }
    return lines;
  }

  static Filling OlderTunnel(std::uint32_t interface_index) {
    return [=](Machine& machine) {
      machine.older_tunnel = true;
      machine.older_interface = interface_index;
    };
  }

  void FillTunnels() {
    std::vector<Filling> fillings;
    if (situation_.tunnel_today != TunnelToday::kUp) fillings.push_back([](Machine&) {});
    if (situation_.tunnel_today != TunnelToday::kNone) {
      std::set<std::uint32_t> interfaces = {kInventedInterface};
      for (const Line& line : machines_.front().lines) interfaces.insert(line.interface_index);
      if (situation_.tunnel_interface) interfaces = {*situation_.tunnel_interface};
      for (const std::uint32_t index : interfaces) fillings.push_back(OlderTunnel(index));
    }
    Try(fillings);
  }

  static Filling Gateway(std::uint32_t interface_index, const std::string& next_hop) {
    return [=](Machine& machine) {
      machine.gateway = next_hop;
      machine.gateway_interface = interface_index;
    };
  }

  void FillGateway() {
    if (situation_.gateway) return FillGatewayToday();
    std::vector<Filling> fillings = {Gateway(0, Bits(IpAddress())),
                                     Gateway(kInventedInterface, kInventedHop)};
    for (const Line& line : Ipv4Lines()) {
      fillings.push_back(Gateway(line.interface_index, line.next_hop));
    }
    Try(fillings);
  }

  // The next answer may be any way that is as good.
  void FillGatewayToday() {
    const std::pair told(situation_.gateway->interface_index, Bits(situation_.gateway->next_hop));
    std::vector<Filling> fillings = {Gateway(told.first, told.second)};
    const Ways ways = BestWays(Ipv4Lines(), *BitsOfText("8.8.8.8"), 0);
    if (ways.contains(told)) {
      for (const auto& [index, next_hop] : ways) fillings.push_back(Gateway(index, next_hop));
    }
    Try(fillings);
  }

  void FillInterfaces() {
    for (Machine& machine : machines_) {
      for (const InterfaceFacts& facts : situation_.interfaces) {
        if (facts.ipv4_metric) machine.metrics[facts.index] = *facts.ipv4_metric;
        if (facts.labelled_tunnel) machine.labelled[facts.index] = *facts.labelled_tunnel;
        if (facts.hardware == true && facts.labelled_tunnel == false) {
          machine.proved_physical.insert(facts.index);
        }
      }
    }
    if (!world_.guard && world_.bypass) {
      Try({[](Machine& machine) { machine.metrics.try_emplace(machine.gateway_interface, 1); },
           [](Machine& machine) { machine.metrics.try_emplace(machine.gateway_interface, 25); }});
    }
    for (const Line& line : Ipv4Lines()) {
      const std::uint32_t index = line.interface_index;
      if (!world_.guard || line.network != "4:") continue;
      Try({[=](Machine& machine) { machine.labelled.try_emplace(index, false); },
           [=](Machine& machine) { machine.labelled.try_emplace(index, true); }});
    }
  }

  // Host routes of today are the only ones by which one stranger differs from another.
  std::set<std::string> Strangers() const {
    std::set<std::string> strangers = {kStranger};
    for (const Line& line : Ipv4Lines()) {
      if (line.network.size() == kStranger.size()) strangers.insert(line.network);
    }
    return strangers;
  }

  void FillPeople() {
    const std::string subject = subject_;
    std::set<std::string> clients;
    for (const IpAddress& client : situation_.session_clients) clients.insert(Bits(client));
    // Those of the others do not matter, and the subject's may end before the connect.
    if (clients.contains(subject) || !situation_.all_sessions_read) {
      Try({[](Machine&) {}, [=](Machine& machine) { machine.session_clients.insert(subject); }});
    }
    for (const IpAddress& peer : situation_.rdp_peers.value_or(std::vector<IpAddress>())) {
      for (Machine& machine : machines_) machine.peers.insert(Bits(peer));
    }
    if (situation_.rdp_peers) return;
    std::vector<Filling> fillings = {[](Machine&) {},
                                     [=](Machine& machine) { machine.peers = {subject}; }};
    const std::string unpinnable = kUnpinnable;
    fillings.push_back([=](Machine& machine) { machine.peers = {unpinnable, subject}; });
    fillings.push_back([=](Machine& machine) { machine.peers = {unpinnable}; });
    for (const std::string& stranger : Strangers()) {
      fillings.push_back([=](Machine& machine) { machine.peers = {stranger}; });
      fillings.push_back([=](Machine& machine) { machine.peers = {stranger, subject}; });
    }
    Try(fillings);
  }

  // Everybody whom the service could try to pin on one of the machines.
  std::set<std::string> Candidates() const {
    std::set<std::string> candidates = {subject_, kStranger};
    for (const std::string& token : world_.named) {
      if (const auto address = BitsOfText(token)) candidates.insert(*address);
    }
    for (const Machine& machine : machines_) {
      candidates.insert(machine.peers.begin(), machine.peers.end());
    }
    return candidates;
  }

  void FillOwnAddresses() {
    for (const OwnAddress& own : situation_.own_addresses.value_or(std::vector<OwnAddress>())) {
      for (Machine& machine : machines_) {
        machine.own.emplace_back(Bits(own.address), own.interface_index);
      }
    }
    if (situation_.own_addresses) return;
    const std::set<std::string> candidates = Candidates();
    const auto owning = [](const std::set<std::string>& addresses) -> Filling {
      return [=](Machine& machine) {
        for (const std::string& address : addresses) machine.own.emplace_back(address, 1);
      };
    };
    std::vector<Filling> fillings = {owning({}), owning(candidates)};
    for (const std::string& candidate : candidates) {
      std::set<std::string> others = candidates;
      others.erase(candidate);
      fillings.push_back(owning({candidate}));
      fillings.push_back(owning(others));
    }
    Try(fillings);
  }

  // The candidates have host routes that count, or such that do not, or none; or there is a default
  // route through a tunnel.
  void FillIpv4Table() {
    if (situation_.ipv4_routes) return;
    std::set<std::string> hosts = Candidates();
    std::erase_if(hosts, [](const std::string& host) { return host[0] != '4'; });
    const auto adding = [hosts](std::uint32_t metric) -> Filling {
      return [=](Machine& machine) {
        for (const std::string& host : hosts) {
          machine.lines.push_back({host, machine.gateway, machine.gateway_interface, metric});
        }
      };
    };
    Try({[](Machine&) {}, adding(15), adding(16),
         [](Machine& machine) {
           machine.labelled[kInventedInterface] = true;
           machine.lines.push_back({"4:", kInventedHop, kInventedInterface, 1});
         }});
  }

  void FillProfile() {
    for (Machine& machine : machines_) {
      machine.allowed_ips = situation_.allowed_ips.value_or("0.0.0.0/0, ::/0");
      machine.address = situation_.address.value_or("");
    }
    if (situation_.address) return;
    // An ordinary address, and networks that contain the subject, whatever its family.
    Try({[](Machine& machine) { machine.address = "192.0.2.1/32"; },
         [](Machine& machine) {
           machine.address = "192.0.2.1/32";
           for (int first = 0; first < 256; ++first) {
             machine.address += ", " + std::to_string(first) + ".0.0.0/8";
           }
           machine.address += ", ::/1, 8000::/1";
         }});
  }

  const Situation& situation_;
  const World& world_;
  const std::string subject_;
  std::vector<Machine> machines_;
};

}  // namespace

std::vector<Machine> InventMachines(const Situation& situation, const World& world,
                                    const Subject& subject) {
  return Inventor(situation, world, subject).Machines();
}

}  // namespace veltrane::naive
