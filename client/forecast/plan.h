#pragma once

// What the service would do with a connect in one world: the rules of guard/ and bypass/ over
// values. Pure functions.

#include <optional>
#include <string>
#include <vector>

#include "client/forecast/forecast.h"
#include "client/forecast/networks.h"
#include "client/forecast/situation.h"

namespace veltrane {

// Whether the service pins the address asked about.
enum class Pin { kNo, kYes, kPerhaps };

struct Plan {
  enum class End { kConnected, kRefused, kUndone };
  End end = End::kConnected;
  std::string error;           // of kRefused and kUndone, as in the reply
  std::string failure_reason;  // likewise

  std::string allowed_list;        // AllowedIPs as the guard leaves them
  std::vector<IpNetwork> allowed;  // the same, read
  Pin pin = Pin::kNo;

  // Something that is not known and could change this; the plan is then the one for the case that
  // the connect goes on.
  std::optional<Cause> unclear;
};

// What the service would do in this world, as far as it concerns the subject.
Plan MakePlan(const Situation& situation, const World& world, const Subject& subject);

// Finds what is known about an interface; a record that knows nothing when there is none.
InterfaceFacts FactsOf(const Situation& situation, std::uint32_t interface_index);

}  // namespace veltrane
