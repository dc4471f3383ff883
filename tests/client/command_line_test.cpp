#include "client/command_line.h"

#include "tests/client/on_client_machine.h"
#include "tests/client/scripted_server.h"

namespace veltrane {
namespace {

struct HelpScreen {
  const char* name;
  std::vector<std::string> arguments;
  const char* screen;
};

class Help : public OnClientMachine, public testing::WithParamInterface<HelpScreen> {};

TEST_P(Help, ListsWhatThereIs) {
  EXPECT_EQ(Run(GetParam().arguments), 0);
  EXPECT_EQ(side.Output(), GetParam().screen);
}

INSTANTIATE_TEST_SUITE_P(
    Screens, Help,
    testing::Values(
        HelpScreen{"Program",
                   {"--help"},
                   "Controls the Veltrane VPN service on this machine.\n"
                   "Usage: veltranectl [OPTIONS] SUBCOMMAND\n"
                   "\n"
                   "Options:\n"
                   "  -h,--help                   Print this help message and exit\n"
                   "  --version                   Display program version information and exit\n"
                   "\n"
                   "Subcommands:\n"
                   "  status                      Show the connection and the bypass\n"
                   "  connect                     Bring the tunnel up\n"
                   "  disconnect                  Bring the tunnel down\n"
                   "  register                    Register the session nonce\n"
                   "  doctor                      Check whether connecting would work and whom it "
                   "would cut off; changes "
                   "nothing\n"
                   "  confirm                     Keep the connection that waits for its "
                   "confirmation\n"
                   "\n"
                   "Exit codes:\n"
                   "  0  done\n"
                   "  1  the service refused the request\n"
                   "  2  the command line is invalid\n"
                   "  3  the profile cannot be used; nothing was sent\n"
                   "  4  the service cannot be reached; nothing was sent\n"
                   "  5  another program serves the pipe; nothing was sent\n"
                   "  6  no readable reply came back\n"
                   "  7  somebody would be cut off, or packets would leak; nothing was sent\n"
                   "  8  the connection was not confirmed in time and has been undone\n"
                   "  9  it was not confirmed in time and could not be undone\n"
                   "  13 connected, but the tunnel did not come up in time\n"
                   "  doctor: 0 fine, 10 warnings, 11 connecting would fail, 12 connecting could "
                   "cut somebody off\n"
                   "\n"
                   "Examples:\n"
                   "  veltranectl doctor office.conf\n"
                   "  veltranectl connect office.conf\n"
                   "  veltranectl status --watch\n"
                   "  veltranectl help connect\n"
                   "\n"},
        HelpScreen{
            "Status",
            {"status", "--help"},
            "Show the connection and the bypass\n"
            "Usage: veltranectl status [OPTIONS]\n"
            "\n"
            "Options:\n"
            "  -h,--help                   Print this help message and exit\n"
            "  --watch                     Keep refreshing\n"
            "  --every SECONDS:INT from 1 to 3600 Needs: --watch\n"
            "                              Seconds between refreshes (default 2)\n"
            "  --times COUNT:INT from 1 to 1000000 Needs: --watch\n"
            "                              Stop after this many refreshes\n"
            "  --json                      Print the reply exactly as received, or why there is "
            "none\n"
            "  --any-server                Talk to any server on the pipe, such as a service in "
            "console mode\n"
            "\n"
            "Examples:\n"
            "  veltranectl status\n"
            "  veltranectl status --watch --every 5\n"
            "  veltranectl status --json\n"
            "\n"},
        HelpScreen{
            "Connect",
            {"connect", "--help"},
            "Bring the tunnel up\n"
            "Usage: veltranectl connect [OPTIONS] PROFILE\n"
            "\n"
            "Positionals:\n"
            "  PROFILE TEXT REQUIRED       A WireGuard .conf, a JSON profile, or - for standard "
            "input\n"
            "\n"
            "Options:\n"
            "  -h,--help                   Print this help message and exit\n"
            "  --node-id TEXT              Node name; for a .conf the default is its file name\n"
            "  --session TEXT              The registered session nonce\n"
            "  --from ADDRESS ...          Somebody at this address is connected too, such as over "
            "SSH, WinRM or VNC; may be repeated\n"
            "  --accept-risk RISK ...      Connect although somebody who is connected would be cut "
            "off (lose-remote-administration), or although packets would go past the tunnel "
            "(leaks)\n"
            "  --split-default             Send 0.0.0.0/1, 128.0.0.0/1 for 0.0.0.0/0, and ::/1, "
            "8000::/1 for ::/0\n"
            "  --confirm SECONDS:INT from 10 to 86400\n"
            "                              Disconnect again unless that is confirmed within so "
            "many "
            "seconds\n"
            "  --wait [SECONDS]:INT from 1 to 3600\n"
            "                              Wait until the tunnel runs, at most so many seconds "
            "(default 30)\n"
            "  --json                      Print the reply exactly as received, or why there is "
            "none\n"
            "  --any-server                Talk to any server on the pipe, such as a service in "
            "console "
            "mode\n"
            "\n"
            "Before anything is sent, it is forecast who would still reach this machine. Exit code "
            "7, "
            "and\n"
            "nothing sent, when somebody who is connected now would not stay, and when packets "
            "would leak\n"
            "past the halves of --split-default.\n"
            "\n"
            "With --confirm the connection is undone unless the word that is asked for is typed "
            "here, "
            "or\n"
            "\"veltranectl confirm\" is run, in time. When Windows restarts, the tunnel is down in "
            "any "
            "case,\n"
            "because its service is started by hand. When everything in this program's job is "
            "killed, "
            "nobody\n"
            "is left to undo it (docs/limits.md).\n"
            "\n"
            "Examples:\n"
            "  veltranectl connect office.conf\n"
            "  veltranectl connect profile.json --session 5c0e7a\n"
            "  veltranectl connect office.conf --from 203.0.113.5\n"
            "  veltranectl connect office.conf --split-default --wait\n"
            "  veltranectl connect office.conf --accept-risk lose-remote-administration --confirm "
            "120\n"
            "  type office.conf | veltranectl connect - --node-id office\n"
            "\n"},
        HelpScreen{
            "Disconnect",
            {"disconnect", "--help"},
            "Bring the tunnel down\n"
            "Usage: veltranectl disconnect [OPTIONS]\n"
            "\n"
            "Options:\n"
            "  -h,--help                   Print this help message and exit\n"
            "  --json                      Print the reply exactly as received, or why there is "
            "none\n"
            "  --any-server                Talk to any server on the pipe, such as a service in "
            "console mode\n"
            "\n"
            "Examples:\n"
            "  veltranectl disconnect\n"
            "\n"},
        HelpScreen{
            "Register",
            {"register", "--help"},
            "Register the session nonce\n"
            "Usage: veltranectl register [OPTIONS] NONCE\n"
            "\n"
            "Positionals:\n"
            "  NONCE TEXT REQUIRED         Nonce that every connect must carry from now on; \"\" "
            "turns the check off\n"
            "\n"
            "Options:\n"
            "  -h,--help                   Print this help message and exit\n"
            "  --json                      Print the reply exactly as received, or why there is "
            "none\n"
            "  --any-server                Talk to any server on the pipe, such as a service in "
            "console mode\n"
            "\n"
            "Examples:\n"
            "  veltranectl register 5c0e7a\n"
            "  veltranectl register \"\"\n"
            "\n"},
        HelpScreen{
            "Doctor",
            {"doctor", "--help"},
            "Check whether connecting would work and whom it would cut off; changes nothing\n"
            "Usage: veltranectl doctor [OPTIONS] [PROFILE]\n"
            "\n"
            "Positionals:\n"
            "  PROFILE TEXT                The profile to be asked about, as for connect; "
            "without one a catch-all\n"
            "\n"
            "Options:\n"
            "  -h,--help                   Print this help message and exit\n"
            "  --from ADDRESS ...          Also say what a connect does to somebody at this "
            "address; may be repeated\n"
            "  --json                      Print the findings as JSON\n"
            "  --any-server                Check a service in console mode\n"
            "\n"
            "Exit codes: 0 fine, 10 warnings, 11 connecting would fail, 12 connecting could "
            "cut somebody off\n"
            "\n"
            "Examples:\n"
            "  veltranectl doctor\n"
            "  veltranectl doctor office.conf --from 203.0.113.5\n"
            "  veltranectl doctor --json\n"
            "\n"},
        HelpScreen{
            "Confirm",
            {"confirm", "--help"},
            "Keep the connection that waits for its confirmation\n"
            "Usage: veltranectl confirm [OPTIONS]\n"
            "\n"
            "Options:\n"
            "  -h,--help                   Print this help message and exit\n"
            "  --json                      Print the outcome as JSON\n"
            "\n"
            "Run it in any session of the user who connected, or from an elevated prompt.\n"
            "Exit codes: 0 confirmed, 6 no answer, 8 too late, and 4 when nothing waits, when the "
            "service has not answered yet, and when another user connected\n"
            "\n"
            "Examples:\n"
            "  veltranectl connect office.conf --confirm 120\n"
            "  veltranectl confirm\n"
            "\n"}),
    [](const auto& help) { return help.param.name; });

using CommandLines = OnClientMachine;

TEST_F(CommandLines, TheVersionIsPrinted) {
  EXPECT_EQ(Run({"--version"}), 0);
  EXPECT_EQ(side.Output(), "veltranectl " VELTRANE_VERSION "\n");
}

TEST_F(CommandLines, VersionIsAWordToo) {
  EXPECT_EQ(Run({"version"}), 0);
  EXPECT_EQ(side.Output(), "veltranectl " VELTRANE_VERSION "\n");
}

TEST_F(CommandLines, HelpCanBeAskedForInManyWays) {
  Run({"--help"});
  const std::string help = side.Output();
  for (const char* word : {"help", "/?", "-?", "-h"}) {
    EXPECT_EQ(Run({word}), 0) << word;
    EXPECT_EQ(side.Output(), help) << word;
  }
}

TEST_F(CommandLines, HelpForACommandCanBeAskedForInManyWays) {
  Run({"connect", "--help"});
  const std::string help = side.Output();
  EXPECT_EQ(help.substr(0, 20), "Bring the tunnel up\n");
  for (const auto& words : std::vector<std::vector<std::string>>{
           {"help", "connect"}, {"connect", "/?"}, {"connect", "-?"}, {"connect", "-h"}}) {
    EXPECT_EQ(Run(words), 0) << words[0] << " " << words[1];
    EXPECT_EQ(side.Output(), help) << words[0] << " " << words[1];
  }
}

TEST_F(CommandLines, ANonceThatLooksLikeHelpIsOne) {
  ScriptedServer other(R"({"ok":true})");
  EXPECT_EQ(Run({"connect", kConfPath, "--any-server", "--session", "/?"}), 0);
  EXPECT_NE(other.Request().find(R"("session_nonce":"/?")"), std::string::npos);
}

TEST_F(CommandLines, ASecretInTheWrongPlaceIsNotPrinted) {
  for (const std::string& secret : {kPrivateKey, std::string("5c0e7a")}) {
    for (const auto& words :
         std::vector<std::vector<std::string>>{{secret},
                                               {"help", secret},
                                               {"status", secret},
                                               {"connect", kConfPath, secret},
                                               {"connect", kConfPath, "--sesion=" + secret},
                                               {"connect", kConfPath, "--json=" + secret},
                                               {"status", "--watch", "--every", secret},
                                               {"status", "--watch", "--times=" + secret},
                                               {"register", "x", secret},
                                               {"doctor", kConfPath, secret},
                                               {"doctor", "--from", secret}}) {
      EXPECT_EQ(Run(words), 2) << words[0];
      EXPECT_EQ(side.Output(), "");
      EXPECT_EQ(side.Error().find(secret.substr(0, 6)), std::string::npos) << side.Error();
    }
  }
}

struct BadLine {
  std::vector<std::string> arguments;
  const char* line;
};

class BadCommandLines : public OnClientMachine, public testing::WithParamInterface<BadLine> {};

TEST_P(BadCommandLines, GetOneLine) {
  EXPECT_EQ(Run(GetParam().arguments), 2);
  EXPECT_EQ(side.Output(), "");
  EXPECT_EQ(side.Error(), std::string("veltranectl: ") + GetParam().line + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Lines, BadCommandLines,
    testing::Values(
        BadLine{{}, "a command is missing: veltranectl --help"},
        BadLine{{"start"}, "unknown command: veltranectl --help"},
        BadLine{{""}, "unknown command: veltranectl --help"},
        BadLine{{"help", "start"}, "unknown command: veltranectl --help"},
        BadLine{{"status", "now"},
                "unexpected argument, not shown because it may be a secret: veltranectl status "
                "--help"},
        BadLine{{"connect"}, "PROFILE is required: veltranectl connect --help"},
        BadLine{{"register"}, "NONCE is required: veltranectl register --help"},
        BadLine{{"connect", "a.conf", "--node-id"},
                "--node-id: 1 required TEXT missing: veltranectl connect --help"},
        BadLine{{"status", "--json=5"},
                "an option has a value that it does not take: veltranectl status --help"},
        BadLine{{"status", "--times", "2"}, "--times requires --watch: veltranectl status --help"},
        BadLine{{"status", "--watch", "--times", "1", "--every", "0"},
                "--every: takes a whole number from 1 to 3600: veltranectl status --help"},
        BadLine{{"doctor", "--from", "203.0.113.5/32"},
                "--from: takes an IPv4 or IPv6 address: veltranectl doctor --help"},
        BadLine{{"doctor", "--from"},
                "--from: 1 required ADDRESS missing: veltranectl doctor --help"},
        BadLine{{"status", "doctor"},
                "unexpected argument, not shown because it may be a secret: veltranectl status "
                "--help"}));

}  // namespace
}  // namespace veltrane
