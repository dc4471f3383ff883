#pragma once

// What the parts of the stage over Windows share.

#include <windows.h>
#include <winsock2.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/contract/stage.h"

namespace veltrane::contract {

struct Stage::State {
  std::wstring folder;                       // ends in a separator
  std::vector<std::function<void()>> undo;   // run from the last to the first
  std::function<void()> let_services_go_on;  // null until there is such a service
};

struct HandleCloser {
  void operator()(void* handle) const { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<void, HandleCloser>;

struct ServiceCloser {
  void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using UniqueService = std::unique_ptr<SC_HANDLE__, ServiceCloser>;

// The path of this program.
std::wstring OwnProgram();

// A number that no other call gives, in no process that runs.
std::wstring UniqueNumber();

// The handles of this process that exist now.
std::vector<HANDLE> AllHandles();

// The entries of an access list, and the text of a SID.
std::vector<AccessListEntry> EntriesOf(ACL* list);
std::string SidText(PSID sid);

// The command line of this program as a guest, which tells to this file.
std::wstring GuestCommandLine(const Guest& guest, const std::wstring& told);

// What a guest has told to this file.
GuestRun ReadTold(const std::wstring& told);

// As a service at a pace, which goes on when the event of this name is set. Returns at its end.
void ServeAtPace(const std::wstring& pace, const std::wstring& event);

}  // namespace veltrane::contract
