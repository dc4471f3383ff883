#include "tests/simulated/routes.h"

#include <arpa/inet.h>

#include <algorithm>
#include <bit>
#include <tuple>
#include <utility>

#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {
namespace {

constexpr std::uint32_t kInvalid = 87;        // ERROR_INVALID_PARAMETER
constexpr std::uint32_t kNotFound = 1168;     // ERROR_NOT_FOUND
constexpr std::uint32_t kUnreachable = 1232;  // ERROR_HOST_UNREACHABLE
constexpr std::uint32_t kDirect = 3;          // MIB_IPROUTE_TYPE_DIRECT

struct Prefix {
  std::uint32_t dest;
  std::uint32_t mask;
};

Prefix ParsePrefix(const std::string& text) {
  const std::size_t slash = text.find('/');
  if (slash == std::string::npos) Die("no destination with a prefix length: " + text);
  const int length = std::stoi(text.substr(slash + 1));
  if (length < 0 || length > 32) Die("no prefix length: " + text);
  const std::uint32_t mask = length == 0 ? 0 : htonl(0xFFFFFFFF << (32 - length));
  return {Ip(text.substr(0, slash)), mask};
}

bool Leads(const ForwardRow& row, const Prefix& prefix) {
  return row.dest == prefix.dest && row.mask == prefix.mask;
}

bool SameRoute(const ForwardRow& left, const ForwardRow& right) {
  return left.dest == right.dest && left.mask == right.mask && left.next_hop == right.next_hop &&
         left.interface_index == right.interface_index;
}

bool SortsBefore(const ForwardRow& left, const ForwardRow& right) {
  const auto key = [](const ForwardRow& row) {
    return std::tuple(ntohl(row.dest), row.proto, row.policy, ntohl(row.next_hop));
  };
  return key(left) < key(right);
}

}  // namespace

ForwardRow MakeRoute(const std::string& destination, const std::string& next_hop,
                     std::uint32_t interface_index, std::uint32_t metric) {
  const Prefix prefix = ParsePrefix(destination);
  ForwardRow row;
  row.dest = prefix.dest;
  row.mask = prefix.mask;
  row.next_hop = Ip(next_hop);
  row.interface_index = interface_index;
  row.type = row.next_hop == 0 ? kDirect : kRouteTypeIndirect;
  row.proto = kRouteProtoManagement;
  row.metric1 = metric;
  return row;
}

std::string RouteText(const ForwardRow& row) {
  return IpText(row.dest) + "/" + std::to_string(std::popcount(row.mask)) + " via " +
         IpText(row.next_hop) + " if " + std::to_string(row.interface_index) + " metric " +
         std::to_string(row.metric1);
}

void Routes::AddPhysicalNetwork() {
  AddInterface(12, L"Ethernet", L"Intel(R) Ethernet Connection");
  AddAdapterAddress("192.168.1.10");
  Add("0.0.0.0/0", "192.168.1.1", 12, 25);
  Add("192.168.1.0/24", "0.0.0.0", 12, 281);
}

void Routes::Add(const ForwardRow& row) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  rows_.push_back(row);
}

void Routes::Add(const std::string& destination, const std::string& next_hop,
                 std::uint32_t interface_index, std::uint32_t metric) {
  Add(MakeRoute(destination, next_hop, interface_index, metric));
}

std::size_t Routes::Remove(const std::string& destination) {
  const Prefix prefix = ParsePrefix(destination);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return std::erase_if(rows_, [&prefix](const ForwardRow& row) { return Leads(row, prefix); });
}

void Routes::Clear() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  rows_.clear();
}

void Routes::SetMetric(const std::string& destination, std::uint32_t metric) {
  const Prefix prefix = ParsePrefix(destination);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  for (ForwardRow& row : rows_) {
    if (Leads(row, prefix)) row.metric1 = metric;
  }
}

std::vector<ForwardRow> Routes::Rows() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return rows_;
}

std::vector<std::string> Routes::Texts() const {
  std::vector<std::string> texts;
  for (const ForwardRow& row : Rows()) texts.push_back(RouteText(row));
  return texts;
}

bool Routes::Has(const std::string& route_text) const {
  const std::vector<std::string> texts = Texts();
  return std::find(texts.begin(), texts.end(), route_text) != texts.end();
}

void Routes::KeepTableOrder() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  keep_order_ = true;
}

void Routes::SetMetricOfCreatedRows(std::uint32_t metric) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  created_metric_ = metric;
}

void Routes::AddInterface(std::uint32_t index, const std::wstring& alias,
                          const std::wstring& description) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  interfaces_[index].names = {alias, description};
}

void Routes::RemoveInterface(std::uint32_t index) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  interfaces_.erase(index);
}

void Routes::OverrideBestRoute(const BestRoute& answer) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  best_ = answer;
}

void Routes::ClearBestRouteOverride() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  best_.reset();
}

void Routes::OnAnswer(AnswerHook hook) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  on_answer_ = std::move(hook);
}

void Routes::Answer(const char* change, const std::string& row, std::uint32_t status) {
  AnswerHook hook;
  {
    const std::lock_guard<std::mutex> lock(core_.mutex);
    hook = on_answer_;
  }
  if (hook) hook(change, row, status);
}

std::vector<ForwardRow> Routes::Read() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  std::vector<ForwardRow> rows = rows_;
  if (!keep_order_) std::stable_sort(rows.begin(), rows.end(), SortsBefore);
  return rows;
}

std::uint32_t Routes::Create(ForwardRow row) {
  if (row.proto != kRouteProtoManagement) return kInvalid;
  const std::lock_guard<std::mutex> lock(core_.mutex);
  for (const ForwardRow& existing : rows_) {
    if (SameRoute(existing, row)) return kErrorObjectAlreadyExists;
  }
  row.metric1 = created_metric_.value_or(row.metric1);
  rows_.push_back(row);
  return 0;
}

std::uint32_t Routes::Delete(const ForwardRow& row) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto existing = std::find_if(rows_.begin(), rows_.end(), [&row](const ForwardRow& other) {
    return SameRoute(row, other) && row.proto == other.proto;
  });
  if (existing == rows_.end()) return kNotFound;
  rows_.erase(existing);
  return 0;
}

Result<BestRoute> Routes::Best(std::uint32_t dest) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (best_) return *best_;
  const ForwardRow* best = nullptr;
  for (const ForwardRow& row : rows_) {
    if ((dest & row.mask) != row.dest) continue;
    const auto rank = [](const ForwardRow& candidate) {
      return std::tuple(32 - std::popcount(candidate.mask), candidate.metric1);
    };
    if (best == nullptr || rank(row) < rank(*best)) best = &row;
  }
  if (best == nullptr) return Result<BestRoute>::Failure(kUnreachable);
  return BestRoute{best->next_hop, best->interface_index};
}

std::optional<InterfaceNames> Routes::Names(std::uint32_t index) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto names = interfaces_.find(index);
  if (names == interfaces_.end()) return std::nullopt;
  return names->second.names;
}

}  // namespace simulated

using simulated::Machine;

std::optional<std::vector<ForwardRow>> ReadForwardTable() {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("ReadForwardTable");
  if (failure) return simulated::FailedList(machine.routes.Read(), *failure);
  return machine.routes.Read();
}

std::uint32_t CreateForwardRow(const ForwardRow& row) {
  Machine& machine = Machine::Current();
  const std::string text = simulated::RouteText(row);
  const auto failure = machine.calls.Begin("CreateForwardRow", text);
  const std::uint32_t status = failure ? *failure : machine.routes.Create(row);
  machine.routes.Answer("create", text, status);
  return status;
}

std::uint32_t DeleteForwardRow(const ForwardRow& row) {
  Machine& machine = Machine::Current();
  const std::string text = simulated::RouteText(row);
  const auto failure = machine.calls.Begin("DeleteForwardRow", text);
  const std::uint32_t status = failure ? *failure : machine.routes.Delete(row);
  machine.routes.Answer("delete", text, status);
  return status;
}

Result<BestRoute> FindBestRoute(std::uint32_t dest) {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("FindBestRoute", simulated::IpText(dest));
  return failure ? Result<BestRoute>::Failure(*failure) : machine.routes.Best(dest);
}

std::optional<InterfaceNames> ReadInterfaceNames(std::uint32_t interface_index) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("ReadInterfaceNames", std::to_string(interface_index))) {
    return std::nullopt;
  }
  return machine.routes.Names(interface_index);
}

}  // namespace veltrane
