// A WireGuard configuration as veltranectl reads it.

#include "client/profile/conf_profile.h"

#include "client/text/split.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/profile_rules.h"
#include "tests/fuzz/require.h"

namespace veltrane {
namespace {

// The text with something inserted before each line feed and at the end.
std::string WithAtLineEnds(const std::string& text, const std::string& insertion) {
  std::string changed;
  for (const char c : text) {
    if (c == '\n') changed += insertion;
    changed += c;
  }
  return changed + insertion;
}

void RequireSameReading(const std::string& text, const ProfileReading& expected,
                        const std::string& property) {
  const ProfileReading reading = ReadConfProfile(BareText(text).View());
  Require(reading.profile.has_value() == expected.profile.has_value(), property);
  RequireEqual(reading.problem.text, expected.problem.text, property);
  Require(reading.problem.line == expected.problem.line, property);
  if (reading.profile) RequireSameValues(*reading.profile, *expected.profile, property);
}

// One line of a file, or none for an empty value.
std::string LineOf(const std::string& name, std::string_view value) {
  return value.empty() ? "" : name + " = " + std::string(value) + "\n";
}

// The same for a list, each of whose items gets a line.
std::string LinesOf(const std::string& name, std::string_view list) {
  std::string lines;
  for (const std::string_view item : Split(list, ',')) lines += LineOf(name, Trimmed(item));
  return lines;
}

// A file with the values of the profile, whose lists are written by one of those two.
std::string FileOf(const Profile& profile,
                   std::string (*write_list)(const std::string& name, std::string_view list)) {
  const auto value = [&profile](ProfileKey key) { return profile[key].View(); };
  return "[interface]\n" + LineOf("PRIVATEKEY", value(ProfileKey::kClientPrivateKey)) +
         write_list("address", value(ProfileKey::kAddress)) +
         write_list("Dns", value(ProfileKey::kDns)) + "[PEER]\n" +
         LineOf("publickey", value(ProfileKey::kServerPublicKey)) +
         LineOf("PreSharedKey", value(ProfileKey::kPreSharedKey)) +
         write_list("AllowedIPs", value(ProfileKey::kAllowedIps)) +
         "endpoint = " + std::string(value(ProfileKey::kEndpointHost)) + ":" +
         std::string(value(ProfileKey::kEndpointPort)) + "\n";
}

void CheckWrittenAgain(const Profile& profile) {
  for (const auto write_list : {LineOf, LinesOf}) {
    const ProfileReading again = ReadConfProfile(FileOf(profile, write_list));
    Require(again.profile.has_value(), "what is written is read: " + again.problem.text);
    RequireEqual(FileOf(*again.profile, write_list), FileOf(profile, write_list),
                 "what is written comes back the same");
  }
  Require(profile[ProfileKey::kEndpointPort].View().find(':') == std::string_view::npos,
          "the last colon is before the port");
}

void Check(const std::string& text) {
  ProfileReading reading = ReadConfProfile(BareText(text).View());
  RequireSameReading(WithAtLineEnds(text, "\r"), reading, "carriage returns do not matter");
  RequireSameReading(WithAtLineEnds(text, " # x"), reading, "comments do not matter");
  if (!reading.profile) return CheckProblem(reading.problem, text);
  CheckWrittenAgain(*reading.profile);
  (*reading.profile)[ProfileKey::kNodeId] = {SecretText("office"), 0};
  CheckProfile(*reading.profile, kConfKeyWords);
}

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  OnClientMachine(ReadConfProfile, Input(data, size).Text(), Check);
  return 0;
}
