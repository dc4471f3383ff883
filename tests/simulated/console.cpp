#include "tests/simulated/console.h"

#include <cstdio>
#include <thread>

#include "tests/simulated/machine.h"
#include "tests/simulated/threads.h"

namespace veltrane {
namespace simulated {

std::wstring Console::Joined(Outlet outlet) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  std::wstring joined;
  for (const Printed& printed : log_) {
    if (printed.outlet == outlet) joined += printed.text;
  }
  return joined;
}

std::wstring Console::Output() const { return Joined(Outlet::kOutput); }
std::wstring Console::Error() const { return Joined(Outlet::kError); }
std::wstring Console::Debugger() const { return Joined(Outlet::kDebugger); }

std::vector<Printed> Console::Log() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return log_;
}

void Console::Clear() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  log_.clear();
}

void Console::EchoErrors() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  echo_errors_ = true;
}

bool Console::SendEvent(std::uint32_t control_type) {
  bool (*handler)(std::uint32_t) = nullptr;
  {
    const std::lock_guard<std::mutex> lock(core_.mutex);
    handler = handler_;
  }
  bool handled = false;
  if (handler != nullptr) {
    const NotOfTheProgram threads;
    std::thread([&] { handled = handler(control_type); }).join();
  }
  return handled;
}

bool Console::HasHandler() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return handler_ != nullptr;
}

void Console::Print(Outlet outlet, const std::wstring& text) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  log_.push_back({outlet, text});
  if (outlet == Outlet::kError && echo_errors_) {
    std::fputs(Narrow(text).c_str(), stderr);
    std::fflush(stderr);
  }
}

void Console::Install(bool (*handler)(std::uint32_t)) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  handler_ = handler;
}

}  // namespace simulated

namespace {

using simulated::Machine;
using simulated::Outlet;

void Print(const char* name, Outlet outlet, const std::wstring& text) {
  Machine& machine = Machine::Current();
  std::string logged = simulated::Narrow(text);
  if (logged.ends_with('\n')) logged.pop_back();
  if (machine.calls.Begin(name, logged)) return;
  machine.console.Print(outlet, text);
}

}  // namespace

void PrintOutput(const std::wstring& text) { Print("PrintOutput", Outlet::kOutput, text); }

void PrintError(const std::wstring& text) { Print("PrintError", Outlet::kError, text); }

void PrintErrorLine(const std::wstring& prefix, const std::string& narrow) {
  std::wstring line = prefix;
  for (const char byte : narrow) {
    if (byte == '\0') break;
    line.push_back(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
  }
  Print("PrintErrorLine", Outlet::kError, line + L"\n");
}

void PrintDebugger(const std::wstring& text) { Print("PrintDebugger", Outlet::kDebugger, text); }

void InstallConsoleHandler(bool (*handler)(std::uint32_t control_type)) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("InstallConsoleHandler")) return;
  machine.console.Install(handler);
}

}  // namespace veltrane
