// platform/sessions.h, and the user of a session of platform/security.h

#include "platform/sessions.h"

#include <algorithm>

#include "platform/ipv4.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using Sessions = Contract;

constexpr char kNoSessions[] = "WTSEnumerateSessionsW lists no session";

TEST_F(Sessions, OfRemoteDesktopAreToldFromTheOthers) {
  const bool remote = stage.InRemoteSession();
  EXPECT_EQ(IsRemoteSession(), remote);
}

TEST_F(Sessions, IncludeTheOneThatIsAttachedToTheConsole) {
  const std::optional<std::uint32_t> console = stage.ConsoleSession();
  if (!console) GTEST_SKIP() << "not here: this process is not in the console session";
  EXPECT_EQ(ActiveConsoleSession(), *console);
}

TEST_F(Sessions, AreListedWithTheirState) {
  NOT_ON_WINE(kNoSessions);
  const std::optional<std::uint32_t> console = stage.ConsoleSession();
  if (!console) GTEST_SKIP() << "not here: this process is not in the console session";
  const std::vector<Session> sessions = ReadSessions().value();
  const auto session = std::find_if(sessions.begin(), sessions.end(),
                                    [&](const Session& other) { return other.id == *console; });
  ASSERT_NE(session, sessions.end());
  EXPECT_EQ(session->state, kSessionActive);
}

TEST_F(Sessions, HaveTheirClientsAddressInBytesTwoToFive) {
  const auto remote = stage.RemoteSession(ParseIpv4("203.0.113.5").value());
  if (!remote) GTEST_SKIP() << "not here: nobody can be made to connect by Remote Desktop";
  const ClientAddress client = ReadClientAddress(*remote).value();
  EXPECT_EQ(client.family, kFamilyIpv4);
  EXPECT_EQ(std::vector<int>(client.bytes.begin() + 2, client.bytes.begin() + 6),
            (std::vector<int>{203, 0, 113, 5}));
}

TEST_F(Sessions, ThatAreNotThereHaveNoClientAddress) {
  EXPECT_EQ(ReadClientAddress(0x00FFFFFF).has_value(), false);
}

TEST_F(Sessions, HaveTheUserWhoIsLoggedOn) {
  const std::optional<SessionUser> user = stage.UserToLookUp();
  if (!user) GTEST_SKIP() << "not here: only a LocalSystem service may look up a user";
  EXPECT_EQ(ReadSessionUserSid(user->session), user->sid);
}

TEST_F(Sessions, ThatAreNotThereHaveNoUser) {
  NOT_ON_WINE("WTSQueryUserToken gives this process's own token for every session");
  EXPECT_EQ(ReadSessionUserSid(0x00FFFFFF), std::nullopt);
}

}  // namespace
}  // namespace veltrane::contract
