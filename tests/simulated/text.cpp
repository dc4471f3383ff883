#include "tests/simulated/text.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cwchar>
#include <locale>
#include <optional>

#include "platform/ipv4.h"
#include "platform/text.h"
#include "tests/simulated/machine.h"
#include "text/ascii.h"

namespace veltrane {
namespace simulated {
namespace {

void AppendUtf8(std::uint32_t code_point, std::string& utf8) {
  const auto append = [&utf8](std::uint32_t byte) { utf8.push_back(static_cast<char>(byte)); };
  if (code_point < 0x80) {
    append(code_point);
  } else if (code_point < 0x800) {
    append(0xC0 | code_point >> 6);
    append(0x80 | (code_point & 0x3F));
  } else if (code_point < 0x10000) {
    append(0xE0 | code_point >> 12);
    append(0x80 | (code_point >> 6 & 0x3F));
    append(0x80 | (code_point & 0x3F));
  } else {
    append(0xF0 | code_point >> 18);
    append(0x80 | (code_point >> 12 & 0x3F));
    append(0x80 | (code_point >> 6 & 0x3F));
    append(0x80 | (code_point & 0x3F));
  }
}

bool IsHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

}  // namespace

std::wstring Units(std::u16string_view utf16) { return {utf16.begin(), utf16.end()}; }

std::wstring Widen(std::string_view utf8) {
  using Codec = std::codecvt<char16_t, char8_t, std::mbstate_t>;
  const std::u8string bytes(utf8.begin(), utf8.end());
  std::u16string utf16(bytes.size(), u'\0');
  std::mbstate_t state{};
  const char8_t* read = nullptr;
  char16_t* end = nullptr;
  const auto outcome = std::use_facet<Codec>(std::locale::classic())
                           .in(state, bytes.data(), bytes.data() + bytes.size(), read, utf16.data(),
                               utf16.data() + utf16.size(), end);
  if (outcome != Codec::ok) Die("a text is not UTF-8");
  return {utf16.data(), end};
}

std::string Narrow(const std::wstring& wide) {
  std::string utf8;
  for (std::size_t i = 0; i < wide.size(); ++i) {
    const auto unit = static_cast<std::uint32_t>(wide[i]);
    if (unit > 0xFFFF) Die("a wide text holds a character that is no UTF-16 unit; see Units");
    const auto next = i + 1 < wide.size() ? static_cast<std::uint32_t>(wide[i + 1]) : 0;
    if (IsHighSurrogate(unit) && IsLowSurrogate(next)) {
      AppendUtf8(0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00), utf8);
      ++i;
    } else {
      AppendUtf8(IsHighSurrogate(unit) || IsLowSurrogate(unit) ? 0xFFFD : unit, utf8);
    }
  }
  return utf8;
}

std::wstring FoldCase(std::wstring text) {
  for (wchar_t& c : text) c = AsciiToLower(c);
  return text;
}

std::uint32_t Ip(const std::string& dotted) {
  in_addr address{};
  if (inet_pton(AF_INET, dotted.c_str(), &address) != 1) Die("no IPv4 address: " + dotted);
  return address.s_addr;
}

std::string IpText(std::uint32_t address) {
  std::array<char, INET_ADDRSTRLEN> text{};
  in_addr in{};
  in.s_addr = address;
  return inet_ntop(AF_INET, &in, text.data(), text.size()) == nullptr ? "" : text.data();
}

IpAddress Address(const std::string& text) {
  IpAddress address;
  const bool is_ipv6 = text.find(':') != std::string::npos;
  if (is_ipv6) address.family = IpFamily::kIpv6;
  if (inet_pton(is_ipv6 ? AF_INET6 : AF_INET, text.c_str(), address.bytes.data()) != 1) {
    Die("no address: " + text);
  }
  return address;
}

IpAddress Unmapped(const IpAddress& address) {
  constexpr std::array<std::uint8_t, 12> kMapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
  const bool is_mapped = std::equal(kMapped.begin(), kMapped.end(), address.bytes.begin());
  if (address.family != IpFamily::kIpv6 || !is_mapped) return address;
  IpAddress ipv4;
  std::copy_n(address.bytes.begin() + kMapped.size(), 4, ipv4.bytes.begin());
  return ipv4;
}

}  // namespace simulated

std::string WideToUtf8(const std::wstring& wide) {
  const std::string narrow = simulated::Narrow(wide);
  if (simulated::Machine::Current().calls.Begin("WideToUtf8", narrow)) return {};
  return narrow;
}

std::optional<std::uint32_t> ParseIpv4(const std::string& text) {
  if (simulated::Machine::Current().calls.Begin("ParseIpv4", text)) return std::nullopt;
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
  return address.s_addr;
}

std::string FormatIpv4(std::uint32_t address) {
  const std::string text = simulated::IpText(address);
  if (simulated::Machine::Current().calls.Begin("FormatIpv4", text)) return {};
  return text;
}

}  // namespace veltrane
