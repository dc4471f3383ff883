#pragma once

// Taking back the connection that nobody has confirmed.

#include <cstdint>
#include <functional>
#include <string>

namespace veltrane {

// The connection that a connect was to make.
struct MadeConnection {
  std::string node_id;
  bool any_server = false;  // trust any server on the service's pipe
};

// What came of it, without a full stop.
struct Undoing {
  bool undone = false;  // true also when there is nothing to undo
  std::string text;     // for people: what was undone and what is left, or what to do now
};

// Spends this much time, 0 included, on what else there is to do.
using Meanwhile = std::function<void(std::uint32_t milliseconds)>;

// Disconnects, and returns when the tunnel does not run any more and its service has stopped or
// gone. Asks the service first, and again after each disconnect: a connection to another node was
// made by somebody else since, and is left alone; one to the same node is undone, whoever made it;
// a reply that cannot be read is no reason to leave anything alone. While the service cannot be
// reached, is busy or does not reply, and while the tunnel still runs, tries again every 2 s, for 5
// minutes. Where Windows does not say how the tunnel's service is, what the service itself has said
// for 30 s counts. `meanwhile` is called at least once a second.
Undoing Undo(const MadeConnection& made, const Meanwhile& meanwhile);

}  // namespace veltrane
