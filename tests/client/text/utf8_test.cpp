#include "client/text/utf8.h"

#include <gtest/gtest.h>

namespace veltrane {
namespace {

TEST(RepairedUtf8, KeepsTheCodePointsBesideTheSurrogates) {
  EXPECT_EQ(RepairUtf8("\xED\x9F\xBF"), "\xED\x9F\xBF");
  EXPECT_EQ(RepairUtf8("\xEE\x80\x80"), "\xEE\x80\x80");
}

TEST(RepairedUtf8, HasNoSurrogates) {
  EXPECT_EQ(RepairUtf8("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(RepairUtf8("\xED\xBF\xBF"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

}  // namespace
}  // namespace veltrane
