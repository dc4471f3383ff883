#include "tests/simulation/promise.h"

#include <map>

#include "tests/simulation/wire.h"

namespace veltrane::simulation {
namespace {

using simulated::Machine;

constexpr std::size_t kProcessCapacity = 512;
constexpr std::size_t kRegistryBytes = 2048;

std::string StoredSettingOf(const Machine& machine, RegistryRoot root, const wchar_t* key,
                            const std::wstring& name) {
  const auto text = machine.registry.ReadText(root, key, name, kRegistryBytes);
  return text ? simulated::Narrow(*text) : "";
}

bool BypassIsOn(const Machine& machine) {
  const std::wstring word =
      simulated::FoldCase(machine.environment.Process(L"VELTRANE_POC_ADMIN_BYPASS", 16));
  if (word == L"1" || word == L"true" || word == L"yes") return true;
  if (word == L"0" || word == L"false" || word == L"no") return false;
  return !SettingOf(machine, L"ADMIN_BYPASS_IP").empty() ||
         !SettingOf(machine, L"ADMIN_BYPASS_IPS").empty();
}

// The addresses to be pinned, and whether each is required.
std::map<std::string, bool> Candidates(const Machine& machine, const std::set<std::string>& own) {
  std::map<std::string, bool> candidates;
  const auto add = [&](const std::string& address, bool required) {
    if (IsPublic(address) && !own.contains(address)) candidates[address] |= required;
  };
  for (const wchar_t* name : {L"ADMIN_BYPASS_IP", L"ADMIN_BYPASS_IPS"}) {
    for (const std::string& address : Addresses(SettingOf(machine, name))) add(address, true);
  }
  for (const IpConnection& connection : machine.connections.Established(IpFamily::kIpv4)) {
    if (connection.local_port != 3389) continue;
    std::uint32_t number = 0;
    std::copy_n(connection.remote.bytes.begin(), sizeof(number),
                reinterpret_cast<std::uint8_t*>(&number));
    add(simulated::IpText(number), true);
  }
  const auto add_session = [&](std::uint32_t id) {
    const auto client = machine.sessions.Address(id);
    if (!client || client->family != 2) return;
    add(std::to_string(client->bytes[2]) + "." + std::to_string(client->bytes[3]) + "." +
            std::to_string(client->bytes[4]) + "." + std::to_string(client->bytes[5]),
        false);
  };
  if (machine.sessions.Console() != 0xFFFFFFFF) add_session(machine.sessions.Console());
  for (const Session& session : machine.sessions.List()) {
    if (session.state <= 1) add_session(session.id);
  }
  return candidates;
}

// Whether the route is there afterwards and good: one that is there with a metric of 15 or less
// stays, one that is there otherwise is in the way, and else it is created, with metric 1 unless
// the machine gives it another.
bool CanBePinned(const Machine& machine, const std::string& address, const std::string& way) {
  const std::string beginning = address + "/32 via " + way + " metric ";
  for (const std::string& route : machine.routes.Texts()) {
    if (route.starts_with(beginning)) return std::stoul(route.substr(beginning.size())) <= 15;
  }
  return machine.routes.MetricOfCreatedRows().value_or(1) <= 15;
}

// The reason for which the bypass refuses; empty when it does not.
std::string WhyNotPinned(const Machine& machine, const std::set<std::string>& own) {
  const std::map<std::string, bool> candidates = Candidates(machine, own);
  bool any = false;
  for (const auto& [address, required] : candidates) any = any || required;
  if (!any) return "no_admin_bypass_ips";
  const std::optional<std::string> way = PhysicalWay(machine);
  if (!way) return "physical_gateway_missing";
  for (const auto& [address, required] : candidates) {
    if (required && !CanBePinned(machine, address, *way)) return "route_add_failed";
  }
  return "";
}

Promise Refusal(const std::string& error, const std::string& reason = {}) {
  return {.kind = Promise::Kind::kReply, .error = error, .reason = reason};
}

Promise PromiseForConnect(const Machine& machine, const std::string& request,
                          const std::string& nonce, const std::set<std::string>& own) {
  if (!nonce.empty() && FieldOf(request, "session_nonce") != nonce) {
    return Refusal("session_mismatch");
  }
  Wish wish = WishOf(request);
  if (!wish.port) return {.kind = Promise::Kind::kEnd};
  if (wish.node.empty() || wish.private_key.empty()) return Refusal("invalid_profile");

  const std::wstring guard_name = L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE";
  const bool guard = IsOn(SettingOf(machine, guard_name));
  const bool remote = machine.sessions.IsRemote();
  if (remote && !guard && IsOn(MachineSettingOf(machine, guard_name))) {
    return Refusal("poc_env_read_failed");
  }
  if (guard) wish = Guarded(wish);
  if (guard && HasCatchAll(ConfOf(wish))) return Refusal("poc_route_guard_failed");
  if (remote && !guard) return Refusal("poc_route_guard_failed");
  const bool bypass = !guard && BypassIsOn(machine);
  if (bypass) {
    const std::string reason = WhyNotPinned(machine, own);
    if (!reason.empty()) return Refusal("admin_bypass_failed", reason);
  }
  std::set<std::string> administrators;
  for (const auto& [address, required] : Candidates(machine, own)) administrators.insert(address);
  return {.kind = Promise::Kind::kGoesOn,
          .bypass = bypass,
          .guard = guard,
          .conf = ConfOf(wish),
          .delay = SecondsOf(SettingOf(machine, L"VELTRANE_POC_AUTO_STOP_SECONDS")),
          .administrators = administrators};
}

}  // namespace

std::string SettingOf(const Machine& machine, const std::wstring& name) {
  const std::string process =
      simulated::Narrow(machine.environment.Process(name, kProcessCapacity));
  if (!process.empty()) return process;
  const std::string stored = MachineSettingOf(machine, name);
  if (!stored.empty()) return stored;
  return StoredSettingOf(machine, RegistryRoot::kCurrentUser, simulated::kUserEnvironmentKey, name);
}

bool MayBeOn(const Machine& machine, const std::wstring& name, bool unreadable) {
  if (IsOn(SettingOf(machine, name))) return true;
  if (!unreadable) return false;
  return IsOn(MachineSettingOf(machine, name)) ||
         IsOn(StoredSettingOf(machine, RegistryRoot::kCurrentUser, simulated::kUserEnvironmentKey,
                              name));
}

std::string MachineSettingOf(const Machine& machine, const std::wstring& name) {
  return StoredSettingOf(machine, RegistryRoot::kLocalMachine, simulated::kMachineEnvironmentKey,
                         name);
}

std::set<std::string> OwnPublicAddresses(const Machine& machine) {
  std::set<std::string> own;
  for (const std::uint32_t address : machine.routes.AdapterAddresses()) {
    if (IsPublic(simulated::IpText(address))) own.insert(simulated::IpText(address));
  }
  return own;
}

std::optional<std::string> PhysicalWay(const Machine& machine) {
  const Result<BestRoute> best = machine.routes.Best(simulated::Ip("8.8.8.8"));
  if (!best || best->next_hop == 0) return std::nullopt;
  return simulated::IpText(best->next_hop) + " if " + std::to_string(best->interface_index);
}

Promise PromiseFor(const Machine& machine, const std::string& request, const std::string& nonce,
                   bool counted, const std::set<std::string>& own) {
  if (MentionsPath(request)) return Refusal("forbidden_path");
  const std::string op = FieldOf(request, "op");
  if (op == "connect") return PromiseForConnect(machine, request, nonce, own);
  if (op == "disconnect" && !counted &&
      IsOn(SettingOf(machine, L"VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP"))) {
    return {.kind = Promise::Kind::kEnd};
  }
  const bool known = op == "disconnect" || op == "status" || op == "register_session";
  return Refusal(known ? "" : "unknown_op");
}

}  // namespace veltrane::simulation
