#include "client/survey/registered_facts.h"

#include "guard/settings.h"
#include "platform/clock.h"
#include "platform/registry.h"
#include "platform/service_codes.h"
#include "platform/service_facts.h"
#include "platform/text.h"
#include "service/service_name.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kErrorMoreData = 234;  // ERROR_MORE_DATA: the value does not fit
constexpr std::int64_t kTicksPerMillisecond = kTicksPerSecond / 1000;

// HKEY_CURRENT_USER of the account LocalSystem, under HKEY_USERS.
constexpr wchar_t kSystemEnvironmentKey[] = L"S-1-5-18\\Environment";

struct Times {
  std::int64_t now = 0;
  std::int64_t windows_start = 0;
};

Times ReadTimes() {
  Times times;
  const auto uptime = static_cast<std::int64_t>(UptimeMilliseconds());
  times.now = UtcTicks();
  times.windows_start = times.now - uptime * kTicksPerMillisecond;
  return times;
}

StoredValue ReadStoredValue(RegistryRoot root, const std::wstring& key, const std::wstring& name) {
  const Result<std::wstring> text = FindRegistryText(root, key, name, kRegistryCapacityBytes);
  StoredValue value{.error = text.Error(), .text = text ? WideToUtf8(*text) : ""};
  if (value.error == 0 || value.error == kErrorMoreData) {
    const Result<bool> expandable = TestExpandableText(root, key, name);
    value.expandable = !expandable || *expandable;
  }
  return value;
}

StoredSettings ReadStoredSettings(RegistryRoot root, const std::wstring& key) {
  StoredSettings settings;
  for (std::size_t i = 0; i < settings.size(); ++i) {
    settings[i] = ReadStoredValue(root, key, WidenBytes(kSettingNames[i]));
  }
  return settings;
}

StoredSettings UnreadableSettings() {
  StoredSettings settings;
  settings.fill({.error = kErrorAccessDenied, .text = {}});
  return settings;
}

// Whether a key can be read and has been written before that time alone.
bool IsOlderThan(std::int64_t time, RegistryRoot root, const std::wstring& key) {
  const Result<std::int64_t> written = ReadKeyWriteTime(root, key);
  return written && *written < time;
}

// A service that has no process reads its own value at the next start; so does one that will be
// installed.
bool OwnIsProved(const Result<ServiceFacts>& service, const ServiceEnvironment& own) {
  if (!own.IsKnown()) return false;
  if (!service) return service.Error() == kErrorServiceDoesNotExist;
  if (service->state == kServiceStopped) return true;
  if (service->process_id == 0) return false;
  const Result<std::int64_t> start = ReadProcessStart(service->process_id);
  if (!start || !IsOlderThan(*start, RegistryRoot::kLocalMachine, ServiceKey())) return false;
  const Times times = ReadTimes();
  return *start >= times.windows_start && *start <= times.now;
}

bool StoredIsProved() {
  const std::int64_t start = ReadTimes().windows_start;
  return IsOlderThan(start, RegistryRoot::kLocalMachine, kMachineEnvironmentKey) &&
         IsOlderThan(start, RegistryRoot::kUsers, kSystemEnvironmentKey);
}

// The installer registers the service for LocalSystem.
bool RunsAsSystem(const Result<ServiceFacts>& service) {
  if (!service) return service.Error() == kErrorServiceDoesNotExist;
  return EqualsIgnoreCase(service->account, L"LocalSystem");
}

}  // namespace

RegisteredFacts ReadRegisteredFacts() {
  RegisteredFacts facts;
  const Result<ServiceFacts> service = ReadServiceFacts(kServiceName);
  facts.own = ReadServiceEnvironment();
  facts.machine = ReadStoredSettings(RegistryRoot::kLocalMachine, kMachineEnvironmentKey);
  facts.account = RunsAsSystem(service)
                      ? ReadStoredSettings(RegistryRoot::kUsers, kSystemEnvironmentKey)
                      : UnreadableSettings();
  facts.own_is_proved = OwnIsProved(service, facts.own);
  facts.stored_is_proved = RunsAsSystem(service) && StoredIsProved();
  return facts;
}

}  // namespace veltrane
