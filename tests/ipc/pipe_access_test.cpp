#include "ipc/pipe_access.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using simulated::AccessTexts;
using simulated::NtSid;
using Texts = std::vector<std::string>;

class PipeAccess : public OnMachine {
 protected:
  // Somebody is logged on at the console, and this process may read the session's token.
  void LogOnAtConsole() {
    machine.sessions.SetConsoleSession(1);
    machine.sessions.SetUser(1, NtSid({21, 1, 2, 3, 1001}));
  }

  Texts BuiltEntries() {
    const PipeSecurity security = BuildPipeSecurity();
    return security ? AccessTexts(security->entries) : Texts{"no security"};
  }
};

TEST_F(PipeAccess, AdmitsSystemAdministratorsAndTheConsoleUserInThisOrder) {
  LogOnAtConsole();
  EXPECT_EQ(BuiltEntries(),
            (Texts{"user S-1-5-18 0x10000000 inherit 0", "user S-1-5-32-544 0x10000000 inherit 0",
                   "user S-1-5-21-1-2-3-1001 0xc0100000 inherit 0"}));
}

TEST_F(PipeAccess, ConsoleUserIsLookedUpBeforeTheOthersAndTheListIsBuiltOnce) {
  LogOnAtConsole();
  BuiltEntries();
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ActiveConsoleSession", "ReadSessionUserSid 1", "MakeNtSid S-1-5-18",
                   "MakeNtSid S-1-5-32-544", "MakeSecurityAttributes 3 entries",
                   "FreeSecurityAttributes"}));
}

TEST_F(PipeAccess, WithoutAConsoleSessionTheThirdEntryIsLeftOut) {
  EXPECT_EQ(BuiltEntries(), (Texts{"user S-1-5-18 0x10000000 inherit 0",
                                   "user S-1-5-32-544 0x10000000 inherit 0"}));
}

TEST_F(PipeAccess, WithoutTheTokenOfTheConsoleSessionTheThirdEntryIsLeftOut) {
  LogOnAtConsole();
  machine.Fail("ReadSessionUserSid", 1, 1314);
  EXPECT_EQ(BuiltEntries(), (Texts{"user S-1-5-18 0x10000000 inherit 0",
                                   "user S-1-5-32-544 0x10000000 inherit 0"}));
}

TEST_F(PipeAccess, WithoutTheSidOfSystemItsEntryIsLeftOut) {
  LogOnAtConsole();
  machine.FailWhere("MakeNtSid", "S-1-5-18", 8);
  EXPECT_EQ(BuiltEntries(), (Texts{"user S-1-5-32-544 0x10000000 inherit 0",
                                   "user S-1-5-21-1-2-3-1001 0xc0100000 inherit 0"}));
}

TEST_F(PipeAccess, WithoutTheSidOfAdministratorsTheirEntryIsLeftOut) {
  LogOnAtConsole();
  machine.FailWhere("MakeNtSid", "S-1-5-32-544", 8);
  EXPECT_EQ(BuiltEntries(), (Texts{"user S-1-5-18 0x10000000 inherit 0",
                                   "user S-1-5-21-1-2-3-1001 0xc0100000 inherit 0"}));
}

TEST_F(PipeAccess, WithoutAnySidThereIsNoListAndSoNoSecurity) {
  machine.FailAlways("MakeNtSid", 8);
  EXPECT_EQ(BuiltEntries(), Texts{"no security"});
  EXPECT_EQ(machine.calls.Of("MakeSecurityAttributes"), Texts{"MakeSecurityAttributes 0 entries"});
}

TEST_F(PipeAccess, FailureToBuildTheListYieldsNull) {
  LogOnAtConsole();
  machine.Fail("MakeSecurityAttributes", 1, 1336);
  EXPECT_EQ(BuildPipeSecurity(), nullptr);
  EXPECT_EQ(machine.security.LiveRecords(), 0u);
  EXPECT_EQ(machine.console.Log().size(), 0u);
}

TEST_F(PipeAccess, RecordLivesUntilItsOwnerLetsGo) {
  {
    const PipeSecurity security = BuildPipeSecurity();
    EXPECT_EQ(machine.security.LiveRecords(), 1u);
  }
  EXPECT_EQ(machine.security.LiveRecords(), 0u);
}

TEST_F(PipeAccess, RecordCanBeFreedAtOnce) {
  PipeSecurity security = BuildPipeSecurity();
  FreePipeSecurity(security);
  EXPECT_EQ(machine.security.LiveRecords(), 0u);
  FreePipeSecurity(security);
  EXPECT_EQ(machine.security.LiveRecords(), 0u);
}

TEST_F(PipeAccess, ConsoleUserIsTheUserOfTheActiveConsoleSession) {
  LogOnAtConsole();
  machine.sessions.SetUser(2, NtSid({21, 1, 2, 3, 1002}));
  EXPECT_EQ(ConsoleUserSid(), NtSid({21, 1, 2, 3, 1001}));
  machine.sessions.SetConsoleSession(2);
  EXPECT_EQ(ConsoleUserSid(), NtSid({21, 1, 2, 3, 1002}));
}

TEST_F(PipeAccess, SessionZeroIsASession) {
  machine.sessions.SetConsoleSession(0);
  machine.sessions.SetUser(0, NtSid({18}));
  EXPECT_EQ(ConsoleUserSid(), NtSid({18}));
}

TEST_F(PipeAccess, NoTokenIsAskedForWhenNoSessionIsAttached) {
  machine.sessions.SetConsoleSession(0xFFFFFFFF);
  machine.sessions.SetUser(0xFFFFFFFF, NtSid({21, 1, 2, 3, 1001}));
  EXPECT_EQ(ConsoleUserSid(), std::nullopt);
  EXPECT_EQ(machine.calls.All(), Texts{"ActiveConsoleSession"});
}

TEST_F(PipeAccess, SessionWithoutAReadableUserHasNoConsoleUser) {
  machine.sessions.SetConsoleSession(1);
  EXPECT_EQ(ConsoleUserSid(), std::nullopt);
}

}  // namespace
}  // namespace veltrane
