#include "client/profile/profile_file.h"

#include <cstdint>
#include <utility>

#include "client/profile/conf_profile.h"
#include "client/profile/json_profile.h"
#include "client/profile/profile_checks.h"
#include "client/text/quoting.h"
#include "client/text/windows_error.h"
#include "platform/file_input.h"
#include "platform/result.h"

namespace veltrane {
namespace {

constexpr std::size_t kLargestFile = 65535;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string ReadingProblem(std::uint32_t status) {
  switch (status) {
    case kErrorFileNotFound:
    case kErrorPathNotFound:
      return "no such file: check the path";
    case kErrorAccessDenied:
      return "access denied: check that it is a file that you may read";
    case kErrorBadFileType:
      return "not a file on a disk: copy it to one, or use - for standard input";
    case kErrorFileTooLarge:
      return "longer than 65535 bytes: not a profile";
    default:
      return "cannot be read" + WindowsError(status) + ": check the path";
  }
}

// The name of a file without its folder and extension.
std::string Stem(const std::string& path) {
  const std::size_t separator = path.find_last_of("/\\:");
  std::string name = separator == std::string::npos ? path : path.substr(separator + 1);
  const std::size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot != 0) name.resize(dot);
  return name;
}

ProfileReading ReadEither(std::string_view text, bool& json) {
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    text.remove_prefix(kByteOrderMark.size());
  }
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {std::nullopt, {0, "empty: not a profile"}};
  if (text.find('\0') != std::string_view::npos) {
    return {std::nullopt, {0, "not UTF-8 text: save it as UTF-8"}};
  }
  json = text[first] == '{';
  return json ? ReadJsonProfile(text) : ReadConfProfile(text);
}

}  // namespace

ProfileFile ReadProfileFile(const std::string& path, const std::string& node_id) {
  const bool from_input = path == "-";
  const std::string place = from_input ? "standard input" : Shown(path);
  const auto fail = [&place](const ProfileProblem& problem) -> ProfileFile {
    const std::string line = problem.line == 0 ? "" : ":" + std::to_string(problem.line);
    return {std::nullopt, place + line + ": " + problem.text};
  };

  SecretText text;
  const ByteSink keep = [&text](std::string_view piece) { text.Append(piece); };
  const std::uint32_t status =
      from_input ? ReadStandardInput(kLargestFile, keep) : ReadFileBytes(path, kLargestFile, keep);
  if (status != 0) return fail({0, ReadingProblem(status)});

  bool json = false;
  ProfileReading reading = ReadEither(text.View(), json);
  if (!reading.profile) return fail(reading.problem);
  Profile& profile = *reading.profile;
  if (!node_id.empty()) {
    profile[ProfileKey::kNodeId] = {SecretText(node_id), 0};
  } else if (!json && !from_input) {
    profile[ProfileKey::kNodeId] = {SecretText(Stem(path)), 0};
  }
  if (const std::optional<ProfileProblem> problem =
          FindProfileProblem(profile, json ? kProfileKeyNames : kConfKeyWords)) {
    return fail(*problem);
  }
  return {std::move(reading.profile), {}};
}

}  // namespace veltrane
