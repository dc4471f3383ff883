#include "client/forecast/forecast.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "bypass/host_routes.h"
#include "client/forecast/plan.h"
#include "client/forecast/table.h"

namespace veltrane {
namespace {

using Kind = KnownWay::Kind;

// The verdict for one world.
struct Judgement {
  ForecastVerdict verdict = ForecastVerdict::kUnknown;
  Cause cause = Cause::kPinUnclear;
  std::optional<KnownWay> after = std::nullopt;
  std::vector<IpNetwork> networks = {};
  std::string error = {};
  std::string failure_reason = {};
};

Judgement Unknown(Cause cause) { return {.verdict = ForecastVerdict::kUnknown, .cause = cause}; }

// How packets leave for the subject today; the cause says why that cannot be told.
struct Today {
  std::optional<TableRow> row;
  Cause cause = Cause::kProved;
};

std::optional<std::uint32_t> InterfaceOf(const std::optional<IpAddress>& address,
                                         const Situation& situation) {
  if (!address || !situation.own_addresses) return std::nullopt;
  for (const OwnAddress& own : *situation.own_addresses) {
    if (own.address == *address) return own.interface_index;
  }
  return std::nullopt;
}

// The interface that a packet to a link-local address has to leave by, wherever the table leads;
// for a connection the one that it came to.
std::optional<std::uint32_t> ZoneOf(const Situation& situation, const Subject& subject) {
  if (!IsIpv6LinkLocal(subject.address)) return std::nullopt;
  if (subject.reason == SubjectReason::kRdpConnection) return InterfaceOf(subject.local, situation);
  return subject.scope_id == 0 ? std::nullopt : std::optional(subject.scope_id);
}

Today FindToday(const Situation& situation, const Subject& subject,
                const std::vector<TableRow>& rows) {
  const bool connected = subject.reason == SubjectReason::kRdpConnection;
  const auto arrival = InterfaceOf(subject.local, situation);
  if (connected && !arrival) {
    return {std::nullopt,
            situation.own_addresses ? Cause::kArrivalUnclear : Cause::kOwnAddressesUnread};
  }
  const auto only = connected ? arrival : ZoneOf(situation, subject);
  const LookUp found = FindBestRow(rows, subject.address, only);
  if (!found.best) {
    return {std::nullopt, connected ? Cause::kArrivalUnclear : Cause::kNoWayToday};
  }
  return {found.best, found.equals ? Cause::kWaysAreEqual : Cause::kProved};
}

bool IsOfTunnelToday(const Situation& situation, std::uint32_t interface_index) {
  return situation.tunnel_today != TunnelToday::kNone &&
         situation.tunnel_interface == interface_index;
}

KnownWay WayOf(const std::optional<TableRow>& row, const Situation& situation) {
  if (!row) return {};
  if (row->new_tunnel) return {.kind = Kind::kTunnel, .way = {}};
  const std::uint32_t index = row->way.interface_index;
  const bool tunnel =
      IsOfTunnelToday(situation, index) || FactsOf(situation, index).labelled_tunnel == true;
  return {.kind = tunnel ? Kind::kTunnel : Kind::kPhysical, .way = row->way};
}

// The networks of `Address`; nullopt when they are not known.
std::optional<std::vector<IpNetwork>> OwnNetworks(const Situation& situation) {
  if (!situation.address) return std::nullopt;
  return ParseNetworks(*situation.address);
}

// Marks the host route that is there, or adds the one that the service creates.
void AddPin(const IpAddress& address, const Way& gateway, std::vector<TableRow>& rows) {
  const IpNetwork host{.address = address, .prefix_length = 32};
  for (TableRow& row : rows) {
    if (row.network == host && row.way == gateway) {
      row.pin = true;
      return;
    }
  }
  rows.push_back({.network = host, .way = gateway, .metric = kPinnedMetric, .pin = true});
}

std::vector<TableRow> RowsAfter(const Situation& situation, const Subject& subject,
                                const Plan& plan, Pin pin, std::vector<TableRow> rows) {
  std::erase_if(rows, [&](const TableRow& row) {
    return IsOfTunnelToday(situation, row.way.interface_index);
  });
  const auto add_tunnel = [&rows](const IpNetwork& network) {
    rows.push_back({.network = network, .way = {}, .metric = 0, .new_tunnel = true});
  };
  for (const IpNetwork& network : plan.allowed) add_tunnel(network);
  for (const IpNetwork& network : OwnNetworks(situation).value_or(std::vector<IpNetwork>())) {
    add_tunnel(network);
  }
  if (pin == Pin::kYes) AddPin(subject.address, *situation.gateway, rows);
  return rows;
}

std::vector<IpNetwork> ListSlashZeros(const std::vector<IpNetwork>& networks) {
  std::vector<IpNetwork> found;
  std::copy_if(networks.begin(), networks.end(), std::back_inserter(found),
               [](const IpNetwork& network) { return network.prefix_length == 0; });
  return found;
}

// What, apart from the routes, keeps a way that does not change from being proved.
std::optional<Cause> FindDoubt(const Situation& situation, const Way& way) {
  if (situation.tunnel_today != TunnelToday::kNone) return Cause::kOlderTunnel;
  const InterfaceFacts facts = FactsOf(situation, way.interface_index);
  if (facts.labelled_tunnel == true) return Cause::kOtherTunnel;
  if (facts.labelled_tunnel != false || facts.hardware != true) return Cause::kInterfaceUnproved;
  const auto own_networks = OwnNetworks(situation);
  if (!own_networks) return Cause::kProfileUnread;
  if (!ListSlashZeros(*own_networks).empty()) return Cause::kAddressCatchesAll;
  return std::nullopt;
}

// An address to which no route of the table leads, or not in the way that the table says.
std::optional<Cause> FindOddity(const Situation& situation, const Subject& subject) {
  if (IsLoopback(subject.address)) return Cause::kLoopback;
  if (IsIpv6LinkLocal(subject.address) && !ZoneOf(situation, subject)) return Cause::kZoneMissing;
  if (!situation.own_addresses) return Cause::kOwnAddressesUnread;
  if (InterfaceOf(subject.address, situation)) return Cause::kOwnAddress;
  return std::nullopt;
}

// Compares the ways before and after a connect that goes on.
Judgement Compare(const Situation& situation, const Today& today, const LookUp& after) {
  if (!today.row) return Unknown(today.cause);
  if (!after.best) {
    return {.verdict = ForecastVerdict::kMoves, .cause = Cause::kNowhere, .after = KnownWay()};
  }
  const KnownWay way = WayOf(after.best, situation);
  if (after.best->way != today.row->way) {
    return {.verdict = ForecastVerdict::kMoves,
            .cause = after.best->pin ? Cause::kPinnedElsewhere : Cause::kLeftElsewhere,
            .after = way};
  }
  if (after.equals || today.cause != Cause::kProved) return Unknown(Cause::kWaysAreEqual);
  if (const auto doubt = FindDoubt(situation, after.best->way)) return Unknown(*doubt);
  return {.verdict = ForecastVerdict::kStays, .cause = Cause::kProved, .after = way};
}

// The verdict when the connect goes on, with the subject pinned or not.
Judgement JudgeConnected(const Situation& situation, const Subject& subject, const Plan& plan,
                         Pin pin) {
  if (std::vector<IpNetwork> zeros = ListSlashZeros(plan.allowed); !zeros.empty()) {
    return {.verdict = ForecastVerdict::kBlocked,
            .cause = situation.allowed_ips ? Cause::kSlashZero : Cause::kAssumedCatchAll,
            .networks = std::move(zeros)};
  }
  if (const auto oddity = FindOddity(situation, subject)) return Unknown(*oddity);
  const auto rows = RowsToday(situation, subject.address.family);
  if (!rows) return Unknown(Cause::kTableUnread);
  const LookUp after = FindBestRow(RowsAfter(situation, subject, plan, pin, *rows), subject.address,
                                   ZoneOf(situation, subject));
  if (after.best && after.best->new_tunnel) {
    return {.verdict = ForecastVerdict::kTunnel,
            .cause = Cause::kNetworkTaken,
            .after = WayOf(after.best, situation),
            .networks = {after.best->network}};
  }
  return Compare(situation, FindToday(situation, subject, *rows), after);
}

Judgement Worse(Judgement left, Judgement right) {
  return right.verdict < left.verdict ? std::move(right) : std::move(left);
}

Judgement JudgeWorld(const Situation& situation, const World& world, const Subject& subject) {
  const Plan plan = MakePlan(situation, world, subject);
  if (plan.end != Plan::End::kConnected) {
    return {.verdict = plan.end == Plan::End::kRefused ? ForecastVerdict::kRefused
                                                       : ForecastVerdict::kUndone,
            .cause = plan.end == Plan::End::kRefused ? Cause::kRefusal : Cause::kTunnelDefaultRoute,
            .error = plan.error,
            .failure_reason = plan.failure_reason};
  }
  Judgement judgement =
      JudgeConnected(situation, subject, plan, plan.pin == Pin::kYes ? Pin::kYes : Pin::kNo);
  const bool any_gateway = situation.gateway && !IsUnspecified(situation.gateway->next_hop);
  if (plan.pin == Pin::kPerhaps && any_gateway) {
    judgement = Worse(judgement, JudgeConnected(situation, subject, plan, Pin::kYes));
  }
  return plan.unclear ? Worse(Unknown(*plan.unclear), judgement) : judgement;
}

// Whether packets of the connection keep their way when the machine sends them from the interface
// of the connection's own address alone.
bool MaySurvive(const Situation& situation, const Subject& subject, ForecastVerdict verdict) {
  if (verdict != ForecastVerdict::kTunnel && verdict != ForecastVerdict::kMoves) return false;
  if (subject.reason != SubjectReason::kRdpConnection) return false;
  const auto rows = RowsToday(situation, subject.address.family);
  if (!rows) return false;
  const Today today = FindToday(situation, subject, *rows);
  return today.row && !IsOfTunnelToday(situation, today.row->way.interface_index) &&
         FactsOf(situation, today.row->way.interface_index).labelled_tunnel == false;
}

// The settings along which the verdict changes.
std::vector<Setting> FindDecisive(const std::vector<World>& worlds,
                                  const std::vector<ForecastVerdict>& verdicts) {
  std::vector<Setting> decisive;
  for (std::size_t setting = 0; setting < kSettingNames.size(); ++setting) {
    const auto differs_in_it_alone = [setting](const World& one, const World& other) {
      for (std::size_t i = 0; i < kSettingNames.size(); ++i) {
        if ((one.choices[i] == other.choices[i]) == (i == setting)) return false;
      }
      return true;
    };
    bool decides = false;
    for (std::size_t i = 0; i < worlds.size(); ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        decides =
            decides || (verdicts[i] != verdicts[j] && differs_in_it_alone(worlds[i], worlds[j]));
      }
    }
    if (decides) decisive.push_back(static_cast<Setting>(setting));
  }
  return decisive;
}

Outlook MakeOutlook(const Situation& situation, const Subject& subject) {
  std::vector<ForecastVerdict> verdicts;
  std::optional<Judgement> worst;
  for (const World& world : situation.worlds) {
    Judgement judgement = JudgeWorld(situation, world, subject);
    verdicts.push_back(judgement.verdict);
    worst = worst ? Worse(*std::move(worst), std::move(judgement)) : std::move(judgement);
  }
  if (!worst) worst = Unknown(Cause::kPinUnclear);
  Outlook outlook;
  outlook.subject = subject;
  outlook.verdict = worst->verdict;
  outlook.cause = worst->cause;
  if (const auto rows = RowsToday(situation, subject.address.family)) {
    outlook.now = WayOf(FindToday(situation, subject, *rows).row, situation);
  }
  outlook.after = worst->after;
  outlook.networks = worst->networks;
  outlook.error = worst->error;
  outlook.failure_reason = worst->failure_reason;
  outlook.settled_by = FindDecisive(situation.worlds, verdicts);
  outlook.may_survive = MaySurvive(situation, subject, worst->verdict);
  outlook.replaces_tunnel = situation.tunnel_today == TunnelToday::kUp;
  return outlook;
}

}  // namespace

std::vector<Outlook> MakeForecast(const Situation& situation) {
  std::vector<Outlook> outlooks;
  for (const Subject& subject : situation.subjects) {
    outlooks.push_back(MakeOutlook(situation, subject));
  }
  return outlooks;
}

}  // namespace veltrane
