#include "client/survey/service_settings.h"
#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

using Strings = std::vector<std::string>;

TEST(ServiceEnvironment, NamesAVariableInAnyCase) {
  const ServiceEnvironment own{.error = 0, .entries = {"Path=C:\\x", "admin_bypass_ip=1.2.3.4"}};
  EXPECT_EQ(own.ValueOf("ADMIN_BYPASS_IP"), "1.2.3.4");
}

TEST(ServiceEnvironment, NamesAVariableToWhichItGivesNoValue) {
  const ServiceEnvironment own{.error = 0, .entries = {"ADMIN_BYPASS_IP="}};
  EXPECT_EQ(own.ValuesOf("ADMIN_BYPASS_IP"), Strings{""});
}

TEST(ServiceEnvironment, DoesNotNameAVariableWhoseNameOnlyBeginsAlike) {
  const ServiceEnvironment own{.error = 0, .entries = {"ADMIN_BYPASS_IPS=1.2.3.4"}};
  EXPECT_EQ(own.ValueOf("ADMIN_BYPASS_IP"), "");
}

TEST(ServiceEnvironment, DoesNotNameAVariableByAnEntryThatIsNotAnAssignment) {
  const ServiceEnvironment own{.error = 0, .entries = {"ADMIN_BYPASS_IP", "=ADMIN_BYPASS_IP"}};
  EXPECT_EQ(own.ValuesOf("ADMIN_BYPASS_IP"), Strings());
}

TEST(ServiceEnvironment, GivesTheValueOfTheLastOfSeveralEntries) {
  const ServiceEnvironment own{.error = 0, .entries = {"A=1", "a=2"}};
  EXPECT_EQ(own.ValueOf("A"), "2");
  EXPECT_EQ(own.ValuesOf("A"), (Strings{"1", "2"}));
}

class ReadingTheServiceEnvironment : public OnClientMachine {};

TEST_F(ReadingTheServiceEnvironment, ReadsTheEntriesOfTheServicesKey) {
  machine.registry.SetTexts(L"SYSTEM\\CurrentControlSet\\Services\\VeltraneVpnTunnel",
                            L"Environment", {L"A=1", L"B="});
  const ServiceEnvironment own = ReadServiceEnvironment();
  EXPECT_TRUE(own.IsKnown());
  EXPECT_EQ(own.entries, (Strings{"A=1", "B="}));
}

TEST_F(ReadingTheServiceEnvironment, KnowsThatThereIsNone) {
  const ServiceEnvironment own = ReadServiceEnvironment();
  EXPECT_EQ(own.error, 2u);
  EXPECT_TRUE(own.IsKnown());
  EXPECT_EQ(own.entries, Strings());
}

TEST_F(ReadingTheServiceEnvironment, DoesNotKnowOneThatMayNotBeRead) {
  machine.FailAlways("ReadRegistryTexts", 5);
  EXPECT_FALSE(ReadServiceEnvironment().IsKnown());
}

}  // namespace
}  // namespace veltrane
