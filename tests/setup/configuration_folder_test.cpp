// The folder above that of the configuration file, which an installation makes and closes.

#include "tests/setup/on_installing_machine.h"
#include "tests/simulated/security.h"

namespace veltrane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kFolderAbove[] = L"C:\\ProgramData\\Veltrane";

class FolderOfTheConfiguration : public OnInstallingMachine {
 protected:
  static AccessList SomebodyElses() {
    AccessList list;
    list.owner = "S-1-5-21-1-2-3-1002";
    list.has_list = true;
    return list;
  }
  std::vector<std::string> Access() const {
    return simulated::AccessTexts(
        machine.files.Access(kFolderAbove).value_or(std::vector<AccessEntry>()));
  }
};

TEST_F(FolderOfTheConfiguration, IsMadeClosedBeforeTheServiceIsRegistered) {
  ASSERT_TRUE(Install());
  EXPECT_THAT(Access(), ElementsAre("user S-1-5-18 0x001f01ff inherit 3",
                                    "user S-1-5-32-544 0x001f01ff inherit 3"));
  EXPECT_THAT(machine.Changes().front(), "CreateClosedFolder C:\\ProgramData\\Veltrane");
  EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(FolderOfTheConfiguration, OfSomebodyElseIsNamedAndLeftAsItIs) {
  machine.files.AddFolder(kFolderAbove);
  side.SetAccessList(kFolderAbove, SomebodyElses());
  ASSERT_TRUE(Install());
  EXPECT_THAT(Access(), IsEmpty());
  EXPECT_THAT(
      Log(), ElementsAre("Veltrane VPN: Private keys are to be kept here: "
                         "C:\\ProgramData\\Veltrane belongs to S-1-5-21-1-2-3-1002, who may give "
                         "anyone access; to fix it: icacls \"C:\\ProgramData\\Veltrane\" /setowner "
                         "\"*S-1-5-32-544\""));
}

TEST_F(FolderOfTheConfiguration, InAClosedOneMayStillBeSomebodyElses) {
  machine.files.AddFolder(L"C:\\ProgramData\\Veltrane\\tunnels");
  side.SetAccessList(L"C:\\ProgramData\\Veltrane\\tunnels", SomebodyElses());
  ASSERT_TRUE(Install());
  EXPECT_THAT(Log(),
              ElementsAre("Veltrane VPN: Private keys are to be kept here: "
                          "C:\\ProgramData\\Veltrane\\tunnels belongs to S-1-5-21-1-2-3-1002, who "
                          "may give anyone access; to fix it: icacls "
                          "\"C:\\ProgramData\\Veltrane\\tunnels\" /setowner \"*S-1-5-32-544\""));
}

TEST_F(FolderOfTheConfiguration, ThatCannotBeMadeStopsNoInstallation) {
  machine.Fail("CreateClosedFolder", 1, 5);
  EXPECT_TRUE(Install());
  EXPECT_THAT(Log(), ElementsAre("Veltrane VPN: C:\\ProgramData\\Veltrane cannot be made (Windows "
                                 "error 5)."));
}

TEST_F(FolderOfTheConfiguration, GoesWithAnInstallationThatFails) {
  FailAtTheEnd();
  EXPECT_FALSE(Install());
  EXPECT_FALSE(machine.files.Exists(kFolderAbove));
}

TEST_F(FolderOfTheConfiguration, OfBeforeOutlivesAnInstallationThatFails) {
  machine.files.AddFolder(kFolderAbove);
  FailAtTheEnd();
  EXPECT_FALSE(Install());
  EXPECT_TRUE(machine.files.Exists(kFolderAbove));
}

TEST_F(FolderOfTheConfiguration, GoesWithTheProduct) {
  ASSERT_TRUE(Install());
  EXPECT_TRUE(Uninstall());
  EXPECT_FALSE(machine.files.Exists(kFolderAbove));
}

TEST_F(FolderOfTheConfiguration, OfAUserWhoLeadsElsewhereIsNamed) {
  machine.files.AddFolder(kFolderAbove);
  side.MakeReparsePoint(kFolderAbove);
  ASSERT_TRUE(Install());
  EXPECT_THAT(Log(), ElementsAre("Veltrane VPN: Private keys are to be kept here: "
                                 "C:\\ProgramData\\Veltrane is a reparse point, which may lead "
                                 "elsewhere; to fix it: fsutil reparsepoint query "
                                 "\"C:\\ProgramData\\Veltrane\""));
}

}  // namespace
}  // namespace veltrane
