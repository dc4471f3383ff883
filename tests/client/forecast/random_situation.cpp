#include "tests/client/forecast/random_situation.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <tuple>
#include <vector>

namespace veltrane {
namespace {

// The machine has a loopback interface, an adapter, a second one, the adapter of another program's
// tunnel, and perhaps the one of its own.
constexpr std::uint32_t kLoopback = 1;
constexpr std::uint32_t kFirst = 2;
constexpr std::uint32_t kSecond = 3;
constexpr std::uint32_t kOtherTunnel = 7;
constexpr std::uint32_t kOwnTunnel = 9;

const std::vector<std::string> kAdministrators = {
    "203.0.113.5",  "203.0.113.5",    "203.0.113.6",   "198.51.100.9", "100.64.0.9",
    "10.66.66.50",  "10.66.66.50",    "192.168.77.50", "172.16.5.5",   "10.20.0.50",
    "10.30.1.1",    "10.9.0.77",      "169.254.3.3",   "127.0.0.1",    "192.168.77.2",
    "198.51.100.2", "192.168.77.255", "224.0.0.9",     "10.66.66.7",   "192.168.77.200"};
const std::vector<std::string> kIpv6Administrators = {
    "2001:db8::5", "2001:db8:77::50", "2001:db8:20::9", "fe80::50", "fe80::50",
    "::1",         "2001:db8:77::2",  "ff02::9",        "fd00::7"};

const std::vector<std::string> kAllowedIps = {
    "10.66.66.0/24",
    "10.66.66.0/24",
    "10.66.66.7/24, fd00::/64",
    "0.0.0.0/1, 128.0.0.0/1",
    "0.0.0.0/1,128.0.0.0/1,::/1,8000::/1",
    "128.0.0.0/1",
    "0.0.0.0/0",
    "::/0",
    "0.0.0.0/0, ::/0",
    "1.2.3.4/0",
    "10.66.66.0/24, 2001:db8::/0",
    "203.0.113.0/24",
    "203.0.113.5/32, 10.66.66.0/24",
    "203.0.113.5",
    "192.168.77.99/24",
    "192.168.0.0/16, 172.16.0.0/12, 10.0.0.0/8",
    "10.20.0.0/24, 10.30.0.0/16",
    "2001:db8::/32",
    "2001:db8:77::50/128",
    "fe80::/10",
    "10.0.0.0/00",
    "10.66.66.0/33",
    "10.66.66.0/24, nonsense",
    "128.0.0.0/1, nonsense",
    "nonsense, ::/0",
    "::ffff:203.0.113.0/120, 10.66.66.0/24",
    "2001:db8::5/0128",
    "198.51.100.0/25 , 198.51.100.128/25",
};

const std::vector<std::string> kAddresses = {
    "10.66.66.7/32",       "10.66.66.7/32",     "10.66.66.7/24",
    "10.66.66.7",          "10.66.66.7/8",      "203.0.113.77/24",
    "203.0.113.77/28",     "10.66.66.7/0",      "10.66.66.7/32, fd00::7/64",
    "fd00::7/64",          "fd00::7/0",         "10.66.66.7/32, 2001:db8::7/32",
    "10.66.66.7/32, ::/0", "nonsense",          "192.168.77.200/32",
    "192.168.77.200/24",   "192.168.77.1/32",   "192.168.77.2/32",
    "fe80::1/64",          "2001:db8:77::2/128"};

const std::vector<std::string> kLists = {"",
                                         "",
                                         "203.0.113.5",
                                         "203.0.113.5, 203.0.113.6",
                                         "198.51.100.9;10.66.66.50",
                                         "10.66.66.50",
                                         "office.example",
                                         ",",
                                         "198.51.100.2",
                                         "100.64.0.9 2001:db8::5",
                                         "198.51.100.9, ::ffff:203.0.113.5"};

const std::vector<std::string> kGuardWords = {"", "", "0", "1", "on", "TRUE", "off", "maybe"};
const std::vector<std::string> kSwitchWords = {"", "1", "Yes", "0", "no", "on"};

}  // namespace

IpAddress Address(const std::string& text) {
  IpAddress address;
  if (inet_pton(AF_INET, text.c_str(), address.bytes.data()) == 1) return address;
  address.family = IpFamily::kIpv6;
  if (inet_pton(AF_INET6, text.c_str(), address.bytes.data()) == 1) return address;
  std::abort();
}

IpRoute Route(const std::string& network, const std::string& next_hop,
              std::uint32_t interface_index, std::uint32_t metric) {
  const std::size_t slash = network.find('/');
  const IpAddress destination = Address(network.substr(0, slash));
  const char* const none = destination.family == IpFamily::kIpv4 ? "0.0.0.0" : "::";
  return {.destination = destination,
          .prefix_length = static_cast<std::uint32_t>(std::stoul(network.substr(slash + 1))),
          .next_hop = Address(next_hop.empty() ? none : next_hop),
          .interface_index = interface_index,
          .metric = metric};
}

std::size_t RandomCases::Below(std::size_t count) { return random_() % count; }

std::uint32_t RandomCases::Metric() {
  static constexpr std::uint32_t kMetrics[] = {0, 1, 1, 2, 15, 16, 25, 25, 281};
  return kMetrics[Below(std::size(kMetrics))];
}

std::vector<IpRoute> RandomCases::Ipv4Routes() {
  std::vector<IpRoute> routes;
  const auto perhaps = [&](unsigned percent, const char* network, const char* next_hop,
                           std::uint32_t interface_index) {
    if (Chance(percent)) routes.push_back(Route(network, next_hop, interface_index, Metric()));
  };
  perhaps(97, "127.0.0.0/8", "", kLoopback);
  perhaps(95, "0.0.0.0/0", "192.168.77.1", kFirst);
  perhaps(95, "192.168.77.0/24", "", kFirst);
  perhaps(20, "0.0.0.0/0", "10.20.0.1", kSecond);
  perhaps(50, "10.20.0.0/24", "", kSecond);
  perhaps(30, "10.30.0.0/16", "10.20.0.1", kSecond);
  perhaps(10, "0.0.0.0/0", "10.9.0.1", kOtherTunnel);
  perhaps(20, "10.9.0.0/24", "", kOtherTunnel);
  perhaps(5, "203.0.113.0/24", "192.168.77.254", kFirst);
  perhaps(25, "203.0.113.0/24", "10.20.0.1", kSecond);
  perhaps(5, "10.66.66.0/24", "", kOwnTunnel);
  perhaps(5, "128.0.0.0/1", "", kOwnTunnel);
  perhaps(3, "192.168.77.0/24", "", kSecond);
  for (const char* host : {"203.0.113.5/32", "203.0.113.6/32", "198.51.100.9/32"}) {
    perhaps(12, host, "192.168.77.1", kFirst);
    perhaps(4, host, "192.168.77.254", kFirst);
    perhaps(4, host, "10.20.0.1", kSecond);
  }
  std::shuffle(routes.begin(), routes.end(), random_);
  return routes;
}

std::vector<IpRoute> RandomCases::Ipv6Routes() {
  std::vector<IpRoute> routes;
  const auto perhaps = [&](unsigned percent, const char* network, const char* next_hop,
                           std::uint32_t interface_index) {
    if (Chance(percent)) routes.push_back(Route(network, next_hop, interface_index, Metric()));
  };
  perhaps(80, "::/0", "fe80::1", kFirst);
  perhaps(90, "2001:db8:77::/64", "", kFirst);
  perhaps(95, "fe80::/64", "", kFirst);
  perhaps(90, "fe80::/64", "", kSecond);
  perhaps(10, "::/0", "fe80::2", kSecond);
  perhaps(40, "2001:db8:20::/64", "", kSecond);
  perhaps(10, "2001:db8::/32", "fe80::9", kOtherTunnel);
  perhaps(5, "2001:db8::/32", "", kOwnTunnel);
  std::shuffle(routes.begin(), routes.end(), random_);
  return routes;
}

std::vector<InterfaceFacts> RandomCases::Interfaces() {
  std::vector<InterfaceFacts> interfaces;
  for (const std::uint32_t index : {kLoopback, kFirst, kSecond, kOtherTunnel, kOwnTunnel}) {
    const bool physical = index == kFirst || index == kSecond;
    InterfaceFacts facts = {.index = index,
                            .labelled_tunnel = index == kOtherTunnel && Chance(80),
                            .hardware = physical,
                            .ipv4_metric = Chance(60) ? 1 : Metric()};
    if (Chance(2)) facts.hardware = !physical;
    if (Chance(blank_percent_)) facts.labelled_tunnel.reset();
    if (Chance(blank_percent_)) facts.hardware.reset();
    if (Chance(blank_percent_)) facts.ipv4_metric.reset();
    if (!Chance(blank_percent_ / 3)) interfaces.push_back(facts);
  }
  return interfaces;
}

std::optional<Way> RandomCases::Gateway() {
  if (Chance(blank_percent_)) return std::nullopt;
  const std::size_t choice = Below(20);
  if (choice < 14) return Way{kFirst, Address("192.168.77.1")};
  if (choice < 16) return Way{kSecond, Address("10.20.0.1")};
  if (choice == 16) return Way{kOwnTunnel, Address("10.66.66.1")};
  if (choice == 17) return Way{kOtherTunnel, Address("10.9.0.1")};
  if (choice == 18) return Way{kFirst, Address("0.0.0.0")};
  return Way{};
}

Subject RandomCases::NextSubject() {
  const bool ipv4 = Chance(75);
  Subject subject;
  subject.address = Address(OneOf(ipv4 ? kAdministrators : kIpv6Administrators));
  subject.reason = static_cast<SubjectReason>(Below(6));
  const bool second = Chance(25);
  if (subject.address == Address("fe80::50") && !Chance(10)) {
    subject.scope_id = second ? kSecond : kFirst;
  }
  if (!IsConnection(subject) || Chance(blank_percent_)) return subject;
  if (ipv4) {
    subject.local = Address(second ? "10.20.0.2" : "192.168.77.2");
  } else if (subject.address == Address("fe80::50")) {
    subject.local = Address(second != Chance(5) ? "fe80::3" : "fe80::2");
  } else {
    subject.local = Address(second ? "2001:db8:20::2" : "2001:db8:77::2");
  }
  if (Chance(3)) subject.local = Address("192.0.2.99");
  return subject;
}

void RandomCases::FillPeople(Situation& situation) {
  situation.own_addresses = std::vector<OwnAddress>{
      {Address("127.0.0.1"), kLoopback},    {Address("192.168.77.2"), kFirst},
      {Address("198.51.100.2"), kFirst},    {Address("2001:db8:77::2"), kFirst},
      {Address("fe80::2"), kFirst},         {Address("10.20.0.2"), kSecond},
      {Address("2001:db8:20::2"), kSecond}, {Address("fe80::3"), kSecond}};
  if (Chance(5)) situation.own_addresses->push_back({Address("192.168.77.2"), kSecond});
  if (Chance(5)) situation.own_addresses->push_back({Address("fe80::2"), kSecond});
  if (Chance(blank_percent_)) situation.own_addresses.reset();

  const std::size_t count = 1 + Below(3);
  for (std::size_t i = 0; i < count; ++i) situation.subjects.push_back(NextSubject());
  situation.rdp_peers.emplace();
  for (const Subject& subject : situation.subjects) {
    const bool ipv4 = subject.address.family == IpFamily::kIpv4;
    if (ipv4 && subject.reason == SubjectReason::kRdpConnection && !Chance(15)) {
      situation.rdp_peers->push_back(subject.address);
    }
    if (ipv4 && Chance(40)) situation.session_clients.push_back(subject.address);
  }
  if (Chance(30)) situation.rdp_peers->push_back(Address("198.51.100.9"));
  if (Chance(blank_percent_)) situation.rdp_peers.reset();
  situation.all_sessions_read = !Chance(blank_percent_);
}

void RandomCases::FillTunnels(Situation& situation) {
  situation.tunnel_today = Chance(8) ? TunnelToday::kUp : TunnelToday::kNone;
  if (Chance(blank_percent_)) situation.tunnel_today = TunnelToday::kUnknown;
  if (situation.tunnel_today != TunnelToday::kNone && !Chance(20)) {
    situation.tunnel_interface = kOwnTunnel;
  }
}

void RandomCases::FillProfile(Situation& situation) {
  if (Chance(blank_percent_)) return;
  situation.allowed_ips = OneOf(kAllowedIps);
  situation.address = Chance(50) ? "10.66.66.7/32" : OneOf(kAddresses);
}

KnownSettings RandomCases::NextSettings() {
  KnownSettings settings;
  settings.values = {OneOf(kGuardWords), OneOf(kSwitchWords), OneOf(kLists), OneOf(kLists)};
  for (KnownValue& value : settings.values) {
    if (Chance(blank_percent_)) value.reset();
  }
  settings.in_remote_session = Chance(6);
  settings.machine_guard = Chance(10);
  return settings;
}

RandomCase RandomCases::Next() {
  RandomCase made;
  made.settings = NextSettings();
  Situation& situation = made.situation;
  situation.worlds = ListWorlds(made.settings);
  if (!Chance(blank_percent_)) situation.ipv4_routes = Ipv4Routes();
  if (!Chance(blank_percent_)) situation.ipv6_routes = Ipv6Routes();
  situation.interfaces = Interfaces();
  situation.gateway = Gateway();
  FillPeople(situation);
  FillTunnels(situation);
  FillProfile(situation);
  return made;
}

}  // namespace veltrane
