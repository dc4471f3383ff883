#pragma once

// Running the service executable as a process of its own.

#include <windows.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace veltrane::windows_tests {

// The folder of this test program, in which it finds the executable under test.
std::wstring TestFolder();

// The executable under test.
std::wstring ServiceExecutable();

// Environment variables: name and value.
using Variables = std::vector<std::pair<std::wstring, std::wstring>>;

// What a finished process left.
struct Outcome {
  DWORD exit_code = 0;
  std::string output;  // standard output, line ends as "\n"
  std::string error;   // standard error, line ends as "\n"

  bool operator==(const Outcome&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const Outcome& outcome);

// Of a process that printed nothing.
inline Outcome SilentExit(DWORD exit_code) { return {exit_code, "", ""}; }

// A running process whose outputs go to files. Ended with the object if it still runs; the files go
// with it.
class Process {
 public:
  // Starts `executable` with the arguments as they stand, and with the environment variables on top
  // of this process's own.
  Process(const std::wstring& executable, const std::wstring& arguments,
          const Variables& variables = {});
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  // Waits until the process has ended; fails the test after half a minute.
  Outcome Wait();

  // Ends the process at once, as a kill would.
  void Kill();

  bool IsRunning() const;
  DWORD Id() const { return id_; }
  HANDLE Handle() const { return process_; }
  HANDLE MainThread() const { return main_thread_; }

  // What the process has printed so far.
  std::string Output() const;
  std::string Error() const;

 private:
  std::wstring output_file_;
  std::wstring error_file_;
  HANDLE process_ = nullptr;
  HANDLE main_thread_ = nullptr;
  DWORD id_ = 0;
};

// Runs the executable under test to its end.
Outcome RunService(const std::wstring& arguments);

// Reads a whole file; empty when there is none.
std::string ReadFileBytes(const std::wstring& path);

}  // namespace veltrane::windows_tests
