#pragma once

// The service control manager and its services.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/services.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

// Current states of winsvc.h.
inline constexpr std::uint32_t kStopped = 1;
inline constexpr std::uint32_t kStartPending = 2;
inline constexpr std::uint32_t kStopPending = 3;
inline constexpr std::uint32_t kRunning = 4;

struct ServiceRecord {
  ServiceSettings settings;
  std::optional<std::uint32_t> sid_type;  // unset until somebody sets it
  std::uint32_t state = kStopped;
  bool marked_for_delete = false;
  int open_handles = 0;  // of the program, and those of HoldHandle
};

// Names are compared without case. Handles carry the access they were opened with, and an operation
// through a handle without the right for it fails (error 5). The rights are create 2 of the
// manager, and change 2, query 4, start 0x10, stop 0x20 and delete 0x10000 of a service.
//
// Deleting marks a service; it is gone when it is marked, stopped and the last handle is closed. A
// marked service can still be opened, queried and stopped; creating one of its name answers 1072,
// and so do starting, reconfiguring and deleting it (see LetMarkedServicesWork). Creating a service
// that exists unmarked answers 1073. Starting one that is not stopped answers 1056; stopping one
// that is not running fails. Every member may be called on any thread.
class Services {
 public:
  explicit Services(Core& core) : core_(core) {}

  // Installs a service, replacing one of that name; the short form has empty settings but the name.
  void Add(const ServiceSettings& settings, std::uint32_t state = kStopped);
  void Add(const std::wstring& name, std::uint32_t state = kStopped);

  // A copy of what is installed under this name, a marked service included.
  std::optional<ServiceRecord> Find(const std::wstring& name) const;
  std::vector<std::wstring> Names() const;

  // Changes the state from outside: a crash, or a pending start or stop that ends. Runs the hooks.
  void SetState(const std::wstring& name, std::uint32_t state);

  // Another program opens a handle of the service and lets go of it.
  void HoldHandle(const std::wstring& name);
  void ReleaseHandle(const std::wstring& name);

  // The manager and service handles that the program has open.
  int OpenHandles() const;

  // Opening the manager, or a service, with any right of the mask fails: 2 takes away
  // SC_MANAGER_ALL_ACCESS and leaves SC_MANAGER_CONNECT.
  void DenyManagerAccess(std::uint32_t mask);
  void DenyServiceAccess(std::uint32_t mask);

  // What a successful start leads to, for every service; the first is the rule at the start. A
  // start pending service answers `polls` state queries with kStartPending and then runs.
  void RunAtOnce();
  void RunAfterPolls(std::uint32_t polls);
  void StopRightAfterStart();  // the service's process ends at once

  // What a stop request leads to, for every service; the first is the rule at the start. A stopping
  // service answers `polls` state queries with kStopPending and then kStopped.
  void StopAtOnce();
  void StopAfterPolls(std::uint32_t polls);
  void NeverStop();  // stays kStopPending

  // Marked services can be started and reconfigured, and the deletion still happens later.
  void LetMarkedServicesWork();

  // Run when a service reaches kRunning, or kStopped from another state, with its name, on the
  // thread that brought it there and with no lock held. Replace an earlier hook.
  using Hook = std::function<void(const std::wstring& name)>;
  void OnRunning(Hook hook);
  void OnStopped(Hook hook);

  // For the boundary functions. Errors are Win32 errors, 0 is success.
  struct Pending {
    std::uint32_t polls = 0;  // state queries still answered with the pending state
    std::uint32_t state = 0;  // the state that follows
  };
  struct Installed {
    ServiceRecord record;
    std::optional<Pending> pending;
  };
  struct Handle {
    std::shared_ptr<Installed> service;  // null for a manager
    std::uint32_t access = 0;
  };
  Handle* OpenManager(std::uint32_t access);                     // null: denied
  Handle* Open(const std::wstring& name, std::uint32_t access);  // null: not there, or denied
  std::pair<Handle*, std::uint32_t> Create(const Handle& manager, const ServiceSettings& settings);
  void Close(Handle* handle);
  void EndProcess();
  std::uint32_t ChangeCommandLine(const Handle& handle, const std::wstring& command_line);
  std::uint32_t ChangeSettings(const Handle& handle, const ServiceSettings& settings);
  std::uint32_t SetSidType(const Handle& handle, std::uint32_t sid_type);
  std::uint32_t Start(const Handle& handle);
  std::uint32_t SendStop(const Handle& handle);
  std::optional<std::uint32_t> QueryState(const Handle& handle);
  std::uint32_t Delete(const Handle& handle);

 private:
  enum class AfterStart { kRun, kRunLater, kStop };
  enum class AfterStop { kStop, kStopLater, kNever };

  Handle* OpenLocked(std::shared_ptr<Installed> service, std::uint32_t access);
  Installed& Known(const std::wstring& name) const;
  void CloseLocked(Handle* handle);
  void DropIfGone(const Installed& service);
  std::uint32_t CheckChange(const Handle& handle, std::uint32_t right) const;
  // Sets the state and returns the hook call that is due, to be made without the lock.
  std::function<void()> Enter(Installed& service, std::uint32_t state);

  Core& core_;
  std::map<std::wstring, std::shared_ptr<Installed>> services_;
  std::set<Handle*> program_handles_;
  std::uint32_t denied_manager_access_ = 0;
  std::uint32_t denied_service_access_ = 0;
  AfterStart after_start_ = AfterStart::kRun;
  AfterStop after_stop_ = AfterStop::kStop;
  std::uint32_t start_polls_ = 0;
  std::uint32_t stop_polls_ = 0;
  bool marked_services_work_ = false;
  Hook on_running_;
  Hook on_stopped_;
};

}  // namespace veltrane::simulated
