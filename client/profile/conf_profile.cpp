#include "client/profile/conf_profile.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "client/text/quoting.h"
#include "client/text/split.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

enum class Section { kNone, kInterface, kPeer };

// A key that the service supports.
struct KnownKey {
  Section section;
  const char* name;
  ProfileKey key;
  bool repeatable;
};

constexpr KnownKey kKnownKeys[] = {
    {Section::kInterface, "privatekey", ProfileKey::kClientPrivateKey, false},
    {Section::kInterface, "address", ProfileKey::kAddress, true},
    {Section::kInterface, "dns", ProfileKey::kDns, true},
    {Section::kPeer, "publickey", ProfileKey::kServerPublicKey, false},
    {Section::kPeer, "presharedkey", ProfileKey::kPreSharedKey, false},
    {Section::kPeer, "allowedips", ProfileKey::kAllowedIps, true},
};

// Keys of WireGuard and its tools that the protocol cannot carry.
constexpr const char* kUncarriedKeys[] = {"mtu",    "listenport", "fwmark",   "table",     "preup",
                                          "postup", "predown",    "postdown", "saveconfig"};

std::string Lowered(std::string_view text) { return AsciiToLower(std::string(text)); }

class ConfReader {
 public:
  // Reads one line; false when there is a problem.
  bool TakeLine(std::string_view line) {
    ++line_;
    line = Trimmed(line.substr(0, line.find('#')));
    if (line.empty()) return true;
    if (line.front() == '[') return TakeSection(line);
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
      return Fail("neither a section nor \"Key = value\": correct the line");
    }
    return TakeKey(Trimmed(line.substr(0, equals)), Trimmed(line.substr(equals + 1)));
  }

  // Finds what is missing from the file as a whole.
  bool CheckWhole() {
    if (interface_line_ == 0) return FailAt(0, "no [Interface] section: add one with a PrivateKey");
    if (peer_line_ == 0) return FailAt(0, "no [Peer] section: add one for the server");
    if (profile_[ProfileKey::kClientPrivateKey].IsEmpty()) {
      return FailAt(interface_line_,
                    "[Interface] has no PrivateKey: add the line \"PrivateKey = ...\"");
    }
    if (profile_[ProfileKey::kEndpointHost].IsEmpty()) {
      return FailAt(peer_line_, "[Peer] has no Endpoint: add the line \"Endpoint = host:port\"");
    }
    return true;
  }

  ProfileReading Result() && {
    if (failed_) return {std::nullopt, std::move(problem_)};
    return {std::move(profile_), {}};
  }

 private:
  bool FailAt(std::size_t line, std::string text) {
    failed_ = true;
    problem_ = {line, std::move(text)};
    return false;
  }
  bool Fail(std::string text) { return FailAt(line_, std::move(text)); }

  bool TakeSection(std::string_view line) {
    const std::string name = Lowered(line);
    if (name == "[interface]") {
      if (interface_line_ != 0) return Fail("a second [Interface]: keep only one");
      interface_line_ = line_;
      section_ = Section::kInterface;
      return true;
    }
    if (name != "[peer]") {
      return Fail("unknown section " + Shown(line) + ": only [Interface] and [Peer] are allowed");
    }
    if (peer_line_ != 0) {
      return Fail("a second [Peer]: the service supports one peer, so remove the others");
    }
    peer_line_ = line_;
    section_ = Section::kPeer;
    return true;
  }

  bool TakeKey(std::string_view key, std::string_view value) {
    const std::string name = Lowered(key);
    if (section_ == Section::kNone)
      return Fail("a key outside any section: move it below [Interface] or [Peer]");
    if (value.empty()) return Fail(Shown(key) + " has no value: add one or delete the line");
    if (section_ == Section::kPeer && name == "endpoint") return TakeEndpoint(value);
    if (section_ == Section::kPeer && name == "persistentkeepalive") return TakeKeepalive(value);
    for (const KnownKey& known : kKnownKeys) {
      if (known.section == section_ && name == known.name) return Store(known, key, value);
    }
    return FailUnknown(key, name);
  }

  bool FailUnknown(std::string_view key, const std::string& name) {
    const std::string spelled = Shown(key);
    if (std::find(std::begin(kUncarriedKeys), std::end(kUncarriedKeys), name) !=
        std::end(kUncarriedKeys)) {
      return Fail(spelled + ": the service does not support it, so delete the line");
    }
    for (const KnownKey& known : kKnownKeys) {
      if (name == known.name) return FailSection(spelled, known.section);
    }
    if (name == "endpoint" || name == "persistentkeepalive") {
      return FailSection(spelled, Section::kPeer);
    }
    return Fail("unknown key " + spelled + ": correct or delete the line");
  }

  bool FailSection(const std::string& key, Section section) {
    return Fail(key + " belongs in " + (section == Section::kPeer ? "[Peer]" : "[Interface]") +
                ": move the line there");
  }

  bool Store(const KnownKey& known, std::string_view key, std::string_view value) {
    ProfileValue& stored = profile_[known.key];
    if (stored.IsEmpty()) {
      stored = {SecretText(value), line_};
      return true;
    }
    if (!known.repeatable) {
      return Fail("a second " + Shown(key) + ": keep the right one");
    }
    stored.text.Append(",");
    stored.text.Append(value);
    return true;
  }

  // The host keeps the brackets of an IPv6 address, because the service writes host:port.
  bool TakeEndpoint(std::string_view value) {
    if (!profile_[ProfileKey::kEndpointHost].IsEmpty()) {
      return Fail("a second Endpoint: keep the right one");
    }
    const std::size_t colon = value.rfind(':');
    if (colon == std::string_view::npos || colon == 0 || colon + 1 == value.size()) {
      return Fail("Endpoint must have the form host:port");
    }
    profile_[ProfileKey::kEndpointHost] = {SecretText(value.substr(0, colon)), line_};
    profile_[ProfileKey::kEndpointPort] = {SecretText(value.substr(colon + 1)), line_};
    return true;
  }

  bool TakeKeepalive(std::string_view value) {
    if (value == "25") return true;
    return Fail("PersistentKeepalive = " + Shown(value) +
                ": the service always uses 25, so write 25 or delete the line");
  }

  Profile profile_;
  Section section_ = Section::kNone;
  std::size_t line_ = 0;
  std::size_t interface_line_ = 0;
  std::size_t peer_line_ = 0;
  bool failed_ = false;
  ProfileProblem problem_;
};

}  // namespace

ProfileReading ReadConfProfile(std::string_view text) {
  ConfReader reader;
  const std::vector<std::string_view> lines = Split(text, '\n');
  const bool good = std::all_of(lines.begin(), lines.end(),
                                [&reader](std::string_view line) { return reader.TakeLine(line); });
  if (good) reader.CheckWhole();
  return std::move(reader).Result();
}

}  // namespace veltrane
