#pragma once

// The screens of status, connect, disconnect and register, as text. Pure functions.

#include <string>

#include "client/exchange/reply.h"
#include "client/profile/profile.h"
#include "client/screens/paint.h"

namespace veltrane {

// A whole reply: phase and node, the tunnel service where the reply tells of it, and the reports
// where it carries them.
std::string ReplyScreen(const Reply& reply, const Painter& paint);

// The two reports, one below the other, each with its heading.
std::string BypassScreen(const BypassReport& report, const Painter& paint);
std::string GuardScreen(const RouteGuardResult& guard, const Painter& paint);

// What a connect is about to send: private and preshared keys by their length alone, public keys by
// their beginning.
std::string ProfileScreen(const Profile& profile, const std::string& nonce, const Painter& paint);

}  // namespace veltrane
