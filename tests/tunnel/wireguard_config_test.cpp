#include "tunnel/wireguard_config.h"

#include <gtest/gtest.h>

namespace veltrane {
namespace {

// With values also in the fields that are none of the tunnel's.
ConnectionProfile Profile() {
  ConnectionProfile profile;
  profile.node_id = "node-1";
  profile.device_id = "device-1";
  profile.client_public_key = "Y2xpZW50";
  profile.display_name = "Office";
  profile.client_private_key = "cHJpdmF0ZQ==";
  profile.address_cidr = "10.66.66.7/32";
  profile.dns_csv = "10.66.66.1";
  profile.server_public_key = "cHVibGlj";
  profile.allowed_ips_csv = "10.66.66.0/24";
  profile.endpoint_host = "192.0.2.10";
  return profile;
}

TEST(WireGuardConfig, OfAUsualProfileHasTenLines) {
  EXPECT_EQ(RenderWireGuardConfig(Profile()),
            "[Interface]\n"
            "PrivateKey = cHJpdmF0ZQ==\n"
            "Address = 10.66.66.7/32\n"
            "DNS = 10.66.66.1\n"
            "\n"
            "[Peer]\n"
            "PublicKey = cHVibGlj\n"
            "AllowedIPs = 10.66.66.0/24\n"
            "Endpoint = 192.0.2.10:51820\n"
            "PersistentKeepalive = 25\n");
}

TEST(WireGuardConfig, WithEverythingSetHasTwelveLinesInOrder) {
  ConnectionProfile profile = Profile();
  profile.mtu = 1420;
  profile.pre_shared_key = "cHNr";
  profile.persistent_keepalive = 15;
  profile.endpoint_port = 443;
  EXPECT_EQ(RenderWireGuardConfig(profile),
            "[Interface]\n"
            "PrivateKey = cHJpdmF0ZQ==\n"
            "Address = 10.66.66.7/32\n"
            "DNS = 10.66.66.1\n"
            "MTU = 1420\n"
            "\n"
            "[Peer]\n"
            "PublicKey = cHVibGlj\n"
            "PresharedKey = cHNr\n"
            "AllowedIPs = 10.66.66.0/24\n"
            "Endpoint = 192.0.2.10:443\n"
            "PersistentKeepalive = 15\n");
}

TEST(WireGuardConfig, OfAnEmptyProfileKeepsEveryRequiredLine) {
  EXPECT_EQ(RenderWireGuardConfig({}),
            "[Interface]\n"
            "PrivateKey = \n"
            "Address = \n"
            "\n"
            "[Peer]\n"
            "PublicKey = \n"
            "AllowedIPs = \n"
            "Endpoint = :51820\n"
            "PersistentKeepalive = 25\n");
}

TEST(WireGuardConfig, CopiesValuesVerbatimEvenALineFeed) {
  ConnectionProfile profile;
  profile.client_private_key = " \"key\" ";
  profile.address_cidr = "10.66.66.7/32 , fd00::7/128";
  profile.dns_csv = "10.66.66.1,  1.1.1.1 ,\nTable = off";
  profile.server_public_key = "\xC3\xBC#;";
  profile.pre_shared_key = " ";
  profile.allowed_ips_csv = "0.0.0.0/0, ::/0";
  profile.endpoint_host = "vpn.example ";
  EXPECT_EQ(RenderWireGuardConfig(profile),
            "[Interface]\n"
            "PrivateKey =  \"key\" \n"
            "Address = 10.66.66.7/32 , fd00::7/128\n"
            "DNS = 10.66.66.1,  1.1.1.1 ,\n"
            "Table = off\n"
            "\n"
            "[Peer]\n"
            "PublicKey = \xC3\xBC#;\n"
            "PresharedKey =  \n"
            "AllowedIPs = 0.0.0.0/0, ::/0\n"
            "Endpoint = vpn.example :51820\n"
            "PersistentKeepalive = 25\n");
}

struct End {
  const char* endpoint_host;
  std::int32_t endpoint_port;
  std::int32_t persistent_keepalive;
  const char* text;
};

constexpr End kEnds[] = {
    {"2001:db8::10", 51820, 25, "Endpoint = 2001:db8::10:51820\nPersistentKeepalive = 25\n"},
    {"h", 0, 0, "Endpoint = h:0\nPersistentKeepalive = 0\n"},
    {"h", -1, -1, "Endpoint = h:-1\nPersistentKeepalive = -1\n"},
    {"h", 70000, 70000, "Endpoint = h:70000\nPersistentKeepalive = 70000\n"},
    {"h", 2147483647, -2147483648, "Endpoint = h:2147483647\nPersistentKeepalive = -2147483648\n"}};

TEST(WireGuardConfig, BracketsNoHostGroupsNoDigitsAndChecksNoRange) {
  for (const auto& [host, port, keepalive, expected] : kEnds) {
    ConnectionProfile profile = Profile();
    profile.endpoint_host = host;
    profile.endpoint_port = port;
    profile.persistent_keepalive = keepalive;
    const std::string text = RenderWireGuardConfig(profile);
    EXPECT_EQ(text.substr(text.find("Endpoint")), expected);
  }
}

TEST(WireGuardConfig, HasAnMtuLineForAPositiveMtuOnly) {
  for (const auto& [mtu, line] : {std::pair(0, ""), {-1420, ""}, {1, "MTU = 1\n"}}) {
    ConnectionProfile profile = Profile();
    profile.mtu = mtu;
    const std::string text = RenderWireGuardConfig(profile);
    EXPECT_EQ(text.substr(0, text.find("[Peer]")),
              "[Interface]\n"
              "PrivateKey = cHJpdmF0ZQ==\n"
              "Address = 10.66.66.7/32\n"
              "DNS = 10.66.66.1\n" +
                  std::string(line) + "\n");
  }
}

}  // namespace
}  // namespace veltrane
