#include "ipc/message_codec.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/name_of.h"

using namespace std::string_literals;

namespace veltrane {
namespace {

// ---- finding the field

struct Field {
  const char* name;
  const char* request;
  const char* key;
  const char* expected;
};

class FieldLookup : public testing::TestWithParam<Field> {};

TEST_P(FieldLookup, ReadsTheStringBehindTheFirstColonAfterTheFirstOccurrence) {
  EXPECT_EQ(ReadStringField(GetParam().request, GetParam().key), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Value, FieldLookup,
    testing::Values(Field{"WithBlanksAroundTheColon", R"({"op" : "status"})", "op", "status"},
                    Field{"WithoutBlanks", R"({"op":"status"})", "op", "status"},
                    Field{"WithoutQuotes", R"({"op":status})", "op", ""},
                    Field{"Empty", R"({"op":""})", "op", ""},
                    Field{"UnquotedPort", R"({"endpoint_port":51820})", "endpoint_port", ""},
                    Field{"Unterminated", R"({"op":"abc)", "op", ""},
                    Field{"CutBehindItsQuote", R"({"op":")", "op", ""},
                    Field{"WithAnEscapedQuote", R"({"op":"a\"b"})", "op", "a\"b"},
                    Field{"WhoseOnlyOtherQuoteIsEscaped", R"({"op":"a\"})", "op", ""},
                    Field{"ThatEndsInAnEscapedBackslash", R"({"op":"a\\","b":"c"})", "op", "a\\"},
                    Field{"CutBehindABackslash", R"({"op":"a\)", "op", ""},
                    Field{"WithBracesColonsAndCommas", R"({"op":"a:b,{c}[d]"})", "op",
                          "a:b,{c}[d]"}),
    NameOf<Field>);

INSTANTIATE_TEST_SUITE_P(
    Key, FieldLookup,
    testing::Values(
        Field{"BeginningALongerOne", R"({"op2":"y"})", "op", ""},
        Field{"EndingALongerOne", R"({"my_op":"y"})", "op", ""},
        Field{"FirstAsAValueTakesTheNextColon", R"({"a":"op","op":"x"})", "op", "x"},
        Field{"FirstAsAValueTakesWhateverFollows", R"({"a":"op","b":"y","op":"x"})", "op", "y"},
        Field{"OnlyAsAValueWithNoColonBehind", R"({"a":"op"})", "op", ""},
        Field{"OfANumberHidesALaterOne", R"({"op":1,"op":"x"})", "op", ""},
        Field{"OfAStringHidesALaterOne", R"({"op":"first","op":"second"})", "op", "first"},
        Field{"WithTextBeforeTheColon", R"({"op", 1, {} "other" : "x"})", "op", "x"},
        Field{"WithTheColonInItself", R"({"x:"y"})", R"(x:"y)", "y"},
        Field{"WithAColonInItselfThatHidesTheReal", R"({"a:b":"v"})", "a:b", ""},
        Field{"InsideAnotherObject", R"({"outer":{"op":"inner"}})", "op", "inner"},
        Field{"OutsideAnyObject", R"("op":"x")", "op", "x"},
        Field{"AmongRubbish", R"(rubbish "op":"x" rubbish)", "op", "x"},
        Field{"InCapitals", R"({"OP":"x"})", "op", ""},
        Field{"BehindOneInOtherCase", R"({"Op":"x","op":"y"})", "op", "y"},
        Field{"Empty", R"({"":"x"})", "", "x"}, Field{"InAnEmptyRequest", "", "op", ""},
        Field{"LongerThanTheRequest", "\"op", "op", ""}, Field{"AtTheEnd", R"({"op")", "op", ""},
        Field{"BeforeTheLastColon", R"({"op":)", "op", ""},
        Field{"BeforeWhiteSpaceAlone", "{\"op\": \t\n", "op", ""}),
    NameOf<Field>);

TEST(FieldEnd, NothingIsReadBeyondTheEndOfTheRequest) {
  const std::string_view whole = R"({"op": "x"})";
  for (std::size_t size = 0; size < whole.size() - 1; ++size) {
    const std::vector<char> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(ReadStringField(std::string_view(cut.data(), cut.size()), "op"), "") << size;
  }
}

TEST(Operation, IsTheFieldOp) {
  EXPECT_EQ(ReadOp(R"({"session_nonce":"abc","op":"connect"})"), "connect");
  EXPECT_EQ(ReadOp(R"({"operation":"connect"})"), "");
}

// ---- bytes of the value

struct Bytes {
  const char* name;
  std::string raw;  // what stands in the request
  std::string expected;
};

class BehindTheColon : public testing::TestWithParam<Bytes> {};

TEST_P(BehindTheColon, WhiteSpaceIsSkippedAndAnythingElseMustBeAString) {
  EXPECT_EQ(ReadStringField("{\"op\":" + GetParam().raw + "}", "op"), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    WhiteSpace, BehindTheColon,
    testing::Values(Bytes{"Space", " \"x\"", "x"}, Bytes{"Tab", "\t\"x\"", "x"},
                    Bytes{"Newline", "\n\"x\"", "x"}, Bytes{"VerticalTab", "\v\"x\"", "x"},
                    Bytes{"FormFeed", "\f\"x\"", "x"}, Bytes{"CarriageReturn", "\r\"x\"", "x"},
                    Bytes{"AllOfThem", " \t\n\v\f\r \"x\"", "x"}),
    NameOf<Bytes>);

INSTANTIATE_TEST_SUITE_P(
    NoString, BehindTheColon,
    testing::Values(Bytes{"NoBreakSpace", "\xA0\"x\"", ""}, Bytes{"NextLine", "\x85\"x\"", ""},
                    Bytes{"ZeroByte", "\0\"x\""s, ""},
                    Bytes{"ByteOrderMark", "\xEF\xBB\xBF\"x\"", ""}, Bytes{"Letter", "a\"x\"", ""},
                    Bytes{"Backslash", "\\\"x\"", ""}, Bytes{"Number", "51820", ""},
                    Bytes{"True", "true", ""}, Bytes{"False", "false", ""},
                    Bytes{"Null", "null", ""}, Bytes{"Object", R"({"a":"b"})", ""},
                    Bytes{"Array", R"(["a"])", ""}, Bytes{"TextInSingleQuotes", "'a'", ""}),
    NameOf<Bytes>);

class InTheString : public testing::TestWithParam<Bytes> {};

TEST_P(InTheString, SixEscapesAreUnderstoodAndEverythingElseStays) {
  EXPECT_EQ(ReadStringField("{\"op\":\"" + GetParam().raw + "\"}", "op"), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Escape, InTheString,
    testing::Values(Bytes{"LineFeed", R"(-\n-)", "-\x0A-"},
                    Bytes{"CarriageReturn", R"(-\r-)", "-\x0D-"}, Bytes{"Tab", R"(-\t-)", "-\x09-"},
                    Bytes{"Quote", R"(a\"b)", "a\"b"}, Bytes{"Slash", R"(a\/b)", "a/b"},
                    Bytes{"Backslash", R"(a\\b)", "a\\b"},
                    Bytes{"SeveralInARow", R"(\n\r\t\"\/\\)", "\x0A\x0D\x09\"/\\"},
                    Bytes{"BackslashThenN", R"(\\n)", "\\n"},
                    Bytes{"TwoBackslashes", R"(\\\\)", "\\\\"}),
    NameOf<Bytes>);

INSTANTIATE_TEST_SUITE_P(
    NoEscape, InTheString,
    testing::Values(Bytes{"LetterQ", R"(a\qb)", "a\\qb"}, Bytes{"Backspace", R"(a\bb)", "a\\bb"},
                    Bytes{"FormFeed", R"(a\fb)", "a\\fb"}, Bytes{"Unicode", R"(\u0041)", "\\u0041"},
                    Bytes{"CapitalN", R"(\N)", "\\N"}, Bytes{"Apostrophe", R"(\')", "\\'"},
                    Bytes{"DigitZero", R"(\0)", "\\0"}, Bytes{"ZeroByte", "\\\0"s, "\\\0"s},
                    Bytes{"FollowedByAnEscape", R"(\q\n)", "\\q\n"},
                    Bytes{"FollowedByAQuote", R"(\u\"x)", "\\u\"x"},
                    Bytes{"Utf8", "K\xC3\xB6ln", "K\xC3\xB6ln"},
                    Bytes{"InvalidUtf8", "\xFF\xFE\x80", "\xFF\xFE\x80"},
                    Bytes{"RawControlCharacters", "-\n\t\x01-", "-\n\t\x01-"},
                    Bytes{"Blanks", "  a  ", "  a  "}),
    NameOf<Bytes>);

// ---- replies

TEST(OkReply, NamesTheNodeBehindThePhaseOnlyWhenThereIsOne) {
  EXPECT_EQ(MakeOkReply("connected", ""), R"({"ok":true,"phase":"connected"})");
  EXPECT_EQ(MakeOkReply("connected", "node-7"),
            R"({"ok":true,"phase":"connected","node_id":"node-7"})");
  EXPECT_EQ(MakeOkReply("", ""), R"({"ok":true,"phase":""})");
}

TEST(OkReply, TextsAreCopiedWithoutEscaping) {
  EXPECT_EQ(MakeOkReply("a\"b\\c\nd", "e\"f\\g\th"),
            "{\"ok\":true,\"phase\":\"a\"b\\c\nd\",\"node_id\":\"e\"f\\g\th\"}");
}

TEST(ErrorReply, CodeComesBeforeMessageAndBothAreAlwaysMembers) {
  EXPECT_EQ(MakeErrorReply("unknown_op", "x"),
            R"({"ok":false,"error":"unknown_op","message":"x"})");
  EXPECT_EQ(MakeErrorReply("", ""), R"({"ok":false,"error":"","message":""})");
}

TEST(ErrorReply, QuotesAndBackslashesAreCopiedAsTheyAre) {
  EXPECT_EQ(MakeErrorReply("a\"b\\c", "say \"no\" to \\ and \n"),
            "{\"ok\":false,\"error\":\"a\"b\\c\",\"message\":\"say \"no\" to \\ and \n\"}");
}

}  // namespace
}  // namespace veltrane
