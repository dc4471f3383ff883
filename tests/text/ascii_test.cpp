#include "text/ascii.h"

#include <gtest/gtest.h>

namespace veltrane {
namespace {

TEST(AsciiToLower, LowersTheLettersAToZ) {
  EXPECT_EQ(AsciiToLower(L'A'), L'a');
  EXPECT_EQ(AsciiToLower(L'M'), L'm');
  EXPECT_EQ(AsciiToLower(L'Z'), L'z');
}

TEST(AsciiToLower, LeavesTheNeighboursOfTheLettersAlone) {
  EXPECT_EQ(AsciiToLower(L'@'), L'@');
  EXPECT_EQ(AsciiToLower(L'['), L'[');
  EXPECT_EQ(AsciiToLower(L'`'), L'`');
  EXPECT_EQ(AsciiToLower(L'{'), L'{');
}

TEST(AsciiToLower, LeavesLowerCaseDigitsAndBlanksAlone) {
  EXPECT_EQ(AsciiToLower(L'a'), L'a');
  EXPECT_EQ(AsciiToLower(L'z'), L'z');
  EXPECT_EQ(AsciiToLower(L'0'), L'0');
  EXPECT_EQ(AsciiToLower(L' '), L' ');
  EXPECT_EQ(AsciiToLower(L'\0'), L'\0');
}

TEST(AsciiToLower, LeavesLettersBeyondAsciiAlone) {
  EXPECT_EQ(AsciiToLower(L'\u00C4'), L'\u00C4');
  EXPECT_EQ(AsciiToLower(L'\u0130'), L'\u0130');  // capital I with a dot
  EXPECT_EQ(AsciiToLower(L'\u212A'), L'\u212A');  // Kelvin sign
  EXPECT_EQ(AsciiToLower(L'\uFF21'), L'\uFF21');  // full-width A
}

TEST(EqualsIgnoreCase, FoldsBothTexts) {
  EXPECT_TRUE(EqualsIgnoreCase(L"TrUe", L"tRuE"));
  EXPECT_TRUE(EqualsIgnoreCase(L"yes", L"YES"));
  EXPECT_TRUE(EqualsIgnoreCase(L"--RUN-as-service", L"--run-AS-Service"));
}

TEST(EqualsIgnoreCase, EmptyTextsAreEqual) { EXPECT_TRUE(EqualsIgnoreCase(L"", L"")); }

TEST(EqualsIgnoreCase, LengthsMustAgree) {
  EXPECT_FALSE(EqualsIgnoreCase(L"true", L"true "));
  EXPECT_FALSE(EqualsIgnoreCase(L"true", L"tru"));
  EXPECT_FALSE(EqualsIgnoreCase(L"", L"a"));
  EXPECT_FALSE(EqualsIgnoreCase(L"a", std::wstring_view(L"a\0", 2)));
}

TEST(EqualsIgnoreCase, EveryCharacterCounts) {
  EXPECT_FALSE(EqualsIgnoreCase(L"aaa", L"baa"));
  EXPECT_FALSE(EqualsIgnoreCase(L"aaa", L"aab"));
}

TEST(EqualsIgnoreCase, CharactersThatDifferByTheCaseBitAreNotEqual) {
  EXPECT_FALSE(EqualsIgnoreCase(L"@", L"`"));
  EXPECT_FALSE(EqualsIgnoreCase(L"[", L"{"));
  EXPECT_FALSE(EqualsIgnoreCase(L"-", L"\r"));
}

TEST(EqualsIgnoreCase, LettersBeyondAsciiAreNotFolded) {
  EXPECT_FALSE(EqualsIgnoreCase(L"\u00C4", L"\u00E4"));
  EXPECT_FALSE(EqualsIgnoreCase(L"\u212A", L"k"));
  EXPECT_TRUE(EqualsIgnoreCase(L"\u00C4A", L"\u00C4a"));
}

TEST(WidenBytes, AsciiStaysAsItIs) { EXPECT_EQ(WidenBytes("a_Z 09~\x7F"), L"a_Z 09~\x7F"); }

TEST(WidenBytes, EachByteAbove127IsSignExtendedTo16Bits) {
  EXPECT_EQ(WidenBytes("\x80\xC3\xFF"), L"\xFF80\xFFC3\xFFFF");
}

TEST(WidenBytes, Utf8SequencesAreNotDecoded) {
  EXPECT_EQ(WidenBytes("\xC3\xA9\xF0\x9F\x98\x80"), L"\xFFC3\xFFA9\xFFF0\xFF9F\xFF98\xFF80");
}

TEST(WidenBytes, ControlCharactersAndZeroBytesAreKept) {
  EXPECT_EQ(WidenBytes(std::string_view("\n\0\x01", 3)), std::wstring(L"\n\0\x01", 3));
}

TEST(WidenBytes, EmptyTextStaysEmpty) { EXPECT_EQ(WidenBytes(""), L""); }

}  // namespace
}  // namespace veltrane
