#include "tests/fuzz/profile_rules.h"

#include <algorithm>

#include "client/exchange/request.h"
#include "client/profile/conf_profile.h"
#include "client/profile/profile_checks.h"
#include "client/screens/screens.h"
#include "tests/fuzz/naive_codec.h"
#include "tests/fuzz/require.h"
#include "tests/simulated/client_side.h"
#include "tests/simulated/machine.h"

namespace veltrane {
namespace {

std::string Value(const Profile& profile, ProfileKey key) {
  return std::string(profile[key].View());
}

// Whether the text is UTF-8.
bool IsUtf8(const std::string& text) {
  std::size_t place = 0;
  while (place < text.size()) {
    const auto lead = static_cast<unsigned char>(text[place]);
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xC2 ? 0
                               : lead < 0xE0 ? 2
                               : lead < 0xF0 ? 3
                               : lead < 0xF5 ? 4
                                             : 0;
    if (length == 0 || place + length > text.size()) return false;
    for (std::size_t i = 1; i < length; ++i) {
      if ((static_cast<unsigned char>(text[place + i]) & 0xC0) != 0x80) return false;
    }
    const unsigned second = length > 1 ? static_cast<unsigned char>(text[place + 1]) : 0;
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
        (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) {
      return false;
    }
    place += length;
  }
  return true;
}

std::string Trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(' ');
  return begin == std::string::npos ? ""
                                    : text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

// The file that the service writes for the profile gives the same profile again.
void CheckFile(const Profile& profile) {
  const RequestBuilding building = ConnectRequest(profile, "");
  if (!building.problem.empty()) return;
  const auto sent = naive::ReadProfile(std::string(building.request.View()));
  Require(sent.has_value(), "no checked port ends the service");
  const ProfileReading read = ReadConfProfile(naive::ConfigurationOf(*sent));
  Require(read.profile.has_value(), "the file is a profile: " + read.problem.text);
  for (const ProfileKey key :
       {ProfileKey::kAddress, ProfileKey::kEndpointHost, ProfileKey::kServerPublicKey,
        ProfileKey::kClientPrivateKey, ProfileKey::kPreSharedKey, ProfileKey::kDns,
        ProfileKey::kAllowedIps}) {
    RequireEqual(Value(*read.profile, key), Trimmed(Value(profile, key)), "a value in the file");
  }
  const std::string port = Value(profile, ProfileKey::kEndpointPort);
  RequireEqual(Value(*read.profile, ProfileKey::kEndpointPort), port.empty() ? "51820" : port,
               "the port in the file");
}

void CheckScreen(const Profile& profile) {
  const std::string screen = ProfileScreen(profile, "the nonce", Painter(false));
  std::size_t begin = 0;
  for (std::size_t end = screen.find('\n'); end != std::string::npos;
       begin = end + 1, end = screen.find('\n', begin)) {
    RequirePrintable(screen.substr(begin, end - begin), "a line of the screen");
  }
}

}  // namespace

bool LooksLikeKey(const std::string& text) {
  std::size_t run = 0;
  for (const char c : text) {
    const bool digit = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                       c == '+' || c == '/';
    run = digit ? run + 1 : 0;
    if (run == 40) return true;
  }
  return false;
}

bool IsPrintable(const std::string& text) {
  return IsUtf8(text) && std::none_of(text.begin(), text.end(), [](char c) {
           const auto byte = static_cast<unsigned char>(c);
           return byte < 0x20 || byte == 0x7F;
         });
}

void RequirePrintable(const std::string& text, const std::string& property) {
  Require(IsPrintable(text), property + " can be printed: " + text);
  Require(!LooksLikeKey(text), property + " shows no key: " + text);
}

void RequireSameValues(const Profile& actual, const Profile& expected,
                       const std::string& property) {
  for (std::size_t i = 0; i < kProfileKeyNames.size(); ++i) {
    const auto key = static_cast<ProfileKey>(i);
    RequireEqual(Value(actual, key), Value(expected, key), property);
    Require(actual[key].line == expected[key].line, property + ", on the same line");
  }
}

void OnClientMachine(ProfileReading (*read)(std::string_view), const std::string& text,
                     void (*check)(const std::string& text)) {
  simulated::Machine machine;
  simulated::ClientSide client;
  std::string private_key;
  std::string pre_shared_key;
  if (const ProfileReading reading = read(text); reading.profile) {
    private_key = Value(*reading.profile, ProfileKey::kClientPrivateKey);
    pre_shared_key = Value(*reading.profile, ProfileKey::kPreSharedKey);
  }
  Require(private_key.empty() || client.HasWiped(private_key), "the private key is wiped");
  Require(pre_shared_key.empty() || client.HasWiped(pre_shared_key), "the other key is wiped");
  check(text);
}

void CheckProblem(const ProfileProblem& problem, const std::string& text) {
  Require(!problem.text.empty(), "a problem has a text");
  RequirePrintable(problem.text, "a problem");
  const auto feeds = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  Require(problem.line <= feeds + 1, "a problem is on a line of the text");
}

void CheckRequest(const Profile& profile, const std::string& nonce) {
  const RequestBuilding building = ConnectRequest(profile, nonce);
  if (!building.problem.empty()) return RequirePrintable(building.problem, "a problem");
  const std::string request(building.request.View());
  Require(request.size() <= 65535, "a request is as short as the service needs it");
  Require(!naive::IsForbidden(request), "a request mentions no configuration path");
  RequireEqual(naive::Field(request, "op"), "connect", "the operation");
  RequireEqual(naive::Field(request, "session_nonce"), nonce, "the nonce");
  for (std::size_t i = 0; i < kProfileKeyNames.size(); ++i) {
    RequireEqual(naive::Field(request, kProfileKeyNames[i]),
                 Value(profile, static_cast<ProfileKey>(i)), "the service reads what was sent");
  }
}

void CheckProfile(const Profile& profile, const ProfileKeyWords& words) {
  if (const auto problem = FindProfileProblem(profile, words)) {
    Require(!problem->text.empty(), "a problem has a text");
    RequirePrintable(problem->text, "a problem");
    return;
  }
  for (std::size_t i = 0; i < kProfileKeyNames.size(); ++i) {
    Require(IsPrintable(Value(profile, static_cast<ProfileKey>(i))),
            "a checked value is printable");
  }
  Require(Value(profile, ProfileKey::kNodeId).find_first_of("\"\\") == std::string::npos,
          "a checked node does not break a reply");
  CheckRequest(profile, "the nonce");
  CheckFile(profile);
  CheckScreen(profile);
}

}  // namespace veltrane
