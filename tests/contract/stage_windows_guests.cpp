// The stage over Windows: guests, which are processes of this program, and the program itself.

#include <windows.h>

#include <shellapi.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "tests/contract/stage_windows.h"

namespace veltrane::contract {
namespace {

// Lines by which the program of a guest speaks for itself.
constexpr char kPath[] = "@path ";
constexpr char kScreen[] = "@screen ";
constexpr char kEscapeSequences[] = "@escape sequences";

std::map<std::string, void (*)()>& Guests() {
  static std::map<std::string, void (*)()> guests;
  return guests;
}

std::wstring told_file;

std::string Utf8(const std::wstring& text) {
  const std::u8string utf8 = std::filesystem::path(text).u8string();
  return {utf8.begin(), utf8.end()};
}

std::wstring Wide(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).wstring();
}

// The standard streams of a process without redirection are not those of its console under Wine.
HANDLE UseConsole() {
  SetStdHandle(STD_INPUT_HANDLE,
               CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE,
                           FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
  const HANDLE console =
      CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_EXISTING, 0, nullptr);
  SetStdHandle(STD_OUTPUT_HANDLE, console);
  SetStdHandle(STD_ERROR_HANDLE, console);
  return console;
}

void TellScreen(HANDLE console) {
  std::wstring line(80, L' ');
  DWORD read = 0;
  ReadConsoleOutputCharacterW(console, line.data(), static_cast<DWORD>(line.size()), COORD{0, 0},
                              &read);
  line.erase(line.find_last_not_of(L' ') + 1);
  Tell(kScreen + Utf8(line));
  DWORD mode = 0;
  GetConsoleMode(console, &mode);
  if ((mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0) Tell(kEscapeSequences);
}

int RunGuest(const std::string& name, const std::wstring& told, bool in_terminal) {
  const auto guest = Guests().find(name);
  if (guest == Guests().end()) return 2;
  told_file = told;
  Tell(kPath + Utf8(OwnProgram()));
  const HANDLE console = in_terminal ? UseConsole() : nullptr;
  guest->second();
  if (in_terminal) TellScreen(console);
  return 0;
}

// Starts a process, in a job when one is given; its exit code, once it has ended.
DWORD RunProcess(const std::wstring& program, std::wstring command_line, STARTUPINFOEXW& startup,
                 HANDLE job = nullptr) {
  startup.StartupInfo.cb = sizeof(startup);
  PROCESS_INFORMATION information{};
  DWORD flags = CREATE_SUSPENDED;
  if (startup.lpAttributeList != nullptr) flags |= EXTENDED_STARTUPINFO_PRESENT;
  const BOOL started = CreateProcessW(program.c_str(), command_line.data(), nullptr, nullptr, FALSE,
                                      flags, nullptr, nullptr, &startup.StartupInfo, &information);
  EXPECT_TRUE(started) << "error " << GetLastError();
  if (!started) return GetLastError();
  EXPECT_TRUE(job == nullptr || AssignProcessToJobObject(job, information.hProcess));
  ResumeThread(information.hThread);
  const UniqueHandle process(information.hProcess), thread(information.hThread);
  EXPECT_TRUE(Eventually([&] { return WaitForSingleObject(process.get(), 0) == WAIT_OBJECT_0; }));
  DWORD exit_code = 0;
  GetExitCodeProcess(process.get(), &exit_code);
  return exit_code;
}

// A terminal without a window; what it would show is thrown away.
class PseudoConsole {
 public:
  explicit PseudoConsole(std::uint16_t columns) {
    constexpr DWORD kRoom = 1 << 20;
    constexpr SHORT kRows = 25;
    HANDLE input_read = nullptr, input_write = nullptr;
    HANDLE output_read = nullptr, output_write = nullptr;
    EXPECT_TRUE(CreatePipe(&input_read, &input_write, nullptr, 0));
    EXPECT_TRUE(CreatePipe(&output_read, &output_write, nullptr, kRoom));
    input_.reset(input_write);
    output_.reset(output_read);
    const UniqueHandle for_console_read(input_read), for_console_write(output_write);
    EXPECT_EQ(CreatePseudoConsole(COORD{static_cast<SHORT>(columns), kRows}, input_read,
                                  output_write, 0, &console_),
              S_OK);
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    attributes_.resize(size);
    startup_.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributes_.data());
    EXPECT_TRUE(InitializeProcThreadAttributeList(startup_.lpAttributeList, 1, 0, &size));
    EXPECT_TRUE(UpdateProcThreadAttribute(startup_.lpAttributeList, 0,
                                          PROC_THREAD_ATTRIBUTE_PSEUDOCONSOLE, console_,
                                          sizeof(console_), nullptr, nullptr));
  }
  PseudoConsole(const PseudoConsole&) = delete;
  PseudoConsole& operator=(const PseudoConsole&) = delete;
  ~PseudoConsole() {
    output_.reset();
    ClosePseudoConsole(console_);
  }

  STARTUPINFOEXW& Startup() { return startup_; }

  void Type(const std::string& keys) {
    DWORD written = 0;
    EXPECT_TRUE(
        WriteFile(input_.get(), keys.data(), static_cast<DWORD>(keys.size()), &written, nullptr));
  }

 private:
  UniqueHandle input_;
  UniqueHandle output_;
  HPCON console_ = nullptr;
  std::vector<unsigned char> attributes_;
  STARTUPINFOEXW startup_{};
};

}  // namespace

Guest::Guest(const char* guest_name, void (*guest)()) : name(guest_name), run(guest) {
  Guests()[name] = run;
}

void Tell(const std::string& line) {
  std::ofstream(std::filesystem::path(told_file), std::ios::app | std::ios::binary) << line << '\n';
}

std::wstring GuestCommandLine(const Guest& guest, const std::wstring& told) {
  return L"\"" + OwnProgram() + L"\" --guest " + Wide(guest.name) + L" \"" + told + L"\"";
}

GuestRun ReadTold(const std::wstring& told) {
  GuestRun run;
  std::ifstream file{std::filesystem::path(told), std::ios::binary};
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(kPath)) {
      run.executable_path = Wide(line.substr(sizeof(kPath) - 1));
    } else if (line.starts_with(kScreen)) {
      run.screen = line.substr(sizeof(kScreen) - 1);
    } else if (line == kEscapeSequences) {
      run.takes_escape_sequences = true;
    } else {
      run.told.push_back(line);
    }
  }
  return run;
}

std::vector<std::string> Stage::GuestArguments(const Guest& guest) {
  return {"--guest", guest.name, Utf8(Path(L"told"))};
}

std::vector<std::string> Stage::ToldByGuest() { return ReadTold(Path(L"told")).told; }

std::vector<std::string> OwnArguments() {
  int count = 0;
  wchar_t** words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 4; i < count; ++i) arguments.push_back(Utf8(words[i]));
  LocalFree(words);
  return arguments;
}

// Windows asks every window of the session.
void Stage::EndSession() {
  const HWND window = FindWindowW(L"VeltraneWatchdog", nullptr);
  EXPECT_NE(window, nullptr);
  EXPECT_TRUE(SendMessageW(window, WM_QUERYENDSESSION, 0, 0));
}

bool Stage::IsInheritedBy(const std::function<void()>& start) {
  HANDLE read = nullptr, write = nullptr;
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  EXPECT_TRUE(CreatePipe(&read, &write, &inheritable, 0));
  const UniqueHandle reader(read);
  start();
  CloseHandle(write);
  // The pipe is broken unless somebody has its other end.
  return PeekNamedPipe(reader.get(), nullptr, 0, nullptr, nullptr, nullptr) != 0;
}

GuestRun Stage::RunInTerminal(std::uint16_t columns, const Guest& guest, const std::string& keys) {
  PseudoConsole terminal(columns);
  terminal.Type(keys);
  const std::wstring command_line = L"\"" + OwnProgram() + L"\" --guest-in-terminal " +
                                    Wide(guest.name) + L" \"" + Path(L"told") + L"\"";
  const DWORD exit_code = RunProcess(OwnProgram(), command_line, terminal.Startup());
  GuestRun run = ReadTold(Path(L"told"));
  run.exit_code = exit_code;
  return run;
}

GuestRun Stage::RunFromLongPath(const Guest& guest) {
  std::wstring folder = L"\\\\?\\" + state_->folder;
  while (folder.size() < 270) {
    folder += std::wstring(50, L'x') + L"\\";
    EXPECT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
    state_->undo.push_back([folder] { RemoveDirectoryW(folder.c_str()); });
  }
  const std::wstring program = folder + ExecutableFile();
  EXPECT_TRUE(CopyFileW(OwnProgram().c_str(), program.c_str(), TRUE));
  state_->undo.push_back([program] { DeleteFileW(program.c_str()); });
  STARTUPINFOEXW startup{};
  RunProcess(program, GuestCommandLine(guest, Path(L"told")), startup);
  return ReadTold(Path(L"told"));
}

GuestRun Stage::RunInJob(bool may_leave, const Guest& guest) {
  const UniqueHandle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  if (may_leave) limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_BREAKAWAY_OK;
  EXPECT_TRUE(SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits,
                                      sizeof(limits)));
  STARTUPINFOEXW startup{};
  RunProcess(OwnProgram(), GuestCommandLine(guest, Path(L"told")), startup, job.get());
  return ReadTold(Path(L"told"));
}

void Stage::BeStartedByHand() {}

}  // namespace veltrane::contract

int main(int argc, char** argv) {
  using namespace veltrane::contract;
  SetErrorMode(SEM_NOGPFAULTERRORBOX);  // whoever crashes ends, instead of waiting for a debugger
  testing::InitGoogleTest(&argc, argv);
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() < 3) return RUN_ALL_TESTS();
  if (arguments[0] == "--serve") {
    ServeAtPace(Wide(arguments[1]), Wide(arguments[2]));
    return 0;
  }
  return RunGuest(arguments[1], Wide(arguments[2]), arguments[0] == "--guest-in-terminal");
}
