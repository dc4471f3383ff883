#include "client/command_line.h"

#include <functional>
#include <sstream>

#include <CLI/CLI.hpp>

#include "client/commands.h"
#include "client/doctor/doctor.h"
#include "client/exit_codes.h"
#include "client/screens/display.h"
#include "client/text/quoting.h"
#include "client/text/utf8.h"

namespace veltrane {
namespace {

constexpr char kFooter[] =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the service refused\n"
    "  2  the command line is wrong\n"
    "  3  the profile cannot be used; nothing was sent\n"
    "  4  the service cannot be talked to; nothing was sent\n"
    "  5  the pipe is served by somebody else; nothing was sent\n"
    "  6  no reply that can be read came back\n"
    "  doctor: 0 fine, 1 warnings, 2 a connect would be refused\n"
    "\n"
    "Examples:\n"
    "  veltranectl doctor\n"
    "  veltranectl connect office.conf\n"
    "  veltranectl status --watch\n";

constexpr char kJsonHelp[] = "Print the reply as it came";
constexpr char kAnyServerHelp[] =
    "Talk to whoever serves the pipe, as to a service in console mode";

// The options of the command line and the command that it names.
struct CommandLine {
  CLI::App app{"Talks to the Veltrane VPN service of this machine.", "veltranectl"};
  StatusOptions status;
  ConnectOptions connect;
  DisconnectOptions disconnect;
  RegisterOptions registration;
  DoctorOptions doctor;
  std::function<ExitCode(Display&)> command;

  CommandLine() {
    app.set_version_flag("--version", "veltranectl " VELTRANE_VERSION);
    app.allow_windows_style_options(false);  // a profile's path may begin with a slash
    app.require_subcommand(1);
    app.footer(kFooter);
    AddStatus();
    AddConnect();
    AddDisconnect();
    AddRegister();
    AddDoctor();
  }

 private:
  void AddStatus() {
    CLI::App* sub = app.add_subcommand("status", "Show the connection and the bypass");
    CLI::Option* watch = sub->add_flag("--watch", status.watch, "Keep it on screen");
    sub->add_option("--every", status.every_seconds, "Seconds between two looks, 2 by default")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 3600))
        ->needs(watch);
    sub->add_option("--times", status.times, "End after so many looks")
        ->type_name("COUNT")
        ->check(CLI::Range(1, 1000000))
        ->needs(watch);
    sub->add_flag("--json", status.json, kJsonHelp);
    sub->add_flag("--any-server", status.any_server, kAnyServerHelp);
    sub->footer(
        "Examples:\n"
        "  veltranectl status\n"
        "  veltranectl status --watch --every 5\n"
        "  veltranectl status --json\n");
    sub->callback([this] { command = [this](Display& d) { return RunStatus(status, d); }; });
  }

  void AddConnect() {
    CLI::App* sub = app.add_subcommand("connect", "Bring the tunnel up");
    sub->add_option("PROFILE", connect.profile,
                    "A WireGuard .conf, a JSON profile, or - for standard input")
        ->required();
    sub->add_option("--node-id", connect.node_id,
                    "The node's name; a .conf is otherwise named after its file");
    sub->add_option("--session", connect.session, "The session nonce that was registered");
    sub->add_flag("--json", connect.json, kJsonHelp);
    sub->add_flag("--any-server", connect.any_server, kAnyServerHelp);
    sub->footer(
        "Examples:\n"
        "  veltranectl connect office.conf\n"
        "  veltranectl connect profile.json --session 5c0e7a\n"
        "  type office.conf | veltranectl connect - --node-id office\n");
    sub->callback([this] { command = [this](Display& d) { return RunConnect(connect, d); }; });
  }

  void AddDisconnect() {
    CLI::App* sub = app.add_subcommand("disconnect", "Bring the tunnel down");
    sub->add_flag("--json", disconnect.json, kJsonHelp);
    sub->add_flag("--any-server", disconnect.any_server, kAnyServerHelp);
    sub->footer("Examples:\n  veltranectl disconnect\n");
    sub->callback(
        [this] { command = [this](Display& d) { return RunDisconnect(disconnect, d); }; });
  }

  void AddRegister() {
    CLI::App* sub = app.add_subcommand("register", "Register the session nonce");
    sub->add_option("NONCE", registration.nonce,
                    "What a connect must carry from now on; \"\" switches the check off")
        ->required();
    sub->add_flag("--json", registration.json, kJsonHelp);
    sub->add_flag("--any-server", registration.any_server, kAnyServerHelp);
    sub->footer(
        "Examples:\n"
        "  veltranectl register 5c0e7a\n"
        "  veltranectl register \"\"\n");
    sub->callback(
        [this] { command = [this](Display& d) { return RunRegister(registration, d); }; });
  }

  void AddDoctor() {
    CLI::App* sub = app.add_subcommand(
        "doctor", "Tell whether a connect would work now; reads only, changes nothing");
    sub->add_flag("--json", doctor.json, "Print the findings as JSON");
    sub->add_flag("--any-server", doctor.any_server, "Look at a service in console mode");
    sub->footer(
        "Exit codes: 0 fine, 1 warnings, 2 a connect would be refused\n"
        "\n"
        "Examples:\n"
        "  veltranectl doctor\n"
        "  veltranectl doctor --json\n");
    sub->callback([this] { command = [this](Display& d) { return RunDoctor(doctor, d); }; });
  }
};

// Help and the version end the program too; they go to standard output.
int EndEarly(const CLI::App& app, const CLI::ParseError& end, Display& display) {
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
  display.Complain((commands.empty() ? "a command is missing" : Printable(end.what())) + ": " +
                   help);
  return kExitUsage;
}

// What the parser would call a missing subcommand, said more exactly.
std::string FindCommandProblem(const CLI::App& app, const std::vector<std::string>& arguments) {
  if (arguments.empty()) return "a command is missing";
  const std::string& name = arguments.front();
  if (name.substr(0, 1) == "-") return {};
  const auto has_name = [&name](const CLI::App* sub) { return sub->get_name() == name; };
  if (!app.get_subcommands(has_name).empty()) return {};
  return "unknown command " + Shown(name);
}

}  // namespace

int RunClient(const std::vector<std::string>& arguments) {
  Display display;
  CommandLine line;
  const std::string problem = FindCommandProblem(line.app, arguments);
  if (!problem.empty()) {
    display.Complain(problem + ": veltranectl --help");
    return kExitUsage;
  }
  try {
    line.app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& end) {
    return EndEarly(line.app, end, display);
  }
  return line.command(display);
}

}  // namespace veltrane
