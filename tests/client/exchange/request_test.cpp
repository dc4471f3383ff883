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

TEST_F(Request, StatusAndDisconnectAreTheirOperationAlone) {
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

TEST_F(Request, ConnectCarriesWhatTheProfileHolds) {
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

TEST_F(Request, TheServiceReadsEveryFieldAsItWasMeant) {
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

TEST_F(Request, AValueThatWouldBeTakenForALaterKeyIsAProblem) {
  Set(ProfileKey::kDeviceId, "client_private_key");
  EXPECT_EQ(ConnectRequest(profile, "").problem,
            "a value is \"client_private_key\", which the service would mistake for the key of "
            "that name: rename it");
}

TEST_F(Request, AValueThatWouldBeTakenForAMissingKeyIsAProblem) {
  Set(ProfileKey::kDeviceId, "dns_csv");
  EXPECT_EQ(ConnectRequest(profile, "").problem,
            "a value is \"dns_csv\", which the service would mistake for the key of that name: "
            "rename it");
}

TEST_F(Request, AQuoteBeforeAKeysNameMakesItAKeyToo) {
  Set(ProfileKey::kDisplayName, "x\"dns_csv");
  EXPECT_EQ(ConnectRequest(profile, "").problem,
            "a value is \"dns_csv\", which the service would mistake for the key of that name: "
            "rename it");
}

TEST_F(Request, AValueThatNamesAKeyAlreadyPassedIsNone) {
  Set(ProfileKey::kDisplayName, "op");
  EXPECT_EQ(ConnectRequest(profile, "").problem, "");
  EXPECT_EQ(ReadOp(Text()), "connect");
}

TEST_F(Request, AWordThatTheServiceRefusesIsAProblem) {
  for (const char* word : {"config_path", "wg_quick_config", "wgQuickConfig", "conf_path"}) {
    Set(ProfileKey::kDisplayName, "my " + std::string(word) + "s");
    EXPECT_EQ(ConnectRequest(profile, "").problem,
              "a value contains \"" + std::string(word) +
                  "\", which the service refuses anywhere in a request: rename it");
  }
}

TEST_F(Request, OneReadOfTheServiceMustHoldIt) {
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
