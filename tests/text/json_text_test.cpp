#include "text/json_text.h"

#include <gtest/gtest.h>

namespace veltrane {
namespace {

TEST(EscapeJson, PutsABackslashBeforeADoubleQuote) {
  EXPECT_EQ(EscapeJson(R"(say "no")"), R"(say \"no\")");
}

TEST(EscapeJson, PutsABackslashBeforeABackslash) {
  EXPECT_EQ(EscapeJson(R"(C:\Veltrane\)"), R"(C:\\Veltrane\\)");
}

TEST(EscapeJson, EscapesEachOfAnAdjoiningBackslashAndQuote) {
  EXPECT_EQ(EscapeJson(R"(\")"), R"(\\\")");
}

TEST(EscapeJson, CopiesControlCharactersUnchanged) {
  EXPECT_EQ(EscapeJson("a\nb\rc\td\x01\x1F\x7F"), "a\nb\rc\td\x01\x1F\x7F");
}

TEST(EscapeJson, CopiesAZeroByteUnchanged) {
  EXPECT_EQ(EscapeJson(std::string_view("a\0b", 3)), std::string("a\0b", 3));
}

TEST(EscapeJson, CopiesBytesOfUtf8SequencesUnchanged) {
  EXPECT_EQ(EscapeJson("\xC3\xA9\xF0\x9F\x98\x80\xFF"), "\xC3\xA9\xF0\x9F\x98\x80\xFF");
}

TEST(EscapeJson, CopiesSlashesAndApostrophesUnchanged) { EXPECT_EQ(EscapeJson("/'"), "/'"); }

TEST(EscapeJson, EmptyTextStaysEmpty) { EXPECT_EQ(EscapeJson(""), ""); }

TEST(JsonMember, BooleanIsABareWord) {
  EXPECT_EQ(JsonBool("enabled", true), R"("enabled":true)");
  EXPECT_EQ(JsonBool("enabled", false), R"("enabled":false)");
}

TEST(JsonMember, TextIsQuotedAndEscaped) {
  EXPECT_EQ(JsonText("message", R"(a "b" \c)"), R"("message":"a \"b\" \\c")");
}

TEST(JsonMember, EmptyTextIsAPairOfQuotes) {
  EXPECT_EQ(JsonText("message", ""), R"("message":"")");
}

TEST(JsonMember, RawValueIsCopiedVerbatim) {
  EXPECT_EQ(JsonRaw("entries", R"(["a\"b"])"), R"("entries":["a\"b"])");
}

TEST(OptionalJsonMember, TextIsIntroducedByAComma) {
  EXPECT_EQ(OptionalJsonText("gateway", R"("x")"), R"(,"gateway":"\"x\"")");
}

TEST(OptionalJsonMember, EmptyTextIsLeftOutWithItsKey) {
  EXPECT_EQ(OptionalJsonText("gateway", ""), "");
}

TEST(OptionalJsonMember, RawValueIsIntroducedByAComma) {
  EXPECT_EQ(OptionalJsonRaw("admin_env_ips", "[]"), R"(,"admin_env_ips":[])");
}

TEST(OptionalJsonMember, EmptyRawValueIsLeftOutWithItsKey) {
  EXPECT_EQ(OptionalJsonRaw("admin_env_ips", ""), "");
}

}  // namespace
}  // namespace veltrane
