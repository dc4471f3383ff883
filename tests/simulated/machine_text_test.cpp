// Texts, console and libraries of the simulated machine.

#include <atomic>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/ipv4.h"
#include "platform/text.h"
#include "tests/simulated/machine.h"

namespace veltrane::simulated {
namespace {

using testing::ElementsAre;

TEST(SimulatedText, ConvertsEveryLengthOfUtf8) {
  const Machine machine;
  EXPECT_EQ(WideToUtf8(Units(u"a\u00E9\u20AC\U0001F600")), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(WideToUtf8(L""), "");
}

TEST(SimulatedText, UnpairedSurrogatesBecomeTheReplacementCharacter) {
  const Machine machine;
  EXPECT_EQ(WideToUtf8({wchar_t{0xD83D}}), "\xEF\xBF\xBD");
  EXPECT_EQ(WideToUtf8({wchar_t{0xD83D}, L'x'}), "\xEF\xBF\xBDx");
  EXPECT_EQ(WideToUtf8({wchar_t{0xDE00}, wchar_t{0xD83D}}), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(SimulatedText, FailedConversionIsEmpty) {
  Machine machine;
  machine.Fail("WideToUtf8", 1, 1113);
  EXPECT_EQ(WideToUtf8(L"text"), "");
  EXPECT_EQ(WideToUtf8(L"text"), "text");
}

TEST(SimulatedTextDeathTest, CharacterThatIsNoUnitEndsTheProcess) {
  const Machine machine;
  EXPECT_DEATH(WideToUtf8({wchar_t{0x1F600}}), "no UTF-16 unit");
}

TEST(SimulatedIpv4, ReadsDottedQuadsOnly) {
  const Machine machine;
  EXPECT_EQ(ParseIpv4("203.0.113.5"), 0x057100CBU);
  EXPECT_EQ(ParseIpv4("203.0.113.5/32"), std::nullopt);
  EXPECT_EQ(ParseIpv4(" 203.0.113.5"), std::nullopt);
  EXPECT_EQ(ParseIpv4("::1"), std::nullopt);
  EXPECT_EQ(FormatIpv4(0x057100CB), "203.0.113.5");
}

TEST(SimulatedConsole, KeepsOutletsApartAndInOrder) {
  Machine machine;
  PrintOutput(L"one\n");
  PrintError(L"two\n");
  PrintDebugger(L"three");
  PrintOutput(L"four\n");
  EXPECT_EQ(machine.console.Output(), L"one\nfour\n");
  EXPECT_EQ(machine.console.Error(), L"two\n");
  EXPECT_EQ(machine.console.Debugger(), L"three");
  EXPECT_THAT(
      machine.console.Log(),
      ElementsAre(Printed{Outlet::kOutput, L"one\n"}, Printed{Outlet::kError, L"two\n"},
                  Printed{Outlet::kDebugger, L"three"}, Printed{Outlet::kOutput, L"four\n"}));
}

TEST(SimulatedConsole, NarrowBytesAreZeroExtendedUpToTheFirstZero) {
  Machine machine;
  PrintErrorLine(L"label: ", std::string("\xC3\xA9\0rest", 7));
  EXPECT_EQ(machine.console.Error(), L"label: \u00C3\u00A9\n");
}

TEST(SimulatedConsole, LoggedTextLeavesTheLineFeedOut) {
  Machine machine;
  PrintOutput(L"service installed\n");
  PrintErrorLine(L"report: ", "{}");
  EXPECT_THAT(machine.calls.All(),
              ElementsAre("PrintOutput service installed", "PrintErrorLine report: {}"));
}

TEST(SimulatedConsoleDeathTest, EchoedErrorsReachTheRealStandardError) {
  Machine machine;
  EXPECT_DEATH(
      {
        machine.console.EchoErrors();
        PrintErrorLine(L"[Veltrane] ", "last words");
        std::abort();
      },
      "\\[Veltrane\\] last words");
}

TEST(SimulatedConsole, EventReachesTheHandlerAndItsAnswerComesBack) {
  Machine machine;
  EXPECT_FALSE(machine.console.SendEvent(0));
  InstallConsoleHandler([](std::uint32_t type) { return type == 1; });
  EXPECT_TRUE(machine.console.HasHandler());
  EXPECT_TRUE(machine.console.SendEvent(1));
  EXPECT_FALSE(machine.console.SendEvent(5));
}

std::atomic<int> answers{0};
void Answer() { ++answers; }

TEST(SimulatedLibraries, ExportCanBeCalledWhileTheLibraryIsLoaded) {
  Machine machine;
  machine.libraries.AddExport(L"tunnel.dll", "Answer", &Answer);
  {
    const std::optional<Library> library = Library::Load(L"TUNNEL.DLL");
    ASSERT_TRUE(library);
    ASSERT_NE(library->Find("Answer"), nullptr);
    library->Find("Answer")();
    EXPECT_EQ(library->Find("answer"), nullptr);
    EXPECT_EQ(machine.libraries.Loads(L"tunnel.dll"), 1U);
    EXPECT_EQ(machine.libraries.Frees(L"tunnel.dll"), 0U);
  }
  EXPECT_EQ(answers, 1);
  EXPECT_EQ(machine.libraries.Frees(L"tunnel.dll"), 1U);
}

TEST(SimulatedLibraries, UnknownLibraryCannotBeLoaded) {
  Machine machine;
  EXPECT_FALSE(Library::Load(L"tunnel.dll"));
  EXPECT_EQ(machine.libraries.Loads(L"tunnel.dll"), 0U);
}

TEST(SimulatedLibraries, ExecutablePathIsCutTo259Characters) {
  Machine machine;
  EXPECT_EQ(ExecutablePath(), L"C:\\Program Files\\Veltrane\\VeltraneVpnService.exe");
  machine.libraries.SetExecutablePath(std::wstring(300, L'x'));
  EXPECT_EQ(ExecutablePath(), std::wstring(259, L'x'));
}

}  // namespace
}  // namespace veltrane::simulated
