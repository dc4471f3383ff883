#include "tests/simulation/process.h"

#include <link.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <exception>
#include <string_view>
#include <utility>

#include "service/command_line.h"
#include "tests/simulated/core.h"

namespace veltrane::simulation {
namespace {

Process* current_process = nullptr;

struct Range {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
};

// Where the library has its variables: its writable segments without what is read-only again after
// the library has been loaded.
std::vector<Range> FindVariables() {
  std::vector<Range> found;
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* memory) {
        if (std::string_view(info->dlpi_name).find("libsimulated_program") == std::string::npos) {
          return 0;
        }
        const auto page = static_cast<std::uintptr_t>(getpagesize());
        std::uintptr_t protected_end = 0;
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          const ElfW(Phdr)& header = info->dlpi_phdr[i];
          if (header.p_type != PT_GNU_RELRO) continue;
          protected_end = (info->dlpi_addr + header.p_vaddr + header.p_memsz) & ~(page - 1);
        }
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          const ElfW(Phdr)& header = info->dlpi_phdr[i];
          if (header.p_type != PT_LOAD || (header.p_flags & PF_W) == 0) continue;
          const std::uintptr_t begin = info->dlpi_addr + header.p_vaddr;
          static_cast<std::vector<Range>*>(memory)->push_back(
              {std::max(begin, protected_end), begin + header.p_memsz});
        }
        return 0;
      },
      &found);
  if (found.empty()) simulated::Die("the program's library is not loaded");
  return found;
}

}  // namespace

Process::Process(Baton& baton) : baton_(baton) {
  if (current_process != nullptr) simulated::Die("there are two processes");
  current_process = this;
  // The library is as it was loaded: the first process of all takes the picture.
  static const std::vector<Part>& picture = *new std::vector<Part>([] {
    std::vector<Part> parts;
    for (const Range& range : FindVariables()) {
      auto* begin = reinterpret_cast<std::byte*>(range.begin);
      parts.push_back({begin, std::vector<std::byte>(begin, begin + (range.end - range.begin))});
    }
    return parts;
  }());
  data_ = picture;
  std::set_terminate([] {
    if (current_process != nullptr && Baton::Current()->Running() != nullptr) {
      current_process->EndBy("terminate");
    }
    simulated::Die("terminate was called outside the program");
  });
}

Process::~Process() { current_process = nullptr; }

Process* Process::Current() { return current_process; }

void Process::Begin(const std::vector<std::wstring>& arguments) {
  if (lives_) simulated::Die("there is a process already");
  for (const Part& part : data_) std::memcpy(part.begin, part.bytes.data(), part.bytes.size());
  arguments_ = arguments;
  argv_ = {L"VeltraneVpnService.exe"};
  for (const std::wstring& argument : arguments_) argv_.push_back(argument.c_str());
  lives_ = true;
  refuses_thread_ = false;
  refused_.clear();
  double_joined_.clear();
  locks_ = 0;
  end_.reset();
  baton_.Start(Role::kMain, "main", [this] {
    const int code = RunCommandLine(static_cast<int>(argv_.size()), argv_.data());
    end_ = End{code, "", "main"};
    baton_.NeverReturn();
  });
}

void Process::Kill() {
  baton_.AbandonProgram();
  lives_ = false;
  end_.reset();
}

std::optional<Process::End> Process::TakeEnd() { return std::exchange(end_, std::nullopt); }

bool Process::TakeRefusal() {
  if (refuses_thread_) refused_ = baton_.Running()->name;
  return std::exchange(refuses_thread_, false);
}

void Process::NoteDoubleJoin() { double_joined_ = baton_.Running()->name; }

void Process::ForgetRefused(const std::string& thread) {
  if (refused_ == thread) refused_.clear();
}

void Process::NoteLocks(int change) {
  locks_ += change;
  baton_.Running()->locks += change;
}

void Process::EndBy(const std::string& by) {
  end_ = End{3, by, baton_.Running()->name};
  baton_.NeverReturn();
}

}  // namespace veltrane::simulation
