#include "client/survey/service_settings.h"

#include "bypass/candidates.h"
#include "client/survey/registered_settings.h"
#include "guard/settings.h"
#include "platform/environment.h"
#include "platform/sessions.h"
#include "platform/text.h"
#include "service/service_name.h"
#include "text/ascii.h"

namespace veltrane {
namespace {

std::string ReadOwnValue(Setting setting) {
  const std::wstring name = WidenBytes(kSettingNames[static_cast<std::size_t>(setting)]);
  if (setting != Setting::kBypassSwitch) return ReadEnvSetting(name);
  return WideToUtf8(ReadProcessVariable(name, kSwitchCapacity));
}

}  // namespace

std::vector<std::string> ServiceEnvironment::ValuesOf(const std::string& name) const {
  const std::string beginning = AsciiToLower(name) + "=";
  std::vector<std::string> values;
  for (const std::string& entry : entries) {
    if (AsciiToLower(entry.substr(0, beginning.size())) == beginning) {
      values.push_back(entry.substr(beginning.size()));
    }
  }
  return values;
}

std::string ServiceEnvironment::ValueOf(const std::string& name) const {
  const std::vector<std::string> values = ValuesOf(name);
  return values.empty() ? "" : values.back();
}

std::wstring ServiceKey() {
  return std::wstring(L"SYSTEM\\CurrentControlSet\\Services\\") + kServiceName;
}

ServiceEnvironment ReadServiceEnvironment() {
  const Result<std::vector<std::wstring>> texts = ReadRegistryTexts(ServiceKey(), L"Environment");
  ServiceEnvironment environment{.error = texts.Error(), .entries = {}};
  if (!texts) return environment;
  for (const std::wstring& text : *texts) environment.entries.push_back(WideToUtf8(text));
  return environment;
}

KnownSettings ReadOwnSettings() {
  KnownSettings settings;
  for (std::size_t i = 0; i < settings.values.size(); ++i) {
    settings.values[i] = ReadOwnValue(static_cast<Setting>(i));
  }
  const std::wstring guard = WidenBytes(kSettingNames[static_cast<std::size_t>(Setting::kGuard)]);
  settings.in_remote_session = IsRemoteSession();
  settings.machine_guard = ParseEnvBool(ReadEnvAllScopes(guard).machine);
  return settings;
}

KnownSettings ReadRegisteredSettings() { return FindRegisteredSettings(ReadRegisteredFacts()); }

}  // namespace veltrane
