#include "tests/simulated/services.h"

#include "platform/service_codes.h"
#include "tests/simulated/machine.h"

namespace veltrane::simulated {
namespace {

constexpr std::uint32_t kAccessDenied = 5;        // ERROR_ACCESS_DENIED
constexpr std::uint32_t kCannotAccept = 1061;     // ERROR_SERVICE_CANNOT_ACCEPT_CTRL
constexpr std::uint32_t kNotActive = 1062;        // ERROR_SERVICE_NOT_ACTIVE
constexpr std::uint32_t kMarkedForDelete = 1072;  // ERROR_SERVICE_MARKED_FOR_DELETE

constexpr std::uint32_t kCreateService = 0x2;  // SC_MANAGER_CREATE_SERVICE
constexpr std::uint32_t kChangeConfig = 0x2;   // SERVICE_CHANGE_CONFIG
constexpr std::uint32_t kStart = 0x10;         // SERVICE_START

bool Grants(const Services::Handle& handle, std::uint32_t right) {
  return (handle.access & (right | kGenericAll)) != 0;
}

bool AsksForDenied(std::uint32_t access, std::uint32_t denied) {
  return (access & denied) != 0 || ((access & kGenericAll) != 0 && denied != 0);
}

void RunHook(const std::function<void()>& hook) {
  if (hook) hook();
}

}  // namespace

void Services::Add(const ServiceSettings& settings, std::uint32_t state) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  auto service = std::make_shared<Installed>();
  service->record.settings = settings;
  service->record.state = state;
  services_[FoldCase(settings.name)] = std::move(service);
}

void Services::Add(const std::wstring& name, std::uint32_t state) {
  ServiceSettings settings;
  settings.name = name;
  Add(settings, state);
}

std::optional<ServiceRecord> Services::Find(const std::wstring& name) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto service = services_.find(FoldCase(name));
  if (service == services_.end()) return std::nullopt;
  return service->second->record;
}

std::vector<std::wstring> Services::Names() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  std::vector<std::wstring> names;
  for (const auto& [key, service] : services_) names.push_back(service->record.settings.name);
  return names;
}

void Services::SetState(const std::wstring& name, std::uint32_t state) {
  std::function<void()> hook;
  {
    const std::lock_guard<std::mutex> lock(core_.mutex);
    hook = Enter(Known(name), state);
  }
  RunHook(hook);
}

void Services::HoldHandle(const std::wstring& name) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  ++Known(name).record.open_handles;
}

void Services::ReleaseHandle(const std::wstring& name) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Installed& service = Known(name);
  --service.record.open_handles;
  DropIfGone(service);
}

int Services::OpenHandles() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return static_cast<int>(program_handles_.size());
}

void Services::DenyManagerAccess(std::uint32_t mask) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  denied_manager_access_ = mask;
}

void Services::DenyServiceAccess(std::uint32_t mask) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  denied_service_access_ = mask;
}

void Services::RunAtOnce() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  after_start_ = AfterStart::kRun;
}

void Services::RunAfterPolls(std::uint32_t polls) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  after_start_ = AfterStart::kRunLater;
  start_polls_ = polls;
}

void Services::StopRightAfterStart() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  after_start_ = AfterStart::kStop;
}

void Services::StopAtOnce() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  after_stop_ = AfterStop::kStop;
}

void Services::StopAfterPolls(std::uint32_t polls) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  after_stop_ = AfterStop::kStopLater;
  stop_polls_ = polls;
}

void Services::NeverStop() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  after_stop_ = AfterStop::kNever;
}

void Services::LetMarkedServicesWork() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  marked_services_work_ = true;
}

void Services::OnRunning(Hook hook) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  on_running_ = std::move(hook);
}

void Services::OnStopped(Hook hook) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  on_stopped_ = std::move(hook);
}

Services::Handle* Services::OpenManager(std::uint32_t access) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (AsksForDenied(access, denied_manager_access_)) return nullptr;
  return OpenLocked(nullptr, access);
}

Services::Handle* Services::Open(const std::wstring& name, std::uint32_t access) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto service = services_.find(FoldCase(name));
  if (service == services_.end()) return nullptr;
  if (AsksForDenied(access, denied_service_access_)) return nullptr;
  return OpenLocked(service->second, access);
}

std::pair<Services::Handle*, std::uint32_t> Services::Create(const Handle& manager,
                                                             const ServiceSettings& settings) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (!Grants(manager, kCreateService)) return {nullptr, kAccessDenied};
  std::shared_ptr<Installed>& place = services_[FoldCase(settings.name)];
  if (place != nullptr) {
    return {nullptr, place->record.marked_for_delete ? kMarkedForDelete : kErrorServiceExists};
  }
  place = std::make_shared<Installed>();
  place->record.settings = settings;
  return {OpenLocked(place, settings.access), 0};
}

void Services::Close(Handle* handle) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (program_handles_.erase(handle) != 0) CloseLocked(handle);
  delete handle;
}

void Services::EndProcess() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  for (Handle* handle : program_handles_) CloseLocked(handle);
  program_handles_.clear();
}

void Services::CloseLocked(Handle* handle) {
  if (handle->service != nullptr) {
    --handle->service->record.open_handles;
    DropIfGone(*handle->service);
  }
}

std::uint32_t Services::ChangeCommandLine(const Handle& handle, const std::wstring& command_line) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (const std::uint32_t error = CheckChange(handle, kChangeConfig); error != 0) return error;
  handle.service->record.settings.command_line = command_line;
  return 0;
}

std::uint32_t Services::ChangeSettings(const Handle& handle, const ServiceSettings& settings) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (const std::uint32_t error = CheckChange(handle, kChangeConfig); error != 0) return error;
  ServiceSettings& current = handle.service->record.settings;
  current.display_name = settings.display_name;
  current.type = settings.type;
  current.start_type = settings.start_type;
  current.error_control = settings.error_control;
  current.command_line = settings.command_line;
  current.dependencies = settings.dependencies;
  return 0;
}

std::uint32_t Services::SetSidType(const Handle& handle, std::uint32_t sid_type) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (const std::uint32_t error = CheckChange(handle, kChangeConfig); error != 0) return error;
  handle.service->record.sid_type = sid_type;
  return 0;
}

std::uint32_t Services::Start(const Handle& handle) {
  std::function<void()> hook;
  {
    const std::lock_guard<std::mutex> lock(core_.mutex);
    if (const std::uint32_t error = CheckChange(handle, kStart); error != 0) return error;
    Installed& service = *handle.service;
    if (service.record.state != kStopped) return kErrorServiceAlreadyRunning;
    hook = Enter(service, after_start_ == AfterStart::kRun ? kRunning : kStartPending);
    if (after_start_ == AfterStart::kRunLater) service.pending = {start_polls_, kRunning};
    if (after_start_ == AfterStart::kStop) hook = Enter(service, kStopped);
  }
  RunHook(hook);
  return 0;
}

std::uint32_t Services::SendStop(const Handle& handle) {
  std::function<void()> hook;
  {
    const std::lock_guard<std::mutex> lock(core_.mutex);
    if (!Grants(handle, kServiceStop)) return kAccessDenied;
    Installed& service = *handle.service;
    if (service.record.state == kStopped) return kNotActive;
    if (service.record.state != kRunning) return kCannotAccept;
    hook = Enter(service, after_stop_ == AfterStop::kStop ? kStopped : kStopPending);
    if (after_stop_ == AfterStop::kStopLater) service.pending = {stop_polls_, kStopped};
  }
  RunHook(hook);
  return 0;
}

std::optional<std::uint32_t> Services::QueryState(const Handle& handle) {
  std::function<void()> hook;
  std::uint32_t state = 0;
  {
    const std::lock_guard<std::mutex> lock(core_.mutex);
    if (!Grants(handle, kServiceQueryStatus)) return std::nullopt;
    Installed& service = *handle.service;
    if (service.pending && service.pending->polls-- == 0) {
      hook = Enter(service, service.pending->state);
    }
    state = service.record.state;
  }
  RunHook(hook);
  return state;
}

std::uint32_t Services::Delete(const Handle& handle) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (!Grants(handle, kDelete)) return kAccessDenied;
  if (handle.service->record.marked_for_delete) return kMarkedForDelete;
  handle.service->record.marked_for_delete = true;
  return 0;
}

Services::Handle* Services::OpenLocked(std::shared_ptr<Installed> service, std::uint32_t access) {
  if (service != nullptr) ++service->record.open_handles;
  return *program_handles_.insert(new Handle{std::move(service), access}).first;
}

Services::Installed& Services::Known(const std::wstring& name) const {
  const auto service = services_.find(FoldCase(name));
  if (service == services_.end()) Die("no service is installed as " + Narrow(name));
  return *service->second;
}

void Services::DropIfGone(const Installed& service) {
  const ServiceRecord& record = service.record;
  if (!record.marked_for_delete || record.state != kStopped || record.open_handles != 0) return;
  const auto place = services_.find(FoldCase(record.settings.name));
  if (place != services_.end() && place->second.get() == &service) services_.erase(place);
}

std::uint32_t Services::CheckChange(const Handle& handle, std::uint32_t right) const {
  if (!Grants(handle, right)) return kAccessDenied;
  const bool usable = !handle.service->record.marked_for_delete || marked_services_work_;
  return usable ? 0 : kMarkedForDelete;
}

std::function<void()> Services::Enter(Installed& service, std::uint32_t state) {
  const std::uint32_t before = service.record.state;
  service.record.state = state;
  service.pending.reset();
  std::function<void()> call;
  if (state != before) {
    const Hook& hook = state == kRunning ? on_running_ : on_stopped_;
    if ((state == kRunning || state == kStopped) && hook) {
      call = [hook, name = service.record.settings.name] { hook(name); };
    }
  }
  DropIfGone(service);
  return call;
}

}  // namespace veltrane::simulated
