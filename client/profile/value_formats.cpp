#include "client/profile/value_formats.h"

#include <algorithm>
#include <cctype>
#include <vector>

#include "client/text/split.h"

namespace veltrane {
namespace {

constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool IsDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// A number of at most `digits` digits without a leading zero, up to `highest`.
bool IsNumber(std::string_view text, std::size_t digits, int highest) {
  if (text.empty() || text.size() > digits || !std::all_of(text.begin(), text.end(), IsDigit)) {
    return false;
  }
  if (text.size() > 1 && text[0] == '0') return false;
  int value = 0;
  for (const char c : text) value = value * 10 + (c - '0');
  return value <= highest;
}

bool IsHexGroup(std::string_view text) {
  return !text.empty() && text.size() <= 4 && std::all_of(text.begin(), text.end(), [](char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
  });
}

// The number of 16-bit groups in a colon-separated run; -1 when it is not one. An IPv4 address may
// stand for the last two groups.
int CountGroups(std::string_view run, bool last_run) {
  if (run.empty()) return 0;
  const std::vector<std::string_view> parts = Split(run, ':');
  int count = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (IsHexGroup(parts[i])) {
      count += 1;
    } else if (last_run && i + 1 == parts.size() && IsIpv4(parts[i])) {
      count += 2;
    } else {
      return -1;
    }
  }
  return count;
}

}  // namespace

bool IsWireGuardKey(std::string_view text) {
  if (text.size() != 44 || text.back() != '=') return false;
  const std::string_view digits = text.substr(0, 43);
  if (digits.find_first_not_of(kBase64) != std::string_view::npos) return false;
  // 43 digits hold 258 bits, two more than 32 bytes: those must be zero.
  return kBase64.find(digits.back()) % 4 == 0;
}

bool IsAddressWithPrefix(std::string_view text) {
  const std::size_t slash = text.find('/');
  const std::string_view address = text.substr(0, slash);
  const bool ipv4 = IsIpv4(address);
  if (!ipv4 && !IsIpv6(address)) return false;
  return slash == std::string_view::npos || IsNumber(text.substr(slash + 1), 3, ipv4 ? 32 : 128);
}

bool IsIpv4(std::string_view text) {
  const std::vector<std::string_view> parts = Split(text, '.');
  return parts.size() == 4 && std::all_of(parts.begin(), parts.end(), [](std::string_view part) {
           return IsNumber(part, 3, 255);
         });
}

bool IsIpv6(std::string_view text) {
  const std::size_t gap = text.find("::");
  if (gap == std::string_view::npos) return CountGroups(text, true) == 8;
  const std::string_view after = text.substr(gap + 2);
  const int left = CountGroups(text.substr(0, gap), false);
  const int right = CountGroups(after, true);
  return left >= 0 && right >= 0 && left + right <= 7;
}

bool IsHostName(std::string_view text) {
  if (text.empty() || text.size() > 253) return false;
  const std::vector<std::string_view> labels = Split(text, '.');
  for (const std::string_view label : labels) {
    if (label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-') {
      return false;
    }
    for (const char c : label) {
      if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '-' && c != '_') return false;
    }
  }
  return !std::all_of(labels.back().begin(), labels.back().end(), IsDigit);
}

bool IsPort(std::string_view text) { return IsNumber(text, 5, 65535) && text != "0"; }

}  // namespace veltrane
