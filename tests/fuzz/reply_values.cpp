#include "tests/fuzz/reply_values.h"

#include "bypass/report.h"
#include "ipc/message_codec.h"
#include "ipc/reports.h"

namespace veltrane {
namespace {

constexpr std::size_t kMostItems = 4;

// Fills the members of a record, each with the next value of an input.
class Filler {
 public:
  explicit Filler(Input& input) : input_(input) {}

  void Flag(const char*, bool& value) { value = (input_.Byte() & 1) != 0; }

  template <typename Integer>
  void Number(const char*, Integer& value) {
    std::uint32_t number = 0;
    for (int i = 0; i < 4; ++i) number = number << 8 | input_.Byte();
    value = static_cast<Integer>(number);
  }

  void Text(const char*, std::string& text) { text = input_.Text(); }
  void OptionalText(const char*, std::string& text) { text = input_.Text(); }
  void OptionalArray(const char*, std::string&) {}

 private:
  Input& input_;
};

std::vector<SelectedAddress> TakeSelected(Input& input) {
  std::vector<SelectedAddress> selected(input.Byte() % kMostItems);
  for (SelectedAddress& address : selected) {
    address.required = (input.Byte() & 1) != 0;
    address.ip = input.Text();
    address.source = input.Text();
  }
  return selected;
}

std::vector<HostRouteResult> TakeRoutes(Input& input) {
  std::vector<HostRouteResult> routes(input.Byte() % kMostItems);
  Filler filler(input);
  for (HostRouteResult& route : routes) ListRouteMembers(route, filler);
  return routes;
}

std::vector<std::string> TakeTexts(Input& input) {
  std::vector<std::string> texts(input.Byte() % kMostItems);
  for (std::string& text : texts) text = input.Text();
  return texts;
}

std::vector<BypassIpEntry> EntriesOf(const std::vector<SelectedAddress>& selected) {
  std::vector<BypassIpEntry> entries;
  for (const SelectedAddress& address : selected) {
    entries.push_back({address.ip, address.source.c_str(), address.required});
  }
  return entries;
}

}  // namespace

ReplyValues TakeReplyValues(Input& input) {
  ReplyValues values;
  Filler filler(input);
  filler.Flag("ok", values.ok);
  values.phase_or_error = input.Text();
  values.node_id_or_message = input.Text();
  ListBypassMembers(values.bypass, filler);
  values.admin_tokens = TakeTexts(input);
  values.selected = TakeSelected(input);
  values.routes = TakeRoutes(input);
  values.bypass.admin_env_ips = FormatStringArray(values.admin_tokens);
  values.bypass.selected_bypass_ip_entries = FormatBypassEntries(EntriesOf(values.selected));
  values.bypass.route_add_results_detail = FormatRouteAddDetails(values.routes);
  ListGuardMembers(values.guard, filler);
  return values;
}

std::string WrittenReply(const ReplyValues& values) {
  return values.ok ? AppendReports(MakeOkReply(values.phase_or_error, values.node_id_or_message),
                                   values.bypass, values.guard)
                   : MakeErrorReplyWithReports(values.phase_or_error, values.node_id_or_message,
                                               values.bypass, values.guard);
}

}  // namespace veltrane
