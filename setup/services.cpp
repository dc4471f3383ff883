#include "setup/services.h"

#include <optional>

#include "platform/clock.h"
#include "platform/service_codes.h"
#include "platform/service_facts.h"
#include "platform/services.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kPollMilliseconds = 200;
constexpr int kPollsPerSecond = 5;
constexpr int kEndSeconds = 10;
constexpr int kDeleteSeconds = 10;
constexpr int kStartSeconds = 15;
constexpr std::uint32_t kErrorNoSuchProcess = 87;  // ERROR_INVALID_PARAMETER of OpenProcess

bool IsGone(const std::wstring& name) {
  return ReadServiceFacts(name).Error() == kErrorServiceDoesNotExist;
}

bool HasStopped(const std::wstring& name) {
  const Result<ServiceFacts> facts = ReadServiceFacts(name);
  return facts ? facts->state == kServiceStopped : facts.Error() == kErrorServiceDoesNotExist;
}

// The manager and the service, open for whatever is to be done.
std::optional<Service> Open(const std::wstring& name) {
  std::optional<ServiceManager> manager = ServiceManager::Open(kManagerAllAccess);
  if (!manager) return std::nullopt;
  return manager->OpenExisting(name, kServiceAllAccess);
}

}  // namespace

bool StopService(const std::wstring& name, int seconds) {
  std::uint32_t process_id = 0;
  for (int poll = 0; !HasStopped(name); ++poll) {
    if (poll == seconds * kPollsPerSecond) return false;
    const Result<ServiceFacts> facts = ReadServiceFacts(name);
    if (facts && facts->process_id != 0) process_id = facts->process_id;
    if (facts && facts->state == kServiceRunning) {
      if (std::optional<Service> service = Open(name)) service->SendStop();
    }
    if (!HasStopped(name)) SleepMilliseconds(kPollMilliseconds);
  }
  AwaitProcessEnd(process_id);
  return true;
}

void AwaitProcessEnd(std::uint32_t process_id) {
  for (int poll = 0; poll < kEndSeconds * kPollsPerSecond; ++poll) {
    if (process_id == 0 || ReadProcessStart(process_id).Error() == kErrorNoSuchProcess) return;
    SleepMilliseconds(kPollMilliseconds);
  }
}

bool DeleteService(const std::wstring& name) {
  if (IsGone(name)) return true;
  {
    std::optional<Service> service = Open(name);
    if (!service || !service->Delete()) return IsGone(name);
  }
  for (int poll = 0; poll < kDeleteSeconds * kPollsPerSecond && !IsGone(name); ++poll) {
    SleepMilliseconds(kPollMilliseconds);
  }
  return true;
}

std::uint32_t StartServiceAndWait(const std::wstring& name) {
  std::optional<Service> service = Open(name);
  if (!service) return kErrorServiceDoesNotExist;
  const std::uint32_t error = service->Start();
  if (error != 0 && error != kErrorServiceAlreadyRunning) return error;
  for (int poll = 0; poll < kStartSeconds * kPollsPerSecond; ++poll) {
    const std::optional<std::uint32_t> state = service->QueryState();
    if (state == kServiceRunning) return 0;
    if (state == kServiceStopped) break;
    SleepMilliseconds(kPollMilliseconds);
  }
  return kErrorServiceNotActive;
}

}  // namespace veltrane
