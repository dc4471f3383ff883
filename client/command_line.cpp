#include "client/command_line.h"

#include <algorithm>
#include <sstream>
#include <string_view>

#include <CLI/CLI.hpp>

#include "client/commands.h"
#include "client/exit_codes.h"
#include "client/failure.h"
#include "client/forecast/networks.h"
#include "client/screens/display.h"

namespace veltrane {
namespace {

constexpr char kFooter[] =
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
    "  doctor: 0 fine, 10 warnings, 11 connecting would fail, 12 connecting could cut somebody "
    "off\n"
    "\n"
    "Examples:\n"
    "  veltranectl doctor office.conf\n"
    "  veltranectl connect office.conf\n"
    "  veltranectl status --watch\n"
    "  veltranectl help connect\n";

// A check of a number whose complaint does not repeat what was typed.
CLI::Validator Between(int least, int most) {
  const std::string range = std::to_string(least) + " to " + std::to_string(most);
  return CLI::Validator(
      [least, most, range](const std::string& text) {
        CLI::Validator check = CLI::Range(least, most);
        return check(text).empty() ? std::string() : "takes a whole number from " + range;
      },
      "INT from " + range);
}

void AddStatusOptions(CLI::App& sub, Options& options) {
  CLI::Option* watch =
      sub.add_flag("--watch", options.watch, "Keep refreshing")->disable_flag_override();
  sub.add_option("--every", options.every_seconds, "Seconds between refreshes (default 2)")
      ->type_name("SECONDS")
      ->check(Between(1, 3600))
      ->needs(watch);
  sub.add_option("--times", options.times, "Stop after this many refreshes")
      ->type_name("COUNT")
      ->check(Between(1, 1000000))
      ->needs(watch);
}

void AddFromOption(CLI::App& sub, Options& options, const char* help) {
  sub.add_option("--from", options.from, help)
      ->type_name("ADDRESS")
      ->allow_extra_args(false)
      ->check(CLI::Validator(
          [](const std::string& text) {
            return ParseAddress(text) ? std::string() : "takes an IPv4 or IPv6 address";
          },
          ""));
}

void AddConnectOptions(CLI::App& sub, Options& options) {
  sub.add_option("PROFILE", options.profile,
                 "A WireGuard .conf, a JSON profile, or - for standard input")
      ->required();
  sub.add_option("--node-id", options.node_id,
                 "Node name; for a .conf the default is its file name");
  sub.add_option("--session", options.session, "The registered session nonce");
  AddFromOption(sub, options,
                "Somebody at this address is connected too, such as over SSH, WinRM or VNC; may be "
                "repeated");
  sub.add_option("--accept-risk", options.accepted_risks,
                 "Connect although somebody who is connected would be cut off "
                 "(lose-remote-administration), or although packets would go past the tunnel "
                 "(leaks)")
      ->type_name("RISK")
      ->allow_extra_args(false)
      ->check(CLI::Validator(
          [](const std::string& word) {
            return word == "lose-remote-administration" || word == "leaks"
                       ? std::string()
                       : "takes lose-remote-administration or leaks";
          },
          ""));
  sub.add_flag("--split-default", options.split_default,
               "Send 0.0.0.0/1, 128.0.0.0/1 for 0.0.0.0/0, and ::/1, 8000::/1 for ::/0")
      ->disable_flag_override();
  sub.add_option("--confirm", options.confirm_seconds,
                 "Disconnect again unless that is confirmed within so many seconds")
      ->type_name("SECONDS")
      ->check(Between(10, 86400));
  sub.add_option("--wait", options.wait_seconds,
                 "Wait until the tunnel runs, at most so many seconds (default 30)")
      ->type_name("[SECONDS]")
      ->check(Between(1, 3600));
}

void AddRegisterOptions(CLI::App& sub, Options& options) {
  sub.add_option("NONCE", options.nonce,
                 "Nonce that every connect must carry from now on; \"\" turns the check off")
      ->required();
}

void AddDoctorOptions(CLI::App& sub, Options& options) {
  sub.add_option("PROFILE", options.profile,
                 "The profile to be asked about, as for connect; without one a catch-all");
  AddFromOption(sub, options,
                "Also say what a connect does to somebody at this address; may be repeated");
}

void AddWatchdogOptions(CLI::App& sub, Options& options) {
  sub.add_option("--seconds", options.seconds, "")->check(Between(1, 86400))->required();
  sub.add_option("--node-id", options.node_id, "")->required();
}

// A command and its help. An option whose help is null is not there.
struct Command {
  const char* name;
  const char* description;
  const char* footer;
  ExitCode (*run)(const Options&, Display&);
  void (*add_own_options)(CLI::App&, Options&) = [](CLI::App&, Options&) {};
  const char* json_help = "Print the reply exactly as received, or why there is none";
  const char* any_server_help = "Talk to any server on the pipe, such as a service in console mode";
  bool is_listed = true;
};

constexpr Command kCommands[] = {
    {.name = "status",
     .description = "Show the connection and the bypass",
     .footer = "Examples:\n"
               "  veltranectl status\n"
               "  veltranectl status --watch --every 5\n"
               "  veltranectl status --json\n",
     .run = RunStatus,
     .add_own_options = AddStatusOptions},
    {.name = "connect",
     .description = "Bring the tunnel up",
     .footer =
         "Before anything is sent, it is forecast who would still reach this machine. Exit "
         "code 7, and\n"
         "nothing sent, when somebody who is connected now would not stay, and when packets "
         "would leak\n"
         "past the halves of --split-default.\n"
         "\n"
         "With --confirm the connection is undone unless the word that is asked for is typed "
         "here, or\n"
         "\"veltranectl confirm\" is run, in time. When Windows restarts, the tunnel is down "
         "in any case,\n"
         "because its service is started by hand. When everything in this program's job is "
         "killed, nobody\n"
         "is left to undo it (docs/limits.md).\n"
         "\n"
         "Examples:\n"
         "  veltranectl connect office.conf\n"
         "  veltranectl connect profile.json --session 5c0e7a\n"
         "  veltranectl connect office.conf --from 203.0.113.5\n"
         "  veltranectl connect office.conf --split-default --wait\n"
         "  veltranectl connect office.conf --accept-risk lose-remote-administration --confirm "
         "120\n"
         "  type office.conf | veltranectl connect - --node-id office\n",
     .run = RunConnect,
     .add_own_options = AddConnectOptions},
    {.name = "disconnect",
     .description = "Bring the tunnel down",
     .footer = "Examples:\n  veltranectl disconnect\n",
     .run = RunDisconnect},
    {.name = "register",
     .description = "Register the session nonce",
     .footer = "Examples:\n"
               "  veltranectl register 5c0e7a\n"
               "  veltranectl register \"\"\n",
     .run = RunRegister,
     .add_own_options = AddRegisterOptions},
    {.name = "doctor",
     .description =
         "Check whether connecting would work and whom it would cut off; changes nothing",
     .footer = "Exit codes: 0 fine, 10 warnings, 11 connecting would fail, 12 connecting could cut "
               "somebody off\n"
               "\n"
               "Examples:\n"
               "  veltranectl doctor\n"
               "  veltranectl doctor office.conf --from 203.0.113.5\n"
               "  veltranectl doctor --json\n",
     .run = RunDoctor,
     .add_own_options = AddDoctorOptions,
     .json_help = "Print the findings as JSON",
     .any_server_help = "Check a service in console mode"},
    {.name = "confirm",
     .description = "Keep the connection that waits for its confirmation",
     .footer =
         "Run it in any session of the user who connected, or from an elevated prompt.\n"
         "Exit codes: 0 confirmed, 6 no answer, 8 too late, and 4 when nothing waits, when the "
         "service has not answered yet, and when another user connected\n"
         "\n"
         "Examples:\n"
         "  veltranectl connect office.conf --confirm 120\n"
         "  veltranectl confirm\n",
     .run = RunConfirm,
     .json_help = "Print the outcome as JSON",
     .any_server_help = nullptr},
    {.name = "watchdog",
     .description = "What connect --confirm starts; not for typing",
     .footer = "",
     .run = RunWatchdog,
     .add_own_options = AddWatchdogOptions,
     .json_help = nullptr,
     .any_server_help = "",
     .is_listed = false},
};

// The parser, the options it has read, and the command it has found.
struct CommandLine {
  CLI::App app{"Controls the Veltrane VPN service on this machine.", "veltranectl"};
  Options options;
  const Command* command = nullptr;

  CommandLine() {
    app.set_version_flag("--version", "veltranectl " VELTRANE_VERSION);
    app.allow_windows_style_options(false);  // a profile's path may begin with a slash
    app.require_subcommand(1);
    app.footer(kFooter);
    for (const Command& known : kCommands) Add(known);
  }

 private:
  static void AddFlag(CLI::App& sub, const char* name, bool& flag, const char* help) {
    if (help != nullptr) sub.add_flag(name, flag, help)->disable_flag_override();
  }

  void Add(const Command& known) {
    CLI::App* sub = app.add_subcommand(known.name, known.description);
    known.add_own_options(*sub, options);
    AddFlag(*sub, "--json", options.json, known.json_help);
    AddFlag(*sub, "--any-server", options.any_server, known.any_server_help);
    if (!known.is_listed) sub->group("");
    sub->footer(known.footer);
    sub->callback([this, &known] { command = &known; });
  }
};

// What is wrong, without repeating anything that was typed: a key may have been pasted in the wrong
// place.
std::string ProblemOf(const CLI::ParseError& error) {
  switch (static_cast<CLI::ExitCodes>(error.get_exit_code())) {
    case CLI::ExitCodes::ExtrasError:
      return "unexpected argument, not shown because it may be a secret";
    case CLI::ExitCodes::RequiredError:
    case CLI::ExitCodes::RequiresError:
    case CLI::ExitCodes::ValidationError:
      return error.what();  // names the options alone
    case CLI::ExitCodes::ArgumentMismatch:
      if (std::string_view(error.what()).substr(0, 2) == "--") return error.what();
      [[fallthrough]];  // a flag with a value
    default:
      return "an option has a value that it does not take";
  }
}

// Help and the version also end the program early; they go to standard output.
int EndEarly(const CLI::App& app, const CLI::ParseError& end, bool json, Display& display) {
  if (end.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
    std::ostringstream output;
    std::ostringstream errors;
    app.exit(end, output, errors);
    display.Print(output.str());
    return kExitDone;
  }
  const std::vector<CLI::App*> commands = app.get_subcommands();
  const std::string help = commands.empty() ? "veltranectl --help"
                                            : "veltranectl " + commands[0]->get_name() + " --help";
  return Fail(kExitUsage,
              (commands.empty() ? "a command is missing" : ProblemOf(end)) + ": " + help, json,
              display);
}

// The other ways to ask for help and the version, as the options that the parser knows.
std::vector<std::string> WithOptionsForWords(std::vector<std::string> arguments) {
  const auto asks = [](const std::string& word) { return word == "/?" || word == "-?"; };
  // Later arguments may be values, such as a nonce.
  for (std::size_t i = 0; i < std::min<std::size_t>(arguments.size(), 2); ++i) {
    if (asks(arguments[i])) arguments[i] = "--help";
  }
  if (arguments.empty()) return arguments;
  if (arguments[0] == "version") arguments[0] = "--version";
  if (arguments[0] == "help") {
    arguments.erase(arguments.begin());
    arguments.insert(arguments.begin() + (arguments.empty() ? 0 : 1), "--help");
  }
  return arguments;
}

// Gives a "--wait" without a number one: the parser would take whatever follows, such as the
// profile, for its value.
void CompleteWait(std::vector<std::string>& arguments) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i] != "--wait") continue;
    const std::string next = i + 1 < arguments.size() ? arguments[i + 1] : "";
    const bool number = !next.empty() && next.find_first_not_of("0123456789") == std::string::npos;
    if (!number) arguments[i] += "=30";
  }
}

// Says more exactly what the parser would call a missing subcommand.
std::string FindCommandProblem(const CLI::App& app, const std::vector<std::string>& arguments) {
  if (arguments.empty()) return "a command is missing";
  const std::string& name = arguments.front();
  if (name.substr(0, 1) == "-") return {};
  const auto has_name = [&name](const CLI::App* sub) { return sub->get_name() == name; };
  return app.get_subcommands(has_name).empty() ? "unknown command" : "";
}

}  // namespace

int RunClient(const std::vector<std::string>& words) {
  Display display;
  CommandLine line;
  std::vector<std::string> arguments = WithOptionsForWords(words);
  CompleteWait(arguments);
  // An invalid command line may have been left before the parser has read the option.
  const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
  const std::string problem = FindCommandProblem(line.app, arguments);
  if (!problem.empty()) return Fail(kExitUsage, problem + ": veltranectl --help", json, display);
  try {
    line.app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& end) {
    return EndEarly(line.app, end, json, display);
  }
  return line.command->run(line.options, display);
}

}  // namespace veltrane
