#include "tests/faults/walk.h"

#include <algorithm>

namespace veltrane::faults {
namespace {

using Texts = std::vector<std::string>;

// The entry that begins like this, without the beginning; empty when there is none.
std::string Entry(const Texts& texts, const std::string& beginning) {
  for (const std::string& text : texts) {
    if (text.starts_with(beginning)) return text.substr(beginning.size());
  }
  return "";
}

}  // namespace

Walk WalkThrough(const Account& account) {
  Walk walk;
  for (const RouteEvent& event : account.routes) {
    if (event.what == "new process") walk.abandoned = walk.recorded;
    if (event.what == "apply" || event.what == "new process") walk.recorded.clear();
    if (event.what == "create" && event.done) walk.recorded.push_back(event.route);
    if (event.what == "delete" && !TakeOne(walk.recorded, event.route)) {
      walk.complaints.push_back("a route that is not recorded was deleted: " + event.route);
    }
  }
  return walk;
}

TunnelTexts TunnelOf(const Machinery& machinery) {
  return {Entry(machinery.services, "VeltraneVpnTunnel$Active "),
          Entry(machinery.files, "active.conf "), Entry(machinery.files, "active.conf.tmp ")};
}

bool TakeOne(Texts& texts, const std::string& text) {
  const auto found = std::find(texts.begin(), texts.end(), text);
  if (found == texts.end()) return false;
  texts.erase(found);
  return true;
}

void Expect(bool holds, const std::string& complaint, Complaints& complaints) {
  if (!holds) complaints.push_back(complaint);
}

}  // namespace veltrane::faults
