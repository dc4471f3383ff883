#include "client/exchange/request.h"

#include "ipc/connection_profile.h"
#include "ipc/message_codec.h"
#include "tests/client/profile/profile_text.h"

namespace veltrane {
namespace {

class Request : public WithClientSide {
 protected:
  Request() {
    Set(ProfileKey::kNodeId, "office");
    Set(ProfileKey::kClientPrivateKey, "PRIVATE");
  }

  void Set(ProfileKey key, const std::string& value) { profile[key] = {SecretText(value), 1}; }
  std::string Text(const std::string& nonce = {}) const {
    return std::string(ConnectRequest(profile, nonce).request.View());
  }

  Profile profile;
};

TEST_F(Request, StatusAndDisconnectHaveNoFields) {
  EXPECT_EQ(PlainRequest("status").View(), R"({"op":"status"})");
  EXPECT_EQ(PlainRequest("disconnect").View(), R"({"op":"disconnect"})");
}

TEST_F(Request, RegisterCarriesTheNonce) {
  EXPECT_EQ(RegisterRequest("5c0e7a").request.View(),
            R"({"op":"register_session","session_nonce":"5c0e7a"})");
}

TEST_F(Request, AnEmptyNonceIsRegisteredToo) {
  EXPECT_EQ(RegisterRequest("").request.View(), R"({"op":"register_session","session_nonce":""})");
}

TEST_F(Request, ConnectCarriesWhatIsInTheProfile) {
  EXPECT_EQ(Text(), R"({"op":"connect","node_id":"office","client_private_key":"PRIVATE"})");
}

TEST_F(Request, ConnectCarriesTheNonceWhenThereIsOne) {
  EXPECT_EQ(
      Text("5c0e7a"),
      R"({"op":"connect","node_id":"office","client_private_key":"PRIVATE","session_nonce":"5c0e7a"})");
}

TEST_F(Request, QuotesAndBackslashesAreEscapedAndNothingElse) {
  Set(ProfileKey::kDisplayName, "a\"b\\c/\xC3\xA9");
  EXPECT_EQ(ReadStringField(Text(), "display_name"), "a\"b\\c/\xC3\xA9");
  EXPECT_EQ(Text(),
            "{\"op\":\"connect\",\"node_id\":\"office\",\"display_name\":\"a\\\"b\\\\c/"
            "\xC3\xA9\",\"client_private_key\":\"PRIVATE\"}");
}

TEST_F(Request, TheServiceReadsEveryFieldAsIntended) {
  Set(ProfileKey::kDeviceId, "dev");
  Set(ProfileKey::kDisplayName, "Name");
  Set(ProfileKey::kAddress, "10.66.66.7/32");
  Set(ProfileKey::kEndpointHost, "host");
  Set(ProfileKey::kEndpointPort, "443");
  Set(ProfileKey::kServerPublicKey, "SERVER");
  Set(ProfileKey::kClientPublicKey, "MINE");
  Set(ProfileKey::kPreSharedKey, "SHARED");
  Set(ProfileKey::kDns, "10.66.66.1");
  Set(ProfileKey::kAllowedIps, "10.66.66.0/24");
  const ConnectionProfile read = ParseProfile(Text());
  EXPECT_EQ(read.node_id, "office");
  EXPECT_EQ(read.device_id, "dev");
  EXPECT_EQ(read.display_name, "Name");
  EXPECT_EQ(read.address_cidr, "10.66.66.7/32");
  EXPECT_EQ(read.endpoint_host, "host");
  EXPECT_EQ(read.endpoint_port, 443);
  EXPECT_EQ(read.server_public_key, "SERVER");
  EXPECT_EQ(read.client_private_key, "PRIVATE");
  EXPECT_EQ(read.client_public_key, "MINE");
  EXPECT_EQ(read.pre_shared_key, "SHARED");
  EXPECT_EQ(read.dns_csv, "10.66.66.1");
  EXPECT_EQ(read.allowed_ips_csv, "10.66.66.0/24");
}

struct Misread {
  const char* name;
  ProfileKey key;
  const char* value;
  const char* problem;
};

class MisreadRequest : public Request, public testing::WithParamInterface<Misread> {};

TEST_P(MisreadRequest, IsAProblem) {
  Set(GetParam().key, GetParam().value);
  EXPECT_EQ(ConnectRequest(profile, "").problem, GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    Values, MisreadRequest,
    testing::Values(Misread{"NameOfALaterKey", ProfileKey::kDeviceId, "client_private_key",
                            "a value is \"client_private_key\", which the service would mistake "
                            "for the key of that name: rename it"},
                    Misread{"NameOfAMissingKey", ProfileKey::kDeviceId, "dns_csv",
                            "a value is \"dns_csv\", which the service would mistake for the key "
                            "of that name: rename it"},
                    Misread{"QuoteBeforeTheNameOfAKey", ProfileKey::kDisplayName, "x\"dns_csv",
                            "a value is \"dns_csv\", which the service would mistake for the key "
                            "of that name: rename it"},
                    Misread{"ConfigPath", ProfileKey::kDisplayName, "my config_paths",
                            "a value contains \"config_path\", which the service refuses anywhere "
                            "in a request: rename it"},
                    Misread{"WgQuickConfig", ProfileKey::kDisplayName, "my wg_quick_configs",
                            "a value contains \"wg_quick_config\", which the service refuses "
                            "anywhere in a request: rename it"},
                    Misread{"WgQuickConfigInCamelCase", ProfileKey::kDisplayName,
                            "my wgQuickConfigs",
                            "a value contains \"wgQuickConfig\", which the service refuses "
                            "anywhere in a request: rename it"},
                    Misread{"ConfPath", ProfileKey::kDisplayName, "my conf_paths",
                            "a value contains \"conf_path\", which the service refuses anywhere in "
                            "a request: rename it"}),
    [](const auto& misread) { return misread.param.name; });

TEST_F(Request, TheNameOfAKeyThatComesEarlierIsNotAProblem) {
  Set(ProfileKey::kDisplayName, "op");
  EXPECT_EQ(ConnectRequest(profile, "").problem, "");
  EXPECT_EQ(ReadOp(Text()), "connect");
}

TEST_F(Request, ItMustFitOneReadOfTheService) {
  Set(ProfileKey::kDisplayName, std::string(65451, 'x'));
  EXPECT_EQ(Text().size(), 65535u);
  EXPECT_EQ(ConnectRequest(profile, "").problem, "");
  Set(ProfileKey::kDisplayName, std::string(65452, 'x'));
  EXPECT_EQ(
      ConnectRequest(profile, "").problem,
      "the request is 65536 bytes long, but the service reads at most 65535: shorten the profile");
}

}  // namespace
}  // namespace veltrane
