#include "client/profile/profile_file.h"

#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

struct BadProfile {
  const char* name;
  std::string text;
  const char* line;
};

class BadProfiles : public OnClientMachine, public testing::WithParamInterface<BadProfile> {};

TEST_P(BadProfiles, AreNotSent) {
  machine.files.AddFile(L"C:\\profiles\\bad", GetParam().text);
  StartService();
  EXPECT_EQ(Run({"connect", "C:\\profiles\\bad"}), 3);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(), std::string("veltranectl: C:\\profiles\\bad") + GetParam().line + "\n");
  EXPECT_EQ(machine.calls.Of("ServerPipe.Read"), std::vector<std::string>());
}

INSTANTIATE_TEST_SUITE_P(
    Files, BadProfiles,
    testing::Values(
        BadProfile{"Empty", " \n", ": empty: not a profile"},
        BadProfile{"Utf16", std::string("\xFF\xFE[\0I\0", 6), ": not UTF-8 text: save it as UTF-8"},
        BadProfile{"VeryLong", std::string(65536, '#'), ": longer than 65535 bytes: not a profile"},
        BadProfile{"MtuInAConf", "[Interface]\nMTU = 1420\n",
                   ":2: MTU: the service does not support it, so delete the line"},
        BadProfile{"TwoPeers", "[Interface]\nPrivateKey = P\n[Peer]\nEndpoint = a:1\n[Peer]\n",
                   ":5: a second [Peer]: the service supports one peer, so remove the others"},
        BadProfile{"NoPrivateKey", "[Interface]\nAddress = 10.0.0.1\n[Peer]\nEndpoint = a:1\n",
                   ":1: [Interface] has no PrivateKey: add the line \"PrivateKey = ...\""},
        BadProfile{
            "AddressInAConf",
            "[Interface]\nPrivateKey = iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=\n"
            "Address = 10.0.0.1/33\n[Peer]\nEndpoint = a:1\n",
            ":3: Address contains \"10.0.0.1/33\", which is not an address such as 10.66.66.7/32"},
        BadProfile{
            "NoAllowedIpsInAConf",
            "[Interface]\nPrivateKey = iBnhCLo9Ui/z1eOdrXifD/phj28t9tEs+vG22i9gAHY=\n"
            "Address = 10.0.0.1/32\n[Peer]\nEndpoint = a:1\n"
            "PublicKey = XMRuUJayp638fyAx0EkOl68F51NYDKvvv48nFPiYc0Q=\n",
            ": AllowedIPs is missing: add the networks behind the tunnel, such as 10.66.66.0/24"},
        BadProfile{"NoNodeIdInJson", "{}", ": node_id is missing: add it, or use --node-id"},
        BadProfile{"NumberInJson", "{\n  \"endpoint_port\": 51820\n}\n",
                   ":2: \"endpoint_port\" is not a string: put its value in quotes, because the "
                   "service reads only strings"},
        BadProfile{"WordThatIsRefused", JsonProfileText("conf_path", "10.0.0.0/8"),
                   ": a value contains \"conf_path\", which the service refuses anywhere in a "
                   "request: rename it"}),
    [](const auto& bad) { return bad.param.name; });

using ProfileFiles = OnClientMachine;

TEST_F(ProfileFiles, AByteOrderMarkIsSkipped) {
  machine.files.AddFile(L"C:\\profiles\\bom.conf", "\xEF\xBB\xBF" + kConfText);
  StartService();
  EXPECT_EQ(Run({"connect", "C:\\profiles\\bom.conf"}), 0);
}

TEST_F(ProfileFiles, AMissingFileIsNamed) {
  EXPECT_EQ(Run({"connect", "C:\\profiles\\none.conf"}), 3);
  EXPECT_EQ(side.Error(), "veltranectl: C:\\profiles\\none.conf: no such file: check the path\n");
}

TEST_F(ProfileFiles, AFolderIsNotAProfile) {
  EXPECT_EQ(Run({"connect", "C:\\profiles"}), 3);
  EXPECT_EQ(
      side.Error(),
      "veltranectl: C:\\profiles: access denied: check that it is a file that you may read\n");
}

TEST_F(ProfileFiles, APipeIsNotAProfile) {
  side.file_input_error = 222;
  EXPECT_EQ(Run({"connect", "\\\\.\\pipe\\x"}), 3);
  EXPECT_EQ(side.Error(),
            "veltranectl: \\\\.\\pipe\\x: not a file on a disk: copy it to one, or use - for "
            "standard input\n");
}

TEST_F(ProfileFiles, AKeyInPlaceOfThePathIsNotPrinted) {
  EXPECT_EQ(Run({"connect", kPrivateKey}), 3);
  EXPECT_EQ(side.Error(), "veltranectl: (hidden, 44 characters): no such file: check the path\n");
}

TEST_F(ProfileFiles, AnUnreadableFileIsNamedWithItsError) {
  side.file_input_error = 32;
  EXPECT_EQ(Run({"connect", kConfPath}), 3);
  EXPECT_EQ(side.Error(),
            "veltranectl: C:\\profiles\\office.conf: cannot be read (Windows error 32): check the "
            "path\n");
}

TEST_F(ProfileFiles, StandardInputNeedsANodeId) {
  side.input = kConfText;
  EXPECT_EQ(Run({"connect", "-"}), 3);
  EXPECT_EQ(side.Error(),
            "veltranectl: standard input: node_id is missing: add it, or use --node-id\n");
}

}  // namespace
}  // namespace veltrane
