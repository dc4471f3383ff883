// A reply, as any text and as the service would write it: what veltranectl reads from it.

#include "client/exchange/reply.h"

#include "client/text/utf8.h"
#include "tests/fuzz/reply_values.h"
#include "tests/fuzz/require.h"

namespace veltrane {
namespace {

// Compares every member of what was read with what was written, whose ill-formed bytes are
// replaced. Made for the lists of members that the records have.
class Comparison {
 public:
  explicit Comparison(std::vector<std::string> expected) : expected_(std::move(expected)) {}

  void Flag(const char* name, const bool& value) { Next(name, value ? "true" : "false"); }
  template <typename Integer>
  void Number(const char* name, const Integer& value) {
    Next(name, std::to_string(value));
  }
  void Text(const char* name, const std::string& text) { Next(name, text); }
  void OptionalText(const char* name, const std::string& text) { Next(name, text); }
  void OptionalArray(const char*, const std::string&) {}

 private:
  void Next(const char* name, const std::string& actual) {
    RequireEqual(actual, expected_.at(next_), name);
    ++next_;
  }

  std::vector<std::string> expected_;
  std::size_t next_ = 0;
};

class Lister {
 public:
  std::vector<std::string> values;

  void Flag(const char*, const bool& value) { values.emplace_back(value ? "true" : "false"); }
  template <typename Integer>
  void Number(const char*, const Integer& value) {
    values.push_back(std::to_string(value));
  }
  void Text(const char*, const std::string& text) { values.push_back(RepairUtf8(text)); }
  void OptionalText(const char*, const std::string& text) { values.push_back(RepairUtf8(text)); }
  void OptionalArray(const char*, const std::string&) {}
};

template <typename Record, typename List>
void Compare(const Record& actual, const Record& expected, List list) {
  Lister lister;
  list(expected, lister);
  Comparison comparison(lister.values);
  list(actual, comparison);
}

void CompareLists(const BypassReport& actual, const ReplyValues& expected) {
  Require(actual.admin_tokens.size() == expected.admin_tokens.size() &&
              actual.selected.size() == expected.selected.size() &&
              actual.routes.size() == expected.routes.size(),
          "no item of a list is lost");
  for (std::size_t i = 0; i < actual.admin_tokens.size(); ++i) {
    RequireEqual(actual.admin_tokens[i], RepairUtf8(expected.admin_tokens[i]), "a token");
  }
  for (std::size_t i = 0; i < actual.selected.size(); ++i) {
    RequireEqual(actual.selected[i].ip, RepairUtf8(expected.selected[i].ip), "an address");
    RequireEqual(actual.selected[i].source, RepairUtf8(expected.selected[i].source), "a source");
    Require(actual.selected[i].required == expected.selected[i].required, "required");
  }
  for (std::size_t i = 0; i < actual.routes.size(); ++i) {
    Compare(actual.routes[i], expected.routes[i],
            [](auto& record, auto& members) { ListRouteMembers(record, members); });
  }
}

// The texts of the envelope are not escaped, so two characters break it.
bool BreaksEnvelope(const std::string& text) {
  return text.find_first_of("\"\\") != std::string::npos;
}

void CheckWritten(const ReplyValues& values) {
  const auto reply = ReadReply(WrittenReply(values));
  if (BreaksEnvelope(values.phase_or_error) || BreaksEnvelope(values.node_id_or_message)) return;
  Require(reply.has_value(), "a reply of the service is read");
  Require(reply->ok == values.ok, "ok");
  RequireEqual(values.ok ? reply->phase : reply->error, RepairUtf8(values.phase_or_error),
               "the phase or the error");
  RequireEqual(values.ok ? reply->node_id : reply->message, RepairUtf8(values.node_id_or_message),
               "the node or the message");
  Require(reply->bypass.has_value() && reply->guard.has_value(), "both reports are read");
  Compare(reply->bypass->state, values.bypass,
          [](auto& record, auto& members) { ListBypassMembers(record, members); });
  CompareLists(*reply->bypass, values);
  Compare(*reply->guard, values.guard,
          [](auto& record, auto& members) { ListGuardMembers(record, members); });
}

void CheckAnyText(const std::string& text) {
  const auto reply = ReadReply(BareText(text).View());
  if (!reply) return;
  for (const std::string& read : {reply->phase, reply->node_id, reply->error, reply->message}) {
    Require(RepairUtf8(read) == read, "what is read is UTF-8");
  }
}

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  Input input(data, size);
  CheckAnyText(std::string(input.Rest()));
  CheckWritten(TakeReplyValues(input));
  return 0;
}
