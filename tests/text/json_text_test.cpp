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

TEST(JsonObject, WithoutMembersIsAPairOfBraces) { EXPECT_EQ(JsonObject().Written(), "{}"); }

TEST(JsonObject, FlagsAreBareWords) {
  JsonObject object;
  object.Flag("enabled", true);
  object.Flag("applied", false);
  EXPECT_EQ(object.Written(), R"({"enabled":true,"applied":false})");
}

TEST(JsonObject, NumbersCoverUnsigned32Bits) {
  JsonObject object;
  object.Number("seconds", -1);
  object.Number("win32_error_code", 4294967295);
  EXPECT_EQ(object.Written(), R"({"seconds":-1,"win32_error_code":4294967295})");
}

TEST(JsonObject, TextsAreQuotedAndEscaped) {
  JsonObject object;
  object.Text("message", R"(a "b" \c)");
  object.Text("reason", "");
  EXPECT_EQ(object.Written(), R"({"message":"a \"b\" \\c","reason":""})");
}

TEST(JsonObject, OptionalTextIsLeftOutWithItsKeyWhenItIsEmpty) {
  JsonObject object;
  object.OptionalText("client_ip", "");
  object.OptionalText("gateway", R"("x")");
  EXPECT_EQ(object.Written(), R"({"gateway":"\"x\""})");
}

TEST(JsonObject, OptionalArrayIsCopiedVerbatimOrLeftOut) {
  JsonObject object;
  object.OptionalArray("entries", R"(["a\"b"])");
  object.OptionalArray("admin_env_ips", "");
  object.OptionalArray("selected", "[]");
  EXPECT_EQ(object.Written(), R"({"entries":["a\"b"],"selected":[]})");
}

}  // namespace
}  // namespace veltrane
