#include "client/profile/json_profile.h"

#include "tests/client/profile/profile_text.h"

namespace veltrane {
namespace {

TEST_F(JsonProfile, CarriesEveryKeyOfTheProtocol) {
  EXPECT_EQ(Read("{\n"
                 "  \"node_id\": \"n\",\n"
                 "  \"device_id\": \"d\",\n"
                 "  \"display_name\": \"Name\",\n"
                 "  \"address_cidr\": \"10.66.66.7/32\",\n"
                 "  \"endpoint_host\": \"192.0.2.10\",\n"
                 "  \"endpoint_port\": \"51820\",\n"
                 "  \"server_public_key\": \"PUBLIC\",\n"
                 "  \"client_private_key\": \"PRIVATE\",\n"
                 "  \"client_public_key\": \"MINE\",\n"
                 "  \"pre_shared_key\": \"SHARED\",\n"
                 "  \"dns_csv\": \"10.66.66.1\",\n"
                 "  \"allowed_ips_csv\": \"10.66.66.0/24\"\n"
                 "}\n"),
            "node_id@2=n device_id@3=d display_name@4=Name address_cidr@5=10.66.66.7/32 "
            "endpoint_host@6=192.0.2.10 endpoint_port@7=51820 server_public_key@8=PUBLIC "
            "client_private_key@9=PRIVATE client_public_key@10=MINE pre_shared_key@11=SHARED "
            "dns_csv@12=10.66.66.1 allowed_ips_csv@13=10.66.66.0/24 ");
}

TEST_F(JsonProfile, AnEmptyObjectIsAnEmptyProfile) { EXPECT_EQ(Read(" { } \n"), ""); }

TEST_F(JsonProfile, EveryEscapeOfJsonIsRead) {
  EXPECT_EQ(Read(R"({"display_name":"\"\\\/\b\f\n\r\tA\u00e9\u20AC\ud83d\ude00"})"),
            "display_name@1=\"\\/\b\f\n\r\tA\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 ");
}

class BadJsonProfile : public JsonProfile, public testing::WithParamInterface<BadText> {};

TEST_P(BadJsonProfile, NamesTheLineAndWhatToDo) {
  EXPECT_EQ(Read(GetParam().text), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, BadJsonProfile,
    testing::Values(
        BadText{"[]", "1: a JSON profile must begin with \"{\""},
        BadText{"{\n\"endpoint_port\": 51820\n}",
                "2: \"endpoint_port\" is not a string: put its value in quotes, because the "
                "service reads only strings"},
        BadText{"{\n\"node_id\": null\n}",
                "2: \"node_id\" is not a string: put its value in quotes, because the service "
                "reads only strings"},
        BadText{"{\n\n\"mtu\": \"1420\"\n}", "3: unknown key \"mtu\": correct or delete it"},
        BadText{"{\"op\": \"connect\"}", "1: unknown key \"op\": correct or delete it"},
        BadText{"{\"session_nonce\": \"x\"}",
                "1: \"session_nonce\" does not belong in a profile: use --session"},
        BadText{"{\"node_id\": \"a\",\n\"node_id\": \"b\"}",
                "2: \"node_id\" appears twice: keep the right one"},
        BadText{"{\"node_id\" \"a\"}", "1: a colon is missing after \"node_id\""},
        BadText{"{\"node_id\": \"a\"\n\"device_id\": \"b\"}",
                "2: a comma or \"}\" is missing here or on the line before"},
        BadText{"{\"node_id\": \"a\",}", "1: a string in quotes is missing here"},
        BadText{"{\"node_id\": \"a\"} x", "1: text after the end of the profile: delete it"},
        BadText{"{\"node_id\": \"a\nb\"}", "1: the string does not end on this line"},
        BadText{"{\"node_id\": \"a", "1: the string does not end on this line"},
        BadText{"{\"node_id\": \"a\\", "1: the string does not end on this line"},
        BadText{"{\"node_id\": \"a\\\nb\"}", "1: the string does not end on this line"},
        BadText{"{\"node_id\": \"\\q\"}", "1: unknown escape \\q: correct it"},
        BadText{"{\"node_id\": \"\\\x1b\"}", "1: unknown escape \\\xEF\xBF\xBD: correct it"},
        BadText{"{\"node_id\": \"\\\xC3\xA9\"}", "1: unknown escape \\\xEF\xBF\xBD: correct it"},
        BadText{"{\"node_id\": \"\\u12g4\"}", "1: \\u needs four hexadecimal digits"},
        BadText{"{\"node_id\": \"\\ud83d\"}", "1: \\u: half of a surrogate pair"},
        BadText{"{\"node_id\": \"\\ude00\"}", "1: \\u: half of a surrogate pair"},
        BadText{"{\"iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=\": \"\"}",
                "1: unknown key \"(hidden, 44 characters)\": correct or delete it"}));

}  // namespace
}  // namespace veltrane
