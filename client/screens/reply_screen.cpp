#include "client/screens/screens.h"
#include "client/text/quoting.h"

namespace veltrane {
namespace {

std::string Headline(const Reply& reply, const Painter& paint) {
  if (!reply.ok) {
    return paint(Colour::kBad, "refused") + ": " + Shown(reply.error) + "\n" +
           Row("reason", Shown(reply.message));
  }
  const bool connected = reply.phase == "connected";
  std::string line = paint(connected ? Colour::kGood : Colour::kHeading, Shown(reply.phase));
  if (!reply.node_id.empty()) line += " to " + Shown(reply.node_id);
  return line + "\n";
}

}  // namespace

std::string ReplyScreen(const Reply& reply, const Painter& paint) {
  std::string screen = Headline(reply, paint);
  if (reply.tunnel_running) {
    screen += Row("tunnel service", *reply.tunnel_running ? "running" : "not running");
  }
  if (reply.bypass) screen += "\n" + BypassScreen(*reply.bypass, paint);
  if (reply.guard) screen += "\n" + GuardScreen(*reply.guard, paint);
  return screen;
}

}  // namespace veltrane
