#pragma once

// The screens of status, connect, disconnect and register, as text. Pure functions.

#include <string>

#include "client/exchange/reply.h"
#include "client/profile/profile.h"
#include "client/screens/paint.h"

namespace veltrane {

// A whole reply: phase and node, then the tunnel service and the reports where the reply has them.
std::string ReplyScreen(const Reply& reply, const Painter& paint);

// Each of the two reports, with its heading.
std::string BypassScreen(const BypassReport& report, const Painter& paint);
std::string GuardScreen(const RouteGuardResult& guard, const Painter& paint);

// What a connect is about to send. Of private and preshared keys only the length is shown, of
// public keys only the beginning.
std::string ProfileScreen(const Profile& profile, const std::string& nonce, const Painter& paint);

}  // namespace veltrane
