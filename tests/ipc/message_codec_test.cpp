#include "ipc/message_codec.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace veltrane {
namespace {

struct NamedCase {
  const char* name;
  std::string raw;            // a piece of the request
  std::string expected = {};  // the value that is read
};

std::string NameOf(const testing::TestParamInfo<NamedCase>& test) { return test.param.name; }

// ---- finding the field

TEST(FieldLookup, ValueIsReadWithAndWithoutBlanksAroundTheColon) {
  EXPECT_EQ(ReadStringField(R"({"op" : "status"})", "op"), "status");
  EXPECT_EQ(ReadStringField(R"({"op":"status"})", "op"), "status");
}

TEST(FieldLookup, ValueWithoutQuotesReadsEmpty) {
  EXPECT_EQ(ReadStringField(R"({"op":status})", "op"), "");
}

TEST(FieldLookup, LongerKeyThatBeginsLikeTheKeyIsAnotherKey) {
  EXPECT_EQ(ReadStringField(R"({"op2":"y"})", "op"), "");
}

TEST(FieldLookup, LongerKeyThatEndsLikeTheKeyIsAnotherKey) {
  EXPECT_EQ(ReadStringField(R"({"my_op":"y"})", "op"), "");
}

TEST(FieldLookup, KeyFoundFirstAsAValueTakesTheNextColon) {
  EXPECT_EQ(ReadStringField(R"({"a":"op","op":"x"})", "op"), "x");
}

TEST(FieldLookup, KeyFoundFirstAsAValueTakesTheValueOfWhateverKeyFollows) {
  EXPECT_EQ(ReadStringField(R"({"a":"op","b":"y","op":"x"})", "op"), "y");
}

TEST(FieldLookup, KeyFoundOnlyAsAValueReadsEmptyWhenNoColonFollows) {
  EXPECT_EQ(ReadStringField(R"({"a":"op"})", "op"), "");
}

TEST(FieldLookup, OnlyTheFirstOccurrenceIsTried) {
  EXPECT_EQ(ReadStringField(R"({"op":1,"op":"x"})", "op"), "");
  EXPECT_EQ(ReadStringField(R"({"op":"first","op":"second"})", "op"), "first");
}

TEST(FieldLookup, TextBetweenKeyAndColonIsSkipped) {
  EXPECT_EQ(ReadStringField(R"({"op", 1, {} "other" : "x"})", "op"), "x");
}

TEST(FieldLookup, ColonIsSearchedFromTheBeginningOfTheKey) {
  EXPECT_EQ(ReadStringField(R"({"x:"y"})", R"(x:"y)"), "y");
  EXPECT_EQ(ReadStringField(R"({"a:b":"v"})", "a:b"), "");
}

TEST(FieldLookup, KeyInsideAnotherObjectIsFound) {
  EXPECT_EQ(ReadStringField(R"({"outer":{"op":"inner"}})", "op"), "inner");
}

TEST(FieldLookup, RequestNeedNotBeAnObject) {
  EXPECT_EQ(ReadStringField(R"("op":"x")", "op"), "x");
  EXPECT_EQ(ReadStringField(R"(rubbish "op":"x" rubbish)", "op"), "x");
}

TEST(FieldLookup, KeysAreComparedWithCase) {
  EXPECT_EQ(ReadStringField(R"({"OP":"x"})", "op"), "");
  EXPECT_EQ(ReadStringField(R"({"Op":"x","op":"y"})", "op"), "y");
}

TEST(FieldLookup, EmptyKeyIsAKey) { EXPECT_EQ(ReadStringField(R"({"":"x"})", ""), "x"); }

TEST(FieldLookup, RequestShorterThanTheKeyReadsEmpty) {
  EXPECT_EQ(ReadStringField("", "op"), "");
  EXPECT_EQ(ReadStringField("\"op", "op"), "");
}

TEST(FieldLookup, RequestThatEndsBeforeTheValueReadsEmpty) {
  EXPECT_EQ(ReadStringField(R"({"op")", "op"), "");
  EXPECT_EQ(ReadStringField(R"({"op":)", "op"), "");
  EXPECT_EQ(ReadStringField("{\"op\": \t\n", "op"), "");
}

TEST(FieldLookup, NothingIsReadBeyondTheEndOfTheRequest) {
  const std::string_view whole = R"({"op": "x"})";
  for (std::size_t size = 0; size < whole.size() - 1; ++size) {
    const std::vector<char> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(ReadStringField(std::string_view(cut.data(), cut.size()), "op"), "") << size;
  }
}

TEST(FieldLookup, EmptyStringReadsEmpty) { EXPECT_EQ(ReadStringField(R"({"op":""})", "op"), ""); }

TEST(FieldLookup, UnquotedPortReadsEmpty) {
  EXPECT_EQ(ReadStringField(R"({"endpoint_port":51820})", "endpoint_port"), "");
}

TEST(FieldLookup, OperationIsTheFieldOp) {
  EXPECT_EQ(ReadOp(R"({"session_nonce":"abc","op":"connect"})"), "connect");
  EXPECT_EQ(ReadOp(R"({"operation":"connect"})"), "");
}

// ---- what may stand between the colon and the value

class WhiteSpaceBeforeValue : public testing::TestWithParam<NamedCase> {};

TEST_P(WhiteSpaceBeforeValue, IsSkipped) {
  EXPECT_EQ(ReadStringField("{\"op\":" + GetParam().raw + "\"x\"}", "op"), "x");
}

INSTANTIATE_TEST_SUITE_P(MessageCodec, WhiteSpaceBeforeValue,
                         testing::Values(NamedCase{"Space", " "}, NamedCase{"Tab", "\t"},
                                         NamedCase{"Newline", "\n"}, NamedCase{"VerticalTab", "\v"},
                                         NamedCase{"FormFeed", "\f"},
                                         NamedCase{"CarriageReturn", "\r"},
                                         NamedCase{"AllOfThem", " \t\n\v\f\r "}),
                         NameOf);

class OtherByteBeforeValue : public testing::TestWithParam<NamedCase> {};

TEST_P(OtherByteBeforeValue, MakesItReadEmpty) {
  EXPECT_EQ(ReadStringField("{\"op\":" + GetParam().raw + "\"x\"}", "op"), "");
}

INSTANTIATE_TEST_SUITE_P(MessageCodec, OtherByteBeforeValue,
                         testing::Values(NamedCase{"NoBreakSpace", "\xA0"},
                                         NamedCase{"NextLine", "\x85"},
                                         NamedCase{"ZeroByte", "\0"s},
                                         NamedCase{"ByteOrderMark", "\xEF\xBB\xBF"},
                                         NamedCase{"Letter", "a"}, NamedCase{"Backslash", "\\"}),
                         NameOf);

class ValueThatIsNoString : public testing::TestWithParam<NamedCase> {};

TEST_P(ValueThatIsNoString, ReadsEmpty) {
  EXPECT_EQ(ReadStringField("{\"op\":" + GetParam().raw + "}", "op"), "");
}

INSTANTIATE_TEST_SUITE_P(MessageCodec, ValueThatIsNoString,
                         testing::Values(NamedCase{"Number", "51820"}, NamedCase{"True", "true"},
                                         NamedCase{"False", "false"}, NamedCase{"Null", "null"},
                                         NamedCase{"Object", R"({"a":"b"})"},
                                         NamedCase{"Array", R"(["a"])"},
                                         NamedCase{"TextInSingleQuotes", "'a'"}),
                         NameOf);

// ---- where the string ends

TEST(StringEnd, UnterminatedStringReadsEmpty) {
  EXPECT_EQ(ReadStringField(R"({"op":"abc)", "op"), "");
  EXPECT_EQ(ReadStringField(R"({"op":")", "op"), "");
}

TEST(StringEnd, EscapedQuoteDoesNotEndTheString) {
  EXPECT_EQ(ReadStringField(R"({"op":"a\"b"})", "op"), "a\"b");
  EXPECT_EQ(ReadStringField(R"({"op":"a\"})", "op"), "");
}

TEST(StringEnd, EscapedBackslashBeforeAQuoteEndsTheString) {
  EXPECT_EQ(ReadStringField(R"({"op":"a\\","b":"c"})", "op"), "a\\");
}

TEST(StringEnd, BackslashAtTheEndOfTheRequestLeavesTheStringUnterminated) {
  EXPECT_EQ(ReadStringField(R"({"op":"a\)", "op"), "");
}

TEST(StringEnd, BracesColonsAndCommasBelongToTheString) {
  EXPECT_EQ(ReadStringField(R"({"op":"a:b,{c}[d]"})", "op"), "a:b,{c}[d]");
}

// ---- escapes

class Value : public testing::TestWithParam<NamedCase> {};

TEST_P(Value, IsUnescaped) {
  EXPECT_EQ(ReadStringField("{\"op\":\"" + GetParam().raw + "\"}", "op"), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Escapes, Value,
    testing::Values(NamedCase{"LineFeed", R"(a\nb)",
                              "a\x0A"
                              "b"},
                    NamedCase{"CarriageReturn", R"(a\rb)",
                              "a\x0D"
                              "b"},
                    NamedCase{"Tab", R"(a\tb)",
                              "a\x09"
                              "b"},
                    NamedCase{"Quote", R"(a\"b)", "a\"b"}, NamedCase{"Slash", R"(a\/b)", "a/b"},
                    NamedCase{"Backslash", R"(a\\b)", "a\\b"},
                    NamedCase{"SeveralInARow", R"(\n\r\t\"\/\\)", "\x0A\x0D\x09\"/\\"},
                    NamedCase{"BackslashThenN", R"(\\n)", "\\n"},
                    NamedCase{"TwoBackslashes", R"(\\\\)", "\\\\"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(NoEscapes, Value,
                         testing::Values(NamedCase{"LetterQ", R"(a\qb)", "a\\qb"},
                                         NamedCase{"Backspace", R"(a\bb)", "a\\bb"},
                                         NamedCase{"FormFeed", R"(a\fb)", "a\\fb"},
                                         NamedCase{"Unicode", R"(\u0041)", "\\u0041"},
                                         NamedCase{"CapitalN", R"(\N)", "\\N"},
                                         NamedCase{"Apostrophe", R"(\')", "\\'"},
                                         NamedCase{"DigitZero", R"(\0)", "\\0"},
                                         NamedCase{"ZeroByte", "\\\0"s, "\\\0"s},
                                         NamedCase{"FollowedByAnEscape", R"(\q\n)", "\\q\n"},
                                         NamedCase{"FollowedByAQuote", R"(\u\"x)", "\\u\"x"}),
                         NameOf);

INSTANTIATE_TEST_SUITE_P(PlainBytes, Value,
                         testing::Values(NamedCase{"Utf8", "K\xC3\xB6ln", "K\xC3\xB6ln"},
                                         NamedCase{"InvalidUtf8", "\xFF\xFE\x80", "\xFF\xFE\x80"},
                                         NamedCase{"RawControlCharacters",
                                                   "a\n\t\x01"
                                                   "b",
                                                   "a\n\t\x01"
                                                   "b"},
                                         NamedCase{"Blanks", "  a  ", "  a  "}),
                         NameOf);

// ---- replies

TEST(OkReply, WithoutNodeHasNoMemberForIt) {
  EXPECT_EQ(MakeOkReply("connected", ""), R"({"ok":true,"phase":"connected"})");
  EXPECT_EQ(MakeOkReply("disconnected", ""), R"({"ok":true,"phase":"disconnected"})");
}

TEST(OkReply, NodeFollowsThePhase) {
  EXPECT_EQ(MakeOkReply("connected", "node-7"),
            R"({"ok":true,"phase":"connected","node_id":"node-7"})");
}

TEST(OkReply, TextsAreCopiedWithoutEscaping) {
  EXPECT_EQ(MakeOkReply("a\"b\\c\nd", "e\"f\\g\th"),
            "{\"ok\":true,\"phase\":\"a\"b\\c\nd\",\"node_id\":\"e\"f\\g\th\"}");
}

TEST(OkReply, EmptyPhaseStaysAMember) {
  EXPECT_EQ(MakeOkReply("", ""), R"({"ok":true,"phase":""})");
}

TEST(ErrorReply, CodeComesBeforeMessage) {
  EXPECT_EQ(MakeErrorReply("unknown_op", "x"),
            R"({"ok":false,"error":"unknown_op","message":"x"})");
}

TEST(ErrorReply, QuotesAndBackslashesAreCopiedAsTheyAre) {
  EXPECT_EQ(MakeErrorReply("a\"b\\c", "say \"no\" to \\ and \n"),
            "{\"ok\":false,\"error\":\"a\"b\\c\",\"message\":\"say \"no\" to \\ and \n\"}");
}

TEST(ErrorReply, EmptyTextsStayMembers) {
  EXPECT_EQ(MakeErrorReply("", ""), R"({"ok":false,"error":"","message":""})");
}

}  // namespace
}  // namespace veltrane
