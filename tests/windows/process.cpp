#include "tests/windows/process.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include <gtest/gtest.h>

namespace veltrane::windows_tests {
namespace {

constexpr DWORD kPatienceMilliseconds = 30'000;

HANDLE OpenForChild(const std::wstring& path) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                     CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::string WithBareLineFeeds(std::string text) {
  std::erase(text, '\r');
  return text;
}

std::optional<std::wstring> ReadVariable(const std::wstring& name) {
  std::wstring value(32767, L'\0');
  SetLastError(ERROR_SUCCESS);
  const DWORD size =
      GetEnvironmentVariableW(name.c_str(), value.data(), static_cast<DWORD>(value.size()));
  if (size == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
  value.resize(size);
  return value;
}

// Changes this process's environment, which a child inherits, for as long as it lives.
class TemporaryVariables {
 public:
  explicit TemporaryVariables(const Variables& variables) {
    for (const auto& [name, value] : variables) {
      earlier_.emplace_back(name, ReadVariable(name));
      SetEnvironmentVariableW(name.c_str(), value.c_str());
    }
  }
  TemporaryVariables(const TemporaryVariables&) = delete;
  TemporaryVariables& operator=(const TemporaryVariables&) = delete;
  ~TemporaryVariables() {
    for (const auto& [name, value] : earlier_) {
      SetEnvironmentVariableW(name.c_str(), value ? value->c_str() : nullptr);
    }
  }

 private:
  std::vector<std::pair<std::wstring, std::optional<std::wstring>>> earlier_;
};

}  // namespace

std::wstring TestFolder() {
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return std::filesystem::path(path).parent_path().wstring();
}

std::wstring ServiceExecutable() { return TestFolder() + L"\\VeltraneVpnService.exe"; }

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
  return stream << "exit code " << outcome.exit_code << "\noutput: " << outcome.output
                << "\nerror: " << outcome.error;
}

Process::Process(const std::wstring& executable, const std::wstring& arguments,
                 const Variables& variables) {
  static std::atomic<int> count = 0;
  const std::wstring files = TestFolder() + L"\\scratch-" + std::to_wstring(++count);
  output_file_ = files + L".out";
  error_file_ = files + L".err";
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = OpenForChild(output_file_);
  startup.hStdError = OpenForChild(error_file_);
  PROCESS_INFORMATION information{};
  std::wstring command_line = L"\"" + executable + L"\" " + arguments;
  const TemporaryVariables temporary(variables);
  const BOOL started = CreateProcessW(executable.c_str(), command_line.data(), nullptr, nullptr,
                                      TRUE, 0, nullptr, nullptr, &startup, &information);
  CloseHandle(startup.hStdOutput);
  CloseHandle(startup.hStdError);
  if (!started) {
    ADD_FAILURE() << "the process did not start, error " << GetLastError();
    return;
  }
  process_ = information.hProcess;
  main_thread_ = information.hThread;
  id_ = information.dwProcessId;
}

Process::~Process() {
  if (IsRunning()) Kill();
  CloseHandle(main_thread_);
  CloseHandle(process_);
  DeleteFileW(output_file_.c_str());
  DeleteFileW(error_file_.c_str());
}

Outcome Process::Wait() {
  if (WaitForSingleObject(process_, kPatienceMilliseconds) != WAIT_OBJECT_0) {
    ADD_FAILURE() << "the process did not end";
    Kill();
  }
  Outcome outcome;
  GetExitCodeProcess(process_, &outcome.exit_code);
  outcome.output = Output();
  outcome.error = Error();
  return outcome;
}

void Process::Kill() {
  TerminateProcess(process_, 255);
  WaitForSingleObject(process_, kPatienceMilliseconds);
}

bool Process::IsRunning() const { return WaitForSingleObject(process_, 0) == WAIT_TIMEOUT; }

std::string Process::Output() const { return WithBareLineFeeds(ReadFileBytes(output_file_)); }

std::string Process::Error() const { return WithBareLineFeeds(ReadFileBytes(error_file_)); }

Outcome RunService(const std::wstring& arguments) {
  return Process(ServiceExecutable(), arguments).Wait();
}

std::string ReadFileBytes(const std::wstring& path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace veltrane::windows_tests
