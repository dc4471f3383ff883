#include "client/survey/subjects.h"

#include <gtest/gtest.h>

#include "tests/simulated/text.h"

namespace veltrane {
namespace {

using simulated::Address;
using Subjects = std::vector<Subject>;

IpConnection Connection(const std::string& remote, const std::string& local,
                        std::uint32_t scope_id = 0) {
  return {
      .local = Address(local), .local_port = 3389, .remote = Address(remote), .scope_id = scope_id};
}

Subject Connected(const std::string& remote, const std::string& local, std::uint32_t scope_id = 0) {
  return {.address = Address(remote),
          .reason = SubjectReason::kRdpConnection,
          .local = Address(local),
          .scope_id = scope_id};
}

Subject Named(const std::string& address, SubjectReason reason) {
  return {.address = Address(address), .reason = reason, .local = std::nullopt, .scope_id = 0};
}

TEST(SubjectList, IsInTheOrderOfItsSources) {
  EXPECT_EQ(ListSubjects({.connections = {Connection("203.0.113.9", "192.168.1.10")},
                          .setting_values = {"203.0.113.8"},
                          .asked = {Address("203.0.113.7")},
                          .session_clients = {Address("203.0.113.6")}}),
            (Subjects{Connected("203.0.113.9", "192.168.1.10"),
                      Named("203.0.113.8", SubjectReason::kSetting),
                      Named("203.0.113.7", SubjectReason::kAsked),
                      Named("203.0.113.6", SubjectReason::kRdpSession)}));
}

TEST(SubjectList, HasEachPairOfAddressesOfConnectionsOnce) {
  EXPECT_EQ(ListSubjects({.connections = {Connection("203.0.113.9", "192.168.1.10"),
                                          Connection("203.0.113.9", "192.168.7.10"),
                                          Connection("203.0.113.9", "192.168.1.10")},
                          .setting_values = {},
                          .asked = {},
                          .session_clients = {}}),
            (Subjects{Connected("203.0.113.9", "192.168.1.10"),
                      Connected("203.0.113.9", "192.168.7.10")}));
}

TEST(SubjectList, HasALinkLocalAddressOnceForEachInterface) {
  EXPECT_EQ(ListSubjects({.connections = {Connection("fe80::5", "fe80::10", 12),
                                          Connection("fe80::5", "fe80::10", 7)},
                          .setting_values = {},
                          .asked = {},
                          .session_clients = {}}),
            (Subjects{Connected("fe80::5", "fe80::10", 12), Connected("fe80::5", "fe80::10", 7)}));
}

TEST(SubjectList, DoesNotRepeatTheAddressOfAConnection) {
  EXPECT_EQ(ListSubjects({.connections = {Connection("203.0.113.9", "192.168.1.10")},
                          .setting_values = {"203.0.113.9"},
                          .asked = {Address("203.0.113.9")},
                          .session_clients = {Address("203.0.113.9")}}),
            Subjects{Connected("203.0.113.9", "192.168.1.10")});
}

TEST(SubjectList, HasTheConnectionsOfThePromptAfterThoseOfRemoteDesktop) {
  const Subject ssh{.address = Address("203.0.113.9"),
                    .reason = SubjectReason::kSshConnection,
                    .local = Address("192.168.1.10")};
  EXPECT_EQ(ListSubjects({.connections = {Connection("203.0.113.9", "192.168.1.10")},
                          .setting_values = {"203.0.113.9"},
                          .asked = {},
                          .session_clients = {},
                          .prompt = {ssh, ssh}}),
            (Subjects{Connected("203.0.113.9", "192.168.1.10"), ssh}));
}

TEST(SubjectList, DoesNotRepeatAnAddressOfTheSettings) {
  EXPECT_EQ(ListSubjects({.connections = {},
                          .setting_values = {"203.0.113.9", "203.0.113.9"},
                          .asked = {Address("203.0.113.9")},
                          .session_clients = {Address("203.0.113.9")}}),
            Subjects{Named("203.0.113.9", SubjectReason::kSetting)});
}

TEST(SubjectList, DoesNotRepeatAnAddressThatIsAskedAbout) {
  EXPECT_EQ(ListSubjects({.connections = {},
                          .setting_values = {},
                          .asked = {Address("2001:db8::5"), Address("2001:db8::5")},
                          .session_clients = {}}),
            Subjects{Named("2001:db8::5", SubjectReason::kAsked)});
}

TEST(SubjectList, HasTheTokensOfSettingsThatAreAddresses) {
  EXPECT_EQ(ListSubjects({.connections = {},
                          .setting_values = {"", "203.0.113.5 office;10.0.0.7", "2001:DB8::5",
                                             "203.0.113.0/24, ::ffff:203.0.113.6"},
                          .asked = {},
                          .session_clients = {}}),
            (Subjects{Named("203.0.113.5", SubjectReason::kSetting),
                      Named("10.0.0.7", SubjectReason::kSetting),
                      Named("2001:db8::5", SubjectReason::kSetting),
                      Named("203.0.113.6", SubjectReason::kSetting)}));
}

}  // namespace
}  // namespace veltrane
