#include "client/forecast/forecast.h"

#include <algorithm>
#include <utility>

#include "client/forecast/plan.h"
#include "client/forecast/table.h"
#include "client/forecast/ways.h"
#include "client/text/split.h"

namespace veltrane {
namespace {

// The verdict for one world.
struct Judgement {
  ForecastVerdict verdict = ForecastVerdict::kUnknown;
  Cause cause = Cause::kPinUnclear;
  std::optional<KnownWay> after = std::nullopt;
  std::vector<std::string> networks = {};
  std::string error = {};
  std::string failure_reason = {};
};

Judgement Unknown(Cause cause) { return {.verdict = ForecastVerdict::kUnknown, .cause = cause}; }

// The items of a list that stand for one of these networks, as they are written.
std::vector<std::string> ItemsThat(const std::string& list, bool (*fits)(const IpNetwork&)) {
  std::vector<std::string> items;
  for (const std::string_view item : Split(list, ',')) {
    const std::optional<IpNetwork> network = ParseNetwork(Trimmed(item));
    if (network && fits(*network)) items.emplace_back(Trimmed(item));
  }
  return items;
}

bool IsSlashZero(const IpNetwork& network) { return network.prefix_length == 0; }

// What is written for a network that the tunnel takes, in AllowedIPs or in Address.
std::string ItemFor(const IpNetwork& network, const Situation& situation, const Plan& plan) {
  for (const std::string& list : {plan.allowed_list, situation.address.value_or("")}) {
    for (const std::string_view item : Split(list, ',')) {
      if (ParseNetwork(Trimmed(item)) == network) return std::string(Trimmed(item));
    }
  }
  return NetworkText(network);
}

// The addresses that the tunnel itself gets; nullopt when they are not known.
std::optional<std::vector<IpAddress>> TunnelAddresses(const Situation& situation) {
  const std::string list = situation.address.value_or("");
  std::vector<IpAddress> addresses;
  for (const std::string_view item : Split(list, ',')) {
    const std::string_view text = Trimmed(item);
    const std::optional<IpAddress> address = ParseAddress(text.substr(0, text.find('/')));
    if (!address || !ParseNetwork(text)) return std::nullopt;
    addresses.push_back(*address);
  }
  return addresses;
}

bool IsAmong(const IpAddress& address, const std::vector<IpAddress>& addresses) {
  return std::find(addresses.begin(), addresses.end(), address) != addresses.end();
}

bool IsOwn(const IpAddress& address, const Situation& situation) {
  return std::any_of(situation.own_addresses->begin(), situation.own_addresses->end(),
                     [&](const OwnAddress& own) { return own.address == address; });
}

// What, apart from the routes, keeps a way that does not change from being proved.
std::optional<Cause> FindDoubt(const Situation& situation, const Way& way) {
  if (situation.tunnel_today != TunnelToday::kNone) return Cause::kOlderTunnel;
  const InterfaceFacts facts = FactsOf(situation, way.interface_index);
  if (facts.labelled_tunnel == true) return Cause::kOtherTunnel;
  if (facts.labelled_tunnel != false || facts.hardware != true) return Cause::kInterfaceUnproved;
  const auto addresses = TunnelAddresses(situation);
  if (!addresses) return Cause::kProfileUnread;
  if (!ItemsThat(*situation.address, IsSlashZero).empty()) return Cause::kAddressCatchesAll;
  for (const IpAddress& address : *addresses) {
    if (address == way.next_hop || IsOwn(address, situation)) return Cause::kAddressTaken;
  }
  return std::nullopt;
}

// Why the table does not say where packets to an address go.
std::optional<Cause> FindOddity(const Situation& situation, const Subject& subject) {
  const IpAddress& address = subject.address;
  const auto rows = RowsToday(situation, address.family);
  if (!IsOfMachine(address) || (rows && IsBroadcastOfLink(*rows, address))) return Cause::kNobodys;
  if (IsLoopback(address)) return Cause::kLoopback;
  if (!situation.own_addresses) return Cause::kOwnAddressesUnread;
  if (IsIpv6LinkLocal(address) && !ZoneOf(situation, subject)) return Cause::kZoneMissing;
  const bool of_tunnel =
      IsAmong(address, TunnelAddresses(situation).value_or(std::vector<IpAddress>()));
  if (of_tunnel || IsOwn(address, situation)) return Cause::kOwnAddress;
  return std::nullopt;
}

// Compares the ways before and after a connect that goes on.
Judgement Compare(const Situation& situation, const Subject& subject, const LookUp& today,
                  const LookUp& after) {
  if (!today.best) {
    return Unknown(IsConnection(subject) ? Cause::kArrivalUnclear : Cause::kNoWayToday);
  }
  const KnownWay way = DescribeWay(after.best, situation);
  if (!after.best) {
    return {.verdict = ForecastVerdict::kMoves, .cause = Cause::kNowhere, .after = way};
  }
  const bool any_alike = std::any_of(today.ways.begin(), today.ways.end(),
                                     [&after](const Way& one) { return LeadsBy(one, after); });
  if (!any_alike) {
    return {.verdict = ForecastVerdict::kMoves,
            .cause = after.best->pin ? Cause::kPinnedElsewhere : Cause::kLeftElsewhere,
            .after = way};
  }
  if (today.ways.size() > 1 || after.ways.size() > 1) return Unknown(Cause::kWaysAreEqual);
  if (const auto doubt = FindDoubt(situation, after.best->way)) return Unknown(*doubt);
  return {.verdict = ForecastVerdict::kStays, .cause = Cause::kProved, .after = way};
}

// The verdict when the connect goes on, with the subject pinned or not.
Judgement JudgeConnected(const Situation& situation, const Subject& subject, const Plan& plan,
                         Pin pin) {
  if (std::vector<std::string> zeros = ItemsThat(plan.allowed_list, IsSlashZero); !zeros.empty()) {
    return {.verdict = ForecastVerdict::kBlocked,
            .cause = situation.allowed_ips ? Cause::kSlashZero : Cause::kAssumedCatchAll,
            .networks = std::move(zeros)};
  }
  if (const auto oddity = FindOddity(situation, subject)) return Unknown(*oddity);
  const auto rows = RowsToday(situation, subject.address.family);
  if (!rows) return Unknown(Cause::kTableUnread);
  const LookUp after = FindWayAfter(situation, subject, plan, pin, *rows);
  if (after.best && after.best->new_tunnel) {
    return {.verdict = ForecastVerdict::kTunnel,
            .cause = Cause::kNetworkTaken,
            .after = DescribeWay(after.best, situation),
            .networks = {ItemFor(after.best->network, situation, plan)}};
  }
  return Compare(situation, subject, FindWayToday(situation, subject, *rows), after);
}

Judgement Worse(Judgement left, Judgement right) {
  return right.verdict < left.verdict ? std::move(right) : std::move(left);
}

Judgement JudgeWorld(const Situation& situation, const World& world, const Subject& subject) {
  const Plan plan = MakePlan(situation, world, subject);
  if (plan.end != Plan::End::kConnected) {
    const bool refused = plan.end == Plan::End::kRefused;
    return {.verdict = refused ? ForecastVerdict::kRefused : ForecastVerdict::kUndone,
            .cause = refused ? Cause::kRefusal : Cause::kTunnelDefaultRoute,
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
  if (!IsConnection(subject)) return false;
  const auto rows = RowsToday(situation, subject.address.family);
  if (!rows) return false;
  const LookUp today = FindWayToday(situation, subject, *rows);
  if (!today.best) return false;
  const std::uint32_t index = today.best->way.interface_index;
  return !IsOfTunnelToday(situation, index) && FactsOf(situation, index).labelled_tunnel == false;
}

bool DifferInThisAlone(const World& one, const World& other, std::size_t setting) {
  for (std::size_t i = 0; i < kSettingNames.size(); ++i) {
    if ((one.choices[i] == other.choices[i]) == (i == setting)) return false;
  }
  return true;
}

// The settings along which the verdict changes.
std::vector<Setting> FindDecisive(const std::vector<World>& worlds,
                                  const std::vector<ForecastVerdict>& verdicts) {
  std::vector<Setting> decisive;
  for (std::size_t setting = 0; setting < kSettingNames.size(); ++setting) {
    bool decides = false;
    for (std::size_t i = 0; i < worlds.size(); ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        decides = decides ||
                  (verdicts[i] != verdicts[j] && DifferInThisAlone(worlds[i], worlds[j], setting));
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
    outlook.now = DescribeWay(FindWayToday(situation, subject, *rows).best, situation);
  }
  outlook.after = worst->after;
  outlook.networks = worst->networks;
  outlook.error = worst->error;
  outlook.failure_reason = worst->failure_reason;
  outlook.settled_by = FindDecisive(situation.worlds, verdicts);
  outlook.may_survive = MaySurvive(situation, subject, worst->verdict);
  outlook.replaces_tunnel = situation.tunnel_today != TunnelToday::kNone;
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
