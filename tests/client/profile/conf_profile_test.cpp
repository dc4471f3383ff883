#include "client/profile/conf_profile.h"

#include "tests/client/profile/profile_text.h"

namespace veltrane {
namespace {

TEST_F(ConfProfile, CarriesEveryFieldOfTheProtocol) {
  EXPECT_EQ(Read("[Interface]\n"
                 "PrivateKey = PRIVATE\n"
                 "Address = 10.66.66.7/32\n"
                 "DNS = 10.66.66.1\n"
                 "\n"
                 "[Peer]\n"
                 "PublicKey = PUBLIC\n"
                 "PresharedKey = SHARED\n"
                 "AllowedIPs = 10.66.66.0/24\n"
                 "Endpoint = 192.0.2.10:51820\n"
                 "PersistentKeepalive = 25\n"),
            "address_cidr@3=10.66.66.7/32 endpoint_host@10=192.0.2.10 endpoint_port@10=51820 "
            "server_public_key@7=PUBLIC client_private_key@2=PRIVATE pre_shared_key@8=SHARED "
            "dns_csv@4=10.66.66.1 allowed_ips_csv@9=10.66.66.0/24 ");
}

TEST_F(ConfProfile, CommentsBlanksCaseAndLineEndsDoNotMatter) {
  EXPECT_EQ(Read("# a comment\r\n"
                 "\t[INTERFACE]  # another\r\n"
                 "privatekey=PRIVATE # mine\r\n"
                 "\r\n"
                 "[peer]\r\n"
                 "ENDPOINT\t=  vpn.example:51820  \r\n"),
            "endpoint_host@6=vpn.example endpoint_port@6=51820 client_private_key@3=PRIVATE ");
}

TEST_F(ConfProfile, TheLastLineNeedsNoLineEnd) {
  EXPECT_EQ(Read("[Interface]\nPrivateKey = PRIVATE\n[Peer]\nEndpoint = a:1"),
            "endpoint_host@4=a endpoint_port@4=1 client_private_key@2=PRIVATE ");
}

TEST_F(ConfProfile, RepeatedListsAreJoined) {
  EXPECT_EQ(Read("[Interface]\n"
                 "PrivateKey = PRIVATE\n"
                 "Address = 10.0.0.2/32\n"
                 "Address = fd00::2/128\n"
                 "DNS = 10.0.0.1\n"
                 "DNS = example.org\n"
                 "[Peer]\n"
                 "AllowedIPs = 10.0.0.0/8, 10.1.0.0/16\n"
                 "AllowedIPs = fd00::/8\n"
                 "Endpoint = a:1\n"),
            "address_cidr@3=10.0.0.2/32,fd00::2/128 endpoint_host@10=a endpoint_port@10=1 "
            "client_private_key@2=PRIVATE dns_csv@5=10.0.0.1,example.org "
            "allowed_ips_csv@8=10.0.0.0/8, 10.1.0.0/16,fd00::/8 ");
}

TEST_F(ConfProfile, AnIpv6EndpointKeepsItsBrackets) {
  EXPECT_EQ(Read("[Interface]\nPrivateKey = P\n[Peer]\nEndpoint = [2001:db8::1]:51820\n"),
            "endpoint_host@4=[2001:db8::1] endpoint_port@4=51820 client_private_key@2=P ");
}

class BadConfProfile : public ConfProfile, public testing::WithParamInterface<BadText> {};

TEST_P(BadConfProfile, NamesTheLineAndWhatToDo) {
  EXPECT_EQ(Read(GetParam().text), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, BadConfProfile,
    testing::Values(
        BadText{"[Peer]\nEndpoint = a:1\n", "0: no [Interface] section: add one with a PrivateKey"},
        BadText{"[Interface]\nPrivateKey = P\n", "0: no [Peer] section: add one for the server"},
        BadText{"[Interface]\nAddress = 10.0.0.2\n[Peer]\nEndpoint = a:1\n",
                "1: [Interface] has no PrivateKey: add the line \"PrivateKey = ...\""},
        BadText{"[Interface]\nPrivateKey = P\n\n[Peer]\n",
                "4: [Peer] has no Endpoint: add the line \"Endpoint = host:port\""},
        BadText{"[Interface]\nPrivateKey = P\n[Peer]\nEndpoint = a:1\n[Peer]\n",
                "5: a second [Peer]: the service supports one peer, so remove the others"},
        BadText{"[Interface]\n[Interface]\n", "2: a second [Interface]: keep only one"},
        BadText{"[Interface]\nMTU = 1420\n",
                "2: MTU: the service does not support it, so delete the line"},
        BadText{"[Interface]\nListenPort = 51820\n",
                "2: ListenPort: the service does not support it, so delete the line"},
        BadText{"[Interface]\nFwMark = 1\n",
                "2: FwMark: the service does not support it, so delete the line"},
        BadText{"[Interface]\nTable = off\n",
                "2: Table: the service does not support it, so delete the line"},
        BadText{"[Interface]\nPreUp = x\n",
                "2: PreUp: the service does not support it, so delete the line"},
        BadText{"[Interface]\nPostUp = x\n",
                "2: PostUp: the service does not support it, so delete the line"},
        BadText{"[Interface]\nPreDown = x\n",
                "2: PreDown: the service does not support it, so delete the line"},
        BadText{"[Interface]\nPostDown = x\n",
                "2: PostDown: the service does not support it, so delete the line"},
        BadText{"[Interface]\nSaveConfig = true\n",
                "2: SaveConfig: the service does not support it, so delete the line"},
        BadText{"[Interface]\nColour = red\n", "2: unknown key Colour: correct or delete the line"},
        BadText{"[Interface]\nEndpoint = a:1\n",
                "2: Endpoint belongs in [Peer]: move the line there"},
        BadText{"[Interface]\nPersistentKeepalive = 25\n",
                "2: PersistentKeepalive belongs in [Peer]: move the line there"},
        BadText{"[Interface]\nPrivateKey = P\n[Peer]\nDNS = 10.0.0.1\n",
                "4: DNS belongs in [Interface]: move the line there"},
        BadText{"[Interface]\nPrivateKey = P\nPrivateKey = Q\n",
                "3: a second PrivateKey: keep the right one"},
        BadText{"[Interface]\nPrivateKey = P\n[Peer]\nEndpoint = a:1\nEndpoint = b:1\n",
                "5: a second Endpoint: keep the right one"},
        BadText{"[Interface]\nPrivateKey =\n",
                "2: PrivateKey has no value: add one or delete the line"},
        BadText{"PrivateKey = P\n",
                "1: a key outside any section: move it below [Interface] or [Peer]"},
        BadText{"[Interface]\nPrivateKey\n",
                "2: neither a section nor \"Key = value\": correct the line"},
        BadText{"[Server]\n",
                "1: unknown section [Server]: only [Interface] and [Peer] are allowed"},
        BadText{"[Interface]\nPrivateKey = P\n[Peer]\nEndpoint = a\n",
                "4: Endpoint must have the form host:port"},
        BadText{"[Interface]\nPrivateKey = P\n[Peer]\nEndpoint = :1\n",
                "4: Endpoint must have the form host:port"},
        BadText{"[Interface]\nPrivateKey = P\n[Peer]\nPersistentKeepalive = 10\n",
                "4: PersistentKeepalive = 10: the service always uses 25, so write 25 or delete "
                "the line"},
        BadText{"[Interface]\nPrivateKey = P\n[Peer]\nPersistentKeepalive = off\n",
                "4: PersistentKeepalive = off: the service always uses 25, so write 25 or delete "
                "the line"},
        // A key on a line of its own must not come back in a message.
        BadText{"[Interface]\niBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=\n",
                "2: (hidden, 43 characters) has no value: add one or delete the line"},
        BadText{"[iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=]\n",
                "1: unknown section (hidden, 46 characters): only [Interface] and [Peer] are "
                "allowed"}));

}  // namespace
}  // namespace veltrane
