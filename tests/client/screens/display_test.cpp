#include "client/screens/display.h"

#include "tests/client/on_client_machine.h"

namespace veltrane {
namespace {

using Displays = OnClientMachine;

TEST_F(Displays, ATerminalShowsHowLongTheWaitHasLasted) {
  StartService();
  side.SetTerminal(Stream::kError, 80);
  side.DelayReply(3);
  EXPECT_EQ(Run({"connect", kConfPath}), 0);
  EXPECT_EQ(side.Error(),
            "\r\x1b[Kwaiting for the service's reply (connecting can take 20 s), 1 "
            "s\r\x1b[Kwaiting for the service's reply (connecting can take 20 s), 2 "
            "s\r\x1b[Kwaiting for the service's reply (connecting can take 20 s), 3 s\r\x1b[K");
}

TEST_F(Displays, ANarrowTerminalGetsNoMoreThanItsWidth) {
  StartService();
  side.SetTerminal(Stream::kError, 20);
  side.DelayReply(1);
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Error(), "\r\x1b[Kwaiting for the ser\r\x1b[K");
}

TEST_F(Displays, ATerminalGetsColours) {
  StartService();
  side.SetTerminal(Stream::kOutput, 80);
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Output(),
            "\x1b[1mdisconnected\x1b[0m\n"
            "  tunnel service  not running\n"
            "\n"
            "\x1b[1mAdministrator bypass\x1b[0m: nothing reported yet\n"
            "\n"
            "\x1b[1mDefault-route guard\x1b[0m: not part of this reply; see the reply to connect, "
            "or veltranectl doctor\n");
}

TEST_F(Displays, TerminalsAreLeftAsTheyWere) {
  StartService();
  side.SetTerminal(Stream::kOutput, 80);
  side.SetTerminal(Stream::kError, 80);
  {
    const Display display;
    EXPECT_TRUE(side.TerminalIsChanged());
  }
  EXPECT_FALSE(side.TerminalIsChanged());
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_FALSE(side.TerminalIsChanged());
}

TEST_F(Displays, NoColorIsHonoured) {
  machine.environment.SetProcess(L"NO_COLOR", L"1");
  side.SetTerminal(Stream::kOutput, 80);
  side.SetTerminal(Stream::kError, 80);
  EXPECT_EQ(Run({"status"}), 4);
  EXPECT_EQ(side.Error(),
            "veltranectl: the service is not installed: .\\VeltraneVpnService.exe --install\n");
}

TEST_F(Displays, NoColorIsHonouredByScreensToo) {
  machine.environment.SetProcess(L"NO_COLOR", L"1");
  side.SetTerminal(Stream::kOutput, 80);
  StartService();
  EXPECT_EQ(Run({"status"}), 0);
  EXPECT_EQ(side.Output().substr(0, 43), "disconnected\n  tunnel service  not running\n");
}

TEST_F(Displays, AComplaintOnATerminalIsRed) {
  side.SetTerminal(Stream::kError, 80);
  EXPECT_EQ(Run({"status"}), 4);
  EXPECT_EQ(side.Error(),
            "\x1b[31mveltranectl:\x1b[0m the service is not installed: .\\VeltraneVpnService.exe "
            "--install\n");
}

}  // namespace
}  // namespace veltrane
