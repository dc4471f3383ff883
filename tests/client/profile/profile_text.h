#pragma once

// Profiles as texts that a test can compare.

#include <string>

#include <gtest/gtest.h>

#include "client/profile/conf_profile.h"
#include "client/profile/json_profile.h"
#include "client/profile/profile.h"
#include "tests/simulated/client_side.h"

namespace veltrane {

// "key@line=value " for every value that is not empty.
inline std::string ProfileText(const Profile& profile) {
  std::string text;
  for (std::size_t i = 0; i < kProfileKeyNames.size(); ++i) {
    const ProfileValue& value = profile[static_cast<ProfileKey>(i)];
    if (value.IsEmpty()) continue;
    text += std::string(kProfileKeyNames[i]) + "@" + std::to_string(value.line) + "=" +
            std::string(value.View()) + " ";
  }
  return text;
}

// The profile, or the problem.
inline std::string ReadingText(const ProfileReading& reading) {
  if (reading.profile) return ProfileText(*reading.profile);
  return std::to_string(reading.problem.line) + ": " + reading.problem.text;
}

// Secrets are wiped through the platform, so tests of profiles need a machine too.
class WithClientSide : public testing::Test {
 protected:
  simulated::Machine machine;
  simulated::ClientSide side;
};

// A text that is not a profile, and the problem that must be reported.
struct BadText {
  const char* text;
  const char* problem;
};

class ConfProfile : public WithClientSide {
 protected:
  static std::string Read(const std::string& text) { return ReadingText(ReadConfProfile(text)); }
};

class JsonProfile : public WithClientSide {
 protected:
  static std::string Read(const std::string& text) { return ReadingText(ReadJsonProfile(text)); }
};

}  // namespace veltrane
