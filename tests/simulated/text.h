#pragma once

// Texts and addresses as tests write them.

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/ip_network.h"

namespace veltrane::simulated {

// A wide text as the boundary holds it, one UTF-16 unit in each wchar_t, from a u"" literal. A
// plain L"" literal is as good for characters up to U+FFFF; beyond them L"" puts one code point in
// one wchar_t on this system, which no text from Windows contains.
std::wstring Units(std::u16string_view utf16);

// UTF-8 to UTF-16 units. Dies on anything else.
std::wstring Widen(std::string_view utf8);

// UTF-16 units to UTF-8; an unpaired surrogate becomes EF BF BD. Dies on a unit above 0xFFFF.
std::string Narrow(const std::wstring& wide);

// The text with the letters A to Z lower-cased: the key under which names that Windows compares
// without case are kept.
std::wstring FoldCase(std::wstring text);

// "203.0.113.5" as the boundary's number (network byte order). Dies on anything else.
std::uint32_t Ip(const std::string& dotted);

// The number as a dotted quad.
std::string IpText(std::uint32_t address);

// "203.0.113.5" or "2001:db8::5". Dies on anything else.
IpAddress Address(const std::string& text);

// The address as one of IPv4 when it is IPv4-mapped, and else as it is.
IpAddress Unmapped(const IpAddress& address);

}  // namespace veltrane::simulated
