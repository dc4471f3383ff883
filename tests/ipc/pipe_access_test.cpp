#include "ipc/pipe_access.h"

#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/arrange.h"
#include "tests/support/name_of.h"
#include "tests/support/on_machine.h"
#include "tests/support/steps.h"

namespace veltrane {
namespace {

using simulated::AccessTexts;
using simulated::NtSid;

class PipeAccess : public OnMachine {
 protected:
  // Somebody is logged on at the console, and this process may read the session's token.
  PipeAccess() {
    machine.sessions.SetConsoleSession(1);
    machine.sessions.SetUser(1, NtSid({21, 1, 2, 3, 1001}));
  }
};

// ---- the entries

const std::string kSystem = "user S-1-5-18 0x10000000 inherit 0";
const std::string kAdministrators = "user S-1-5-32-544 0x10000000 inherit 0";
const std::string kConsoleUser = "user S-1-5-21-1-2-3-1001 0xc0100000 inherit 0";

struct Admission {
  const char* name;
  Arrange arrange;
  Texts entries;
};

class Entries : public PipeAccess, public testing::WithParamInterface<Admission> {};

TEST_P(Entries, AreThoseWhoseSidCanBeObtained) {
  GetParam().arrange(machine);
  const PipeSecurity security = BuildPipeSecurity();
  ASSERT_TRUE(security);
  EXPECT_EQ(AccessTexts(security->entries), GetParam().entries);
}

void LogOff(simulated::Machine& machine) { machine.sessions.SetConsoleSession(0xFFFFFFFF); }

const Admission kAdmissions[] = {
    {"All", Nothing(), {kSystem, kAdministrators, kConsoleUser}},
    {"WithoutAConsoleSession", LogOff, {kSystem, kAdministrators}},
    {"WithoutTheTokenOfTheConsoleSession",
     Failing("ReadSessionUserSid"),
     {kSystem, kAdministrators}},
    {"WithoutTheSidOfSystem", Failing("MakeNtSid", "S-1-5-18"), {kAdministrators, kConsoleUser}},
    {"WithoutTheSidOfAdministrators",
     Failing("MakeNtSid", "S-1-5-32-544"),
     {kSystem, kConsoleUser}}};

INSTANTIATE_TEST_SUITE_P(PipeAccess, Entries, testing::ValuesIn(kAdmissions), NameOf<Admission>);

// ---- the record

TEST_F(PipeAccess, ConsoleUserIsLookedUpBeforeTheOthersAndTheListIsBuiltOnce) {
  BuildPipeSecurity();
  EXPECT_EQ(machine.calls.All(),
            (Texts{"ActiveConsoleSession", "ReadSessionUserSid 1", "MakeNtSid S-1-5-18",
                   "MakeNtSid S-1-5-32-544", "MakeSecurityAttributes 3 entries",
                   "FreeSecurityAttributes"}));
}

TEST_F(PipeAccess, WithoutAnySidThereIsNoListAndSoNoSecurity) {
  All({LogOff, Failing("MakeNtSid")})(machine);
  EXPECT_EQ(BuildPipeSecurity(), nullptr);
  EXPECT_EQ(machine.calls.Of("MakeSecurityAttributes"), Texts{"MakeSecurityAttributes 0 entries"});
}

TEST_F(PipeAccess, FailureToBuildTheListYieldsNull) {
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

// ---- the console user

TEST_F(PipeAccess, ConsoleUserIsTheUserOfTheActiveConsoleSession) {
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
  machine.sessions.SetConsoleSession(2);
  EXPECT_EQ(ConsoleUserSid(), std::nullopt);
}

}  // namespace
}  // namespace veltrane
