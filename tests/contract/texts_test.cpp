// platform/text.h, platform/ipv4.h and platform/secret_memory.h

#include <array>

#include "platform/ipv4.h"
#include "platform/secret_memory.h"
#include "platform/text.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using Utf8 = Contract;
using Ipv4 = Contract;
using SecretMemory = Contract;

TEST_F(Utf8, IsMadeOfEveryLengthOfCharacter) {
  EXPECT_EQ(WideToUtf8(L"a\u00E9\u20AC"), "a\xC3\xA9\xE2\x82\xAC");
}

TEST_F(Utf8, IsMadeOfASurrogatePair) {
  EXPECT_EQ(WideToUtf8({wchar_t{0xD83D}, wchar_t{0xDE00}}), "\xF0\x9F\x98\x80");
}

TEST_F(Utf8, OfAnUnpairedSurrogateIsTheReplacementCharacter) {
  EXPECT_EQ(WideToUtf8({wchar_t{0xD83D}}), "\xEF\xBF\xBD");
  EXPECT_EQ(WideToUtf8({wchar_t{0xD83D}, L'x'}), "\xEF\xBF\xBDx");
  EXPECT_EQ(WideToUtf8({wchar_t{0xDE00}, wchar_t{0xD83D}}), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST_F(Utf8, OfAnEmptyTextIsEmpty) { EXPECT_EQ(WideToUtf8(L""), ""); }

TEST_F(Utf8, KeepsZeros) {
  EXPECT_EQ(WideToUtf8(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST_F(Ipv4, HasTheFirstNumberInTheLowestByte) {
  EXPECT_EQ(ParseIpv4("203.0.113.5"), 0x057100CBU);
  EXPECT_EQ(FormatIpv4(0x057100CB), "203.0.113.5");
}

TEST_F(Ipv4, IsReadAndPrintedUpToItsLimits) {
  EXPECT_EQ(ParseIpv4("0.0.0.0"), 0U);
  EXPECT_EQ(ParseIpv4("255.255.255.255"), 0xFFFFFFFFU);
  EXPECT_EQ(FormatIpv4(0), "0.0.0.0");
  EXPECT_EQ(FormatIpv4(0xFFFFFFFF), "255.255.255.255");
}

class NoIpv4 : public Contract, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Texts, NoIpv4,
                         testing::Values("", "localhost", "::1", "203.0.113.5/32", " 203.0.113.5",
                                         "203.0.113.5 ", "203.0.113", "203.0.113.5.1",
                                         "203.0.113.5.", "203..113.5", "203.0.113.256",
                                         "203.0.113.05", "00.0.0.0", "0xCB.0.113.5", "3405803781"));

TEST_P(NoIpv4, IsNotRead) { EXPECT_EQ(ParseIpv4(GetParam()), std::nullopt); }

TEST_F(SecretMemory, IsFilledWithZeros) {
  std::array<std::byte, 5> memory;
  memory.fill(std::byte{0xA5});
  WipeMemory(std::span(memory).first(4));
  EXPECT_EQ(memory, (std::array<std::byte, 5>{std::byte{0}, std::byte{0}, std::byte{0},
                                              std::byte{0}, std::byte{0xA5}}));
}

}  // namespace
}  // namespace veltrane::contract
