// A JSON profile as veltranectl reads it, against a general parser of JSON.

#include "client/profile/json_profile.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/fuzz/input.h"
#include "tests/fuzz/profile_rules.h"
#include "tests/fuzz/require.h"

namespace veltrane {
namespace {

using Members = std::vector<std::pair<std::string, std::string>>;

// Collects the members of one object of strings, and stops at anything else.
class Collector : public nlohmann::json_sax<nlohmann::json> {
 public:
  Members members;

  bool start_object(std::size_t) override { return std::exchange(inside_, true) == false; }
  bool end_object() override { return true; }
  bool key(string_t& name) override {
    members.emplace_back(name, "");
    return true;
  }
  bool string(string_t& value) override {
    if (!inside_) return false;
    members.back().second = value;
    return true;
  }
  bool null() override { return false; }
  bool boolean(bool) override { return false; }
  bool number_integer(number_integer_t) override { return false; }
  bool number_unsigned(number_unsigned_t) override { return false; }
  bool number_float(number_float_t, const string_t&) override { return false; }
  bool binary(binary_t&) override { return false; }
  bool start_array(std::size_t) override { return false; }
  bool end_array() override { return false; }
  bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override {
    return false;
  }

 private:
  bool inside_ = false;
};

bool AreProfileKeysOnce(const Members& members) {
  for (const auto& [name, value] : members) {
    const auto same = [&name = name](const auto& other) { return other.first == name; };
    if (std::count_if(members.begin(), members.end(), same) != 1) return false;
    if (std::find(kProfileKeyNames.begin(), kProfileKeyNames.end(), name) ==
        kProfileKeyNames.end()) {
      return false;
    }
  }
  return true;
}

void CompareValues(const Profile& profile, const Members& members) {
  std::size_t found = 0;
  for (std::size_t i = 0; i < kProfileKeyNames.size(); ++i) {
    const ProfileValue& value = profile[static_cast<ProfileKey>(i)];
    const auto member = std::find_if(members.begin(), members.end(), [i](const auto& candidate) {
      return candidate.first == kProfileKeyNames[i];
    });
    Require((value.line != 0) == (member != members.end()), "a value that is there has its line");
    if (member == members.end()) continue;
    ++found;
    RequireEqual(std::string(value.View()), member->second, "the parsers agree on a value");
  }
  Require(found == members.size(), "no value is lost");
}

// The general parser refuses ill-formed strings, which veltranectl reads and then finds with their
// line, and skips a byte order mark.
void Compare(const std::string& text, const ProfileReading& reading) {
  Collector collector;
  const bool parsed =
      nlohmann::json::sax_parse(text, &collector) && !text.starts_with("\xEF\xBB\xBF");
  if (parsed) {
    Require(reading.profile.has_value() == AreProfileKeysOnce(collector.members),
            "JSON with strings for profile keys is a profile: " + reading.problem.text);
    if (reading.profile) CompareValues(*reading.profile, collector.members);
  } else if (reading.profile) {
    bool printable = true;
    for (std::size_t i = 0; i < kProfileKeyNames.size(); ++i) {
      const ProfileValue& value = (*reading.profile)[static_cast<ProfileKey>(i)];
      printable = printable && IsPrintable(std::string(value.View()));
    }
    Require(!printable, "a profile is JSON, but for strings with what cannot be printed");
  }
}

void Check(const std::string& text) {
  const ProfileReading reading = ReadJsonProfile(BareText(text).View());
  Compare(text, reading);
  if (!reading.profile) return CheckProblem(reading.problem, text);
  CheckProfile(*reading.profile, kProfileKeyNames);
}

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  OnClientMachine(ReadJsonProfile, Input(data, size).Text(), Check);
  return 0;
}
