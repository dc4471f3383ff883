#include "tunnel/wireguard_config.h"

#include <limits>

#include <gtest/gtest.h>

namespace veltrane {
namespace {

ConnectionProfile Profile() {
  ConnectionProfile profile;
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

TEST(WireGuardConfig, WithoutDnsServersHasNoDnsLine) {
  ConnectionProfile profile = Profile();
  profile.dns_csv = "";
  EXPECT_EQ(RenderWireGuardConfig(profile),
            "[Interface]\n"
            "PrivateKey = cHJpdmF0ZQ==\n"
            "Address = 10.66.66.7/32\n"
            "\n"
            "[Peer]\n"
            "PublicKey = cHVibGlj\n"
            "AllowedIPs = 10.66.66.0/24\n"
            "Endpoint = 192.0.2.10:51820\n"
            "PersistentKeepalive = 25\n");
}

TEST(WireGuardConfig, LeavesOutTheFieldsThatAreNoneOfTheTunnels) {
  ConnectionProfile profile = Profile();
  profile.node_id = "node-1";
  profile.device_id = "device-1";
  profile.client_public_key = "Y2xpZW50";
  profile.display_name = "Office";
  EXPECT_EQ(RenderWireGuardConfig(profile),
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

TEST(WireGuardConfig, CopiesValuesVerbatim) {
  ConnectionProfile profile;
  profile.client_private_key = " \"key\" ";
  profile.address_cidr = "10.66.66.7/32 , fd00::7/128";
  profile.dns_csv = "10.66.66.1,  1.1.1.1 ,";
  profile.server_public_key = "\xC3\xBC#;";
  profile.pre_shared_key = " ";
  profile.allowed_ips_csv = "0.0.0.0/0, ::/0";
  profile.endpoint_host = "vpn.example ";
  EXPECT_EQ(RenderWireGuardConfig(profile),
            "[Interface]\n"
            "PrivateKey =  \"key\" \n"
            "Address = 10.66.66.7/32 , fd00::7/128\n"
            "DNS = 10.66.66.1,  1.1.1.1 ,\n"
            "\n"
            "[Peer]\n"
            "PublicKey = \xC3\xBC#;\n"
            "PresharedKey =  \n"
            "AllowedIPs = 0.0.0.0/0, ::/0\n"
            "Endpoint = vpn.example :51820\n"
            "PersistentKeepalive = 25\n");
}

TEST(WireGuardConfig, CopiesALineFeedInsideAValue) {
  ConnectionProfile profile = Profile();
  profile.dns_csv = "10.66.66.1\nTable = off";
  EXPECT_EQ(RenderWireGuardConfig(profile),
            "[Interface]\n"
            "PrivateKey = cHJpdmF0ZQ==\n"
            "Address = 10.66.66.7/32\n"
            "DNS = 10.66.66.1\n"
            "Table = off\n"
            "\n"
            "[Peer]\n"
            "PublicKey = cHVibGlj\n"
            "AllowedIPs = 10.66.66.0/24\n"
            "Endpoint = 192.0.2.10:51820\n"
            "PersistentKeepalive = 25\n");
}

// The part of the file from the endpoint line on.
std::string EndOfConfig(const ConnectionProfile& profile) {
  const std::string text = RenderWireGuardConfig(profile);
  return text.substr(text.find("Endpoint"));
}

std::string BeginOfConfig(const ConnectionProfile& profile) {
  const std::string text = RenderWireGuardConfig(profile);
  return text.substr(0, text.find("[Peer]"));
}

TEST(WireGuardConfig, DoesNotBracketAnIpv6Endpoint) {
  ConnectionProfile profile = Profile();
  profile.endpoint_host = "2001:db8::10";
  EXPECT_EQ(EndOfConfig(profile),
            "Endpoint = 2001:db8::10:51820\n"
            "PersistentKeepalive = 25\n");
}

TEST(WireGuardConfig, DoesNotCheckTheRangeOfThePort) {
  ConnectionProfile profile = Profile();
  profile.endpoint_port = 0;
  EXPECT_EQ(EndOfConfig(profile), "Endpoint = 192.0.2.10:0\nPersistentKeepalive = 25\n");
  profile.endpoint_port = -1;
  EXPECT_EQ(EndOfConfig(profile), "Endpoint = 192.0.2.10:-1\nPersistentKeepalive = 25\n");
  profile.endpoint_port = 70000;
  EXPECT_EQ(EndOfConfig(profile), "Endpoint = 192.0.2.10:70000\nPersistentKeepalive = 25\n");
}

TEST(WireGuardConfig, PrintsTheLargestAndTheSmallestNumbersWithoutGrouping) {
  ConnectionProfile profile = Profile();
  profile.endpoint_port = std::numeric_limits<std::int32_t>::max();
  profile.persistent_keepalive = std::numeric_limits<std::int32_t>::min();
  EXPECT_EQ(EndOfConfig(profile),
            "Endpoint = 192.0.2.10:2147483647\n"
            "PersistentKeepalive = -2147483648\n");
}

TEST(WireGuardConfig, KeepsAKeepaliveOfZero) {
  ConnectionProfile profile = Profile();
  profile.persistent_keepalive = 0;
  EXPECT_EQ(EndOfConfig(profile), "Endpoint = 192.0.2.10:51820\nPersistentKeepalive = 0\n");
}

TEST(WireGuardConfig, HasAnMtuLineForAPositiveMtuOnly) {
  ConnectionProfile profile = Profile();
  constexpr char kWithoutMtu[] =
      "[Interface]\n"
      "PrivateKey = cHJpdmF0ZQ==\n"
      "Address = 10.66.66.7/32\n"
      "DNS = 10.66.66.1\n"
      "\n";
  profile.mtu = 0;
  EXPECT_EQ(BeginOfConfig(profile), kWithoutMtu);
  profile.mtu = -1420;
  EXPECT_EQ(BeginOfConfig(profile), kWithoutMtu);
  profile.mtu = 1;
  EXPECT_EQ(BeginOfConfig(profile),
            "[Interface]\n"
            "PrivateKey = cHJpdmF0ZQ==\n"
            "Address = 10.66.66.7/32\n"
            "DNS = 10.66.66.1\n"
            "MTU = 1\n"
            "\n");
}

}  // namespace
}  // namespace veltrane
