#include "client/text/utf8.h"

#include <string>

#include <gtest/gtest.h>

namespace veltrane {
namespace {

// What stands in place of that many bytes.
std::string Replaced(int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += "\xEF\xBF\xBD";
  return text;
}

TEST(RepairedUtf8, KeepsTheFirstAndTheLastCodePointOfEachLength) {
  for (const char* point : {"\x01", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xEF\xBF\xBF",
                            "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_EQ(RepairUtf8(point), point);
  }
}

TEST(RepairedUtf8, HasNoLongerFormOfAShortCodePoint) {
  EXPECT_EQ(RepairUtf8("\xC1\xBF"), Replaced(2));
  EXPECT_EQ(RepairUtf8("\xE0\x9F\xBF"), Replaced(3));
  EXPECT_EQ(RepairUtf8("\xF0\x8F\xBF\xBF"), Replaced(4));
}

TEST(RepairedUtf8, HasNoCodePointAboveTheLast) {
  EXPECT_EQ(RepairUtf8("\xF4\x90\x80\x80"), Replaced(4));
  EXPECT_EQ(RepairUtf8("\xF5\x80\x80\x80"), Replaced(4));
}

TEST(RepairedUtf8, KeepsTheCodePointsBesideTheSurrogates) {
  EXPECT_EQ(RepairUtf8("\xED\x9F\xBF"), "\xED\x9F\xBF");
  EXPECT_EQ(RepairUtf8("\xEE\x80\x80"), "\xEE\x80\x80");
}

TEST(RepairedUtf8, HasNoSurrogates) {
  EXPECT_EQ(RepairUtf8("\xED\xA0\x80"), Replaced(3));
  EXPECT_EQ(RepairUtf8("\xED\xBF\xBF"), Replaced(3));
}

TEST(RepairedUtf8, ReplacesEveryByteOfASequenceThatIsCutOff) {
  EXPECT_EQ(RepairUtf8("\xE2\x82"), Replaced(2));
  EXPECT_EQ(RepairUtf8("\xE2\x82z"), Replaced(2) + "z");
  EXPECT_EQ(RepairUtf8("\x80z"), Replaced(1) + "z");
}

TEST(PrintableUtf8, HasNoControlCharacters) {
  EXPECT_TRUE(IsPrintableUtf8(" ~\xC3\xA9"));
  for (const char* control : {"\x01", "\x1F", "\x7F"}) {
    EXPECT_FALSE(IsPrintableUtf8(control));
    EXPECT_EQ(Printable(control), Replaced(1));
  }
}

}  // namespace
}  // namespace veltrane
