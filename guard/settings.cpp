#include "guard/settings.h"

#include "platform/environment.h"
#include "platform/sessions.h"
#include "platform/text.h"
#include "text/ascii.h"
#include "text/decimal.h"

namespace veltrane {

EnvValue ReadEnvAllScopes(const std::wstring& name) {
  EnvValue value;
  value.process = WideToUtf8(ReadProcessVariable(name, kProcessCapacity));
  value.machine = WideToUtf8(ReadRegistryText(RegistryRoot::kLocalMachine, kMachineEnvironmentKey,
                                              name, kRegistryCapacityBytes));
  value.user = WideToUtf8(ReadRegistryText(RegistryRoot::kCurrentUser, kUserEnvironmentKey, name,
                                           kRegistryCapacityBytes));
  value.effective = !value.process.empty()   ? value.process
                    : !value.machine.empty() ? value.machine
                                             : value.user;
  return value;
}

std::string ReadEnvSetting(const std::wstring& name) { return ReadEnvAllScopes(name).effective; }

bool ParseEnvBool(const std::string& text) {
  const std::string lowered = AsciiToLower(text);
  return lowered == "1" || lowered == "true" || lowered == "yes" || lowered == "on";
}

std::int32_t ParseEnvPositiveInt(const std::string& text, std::int32_t default_value) {
  const Decimal number = ReadDecimal(text);
  if (number.error != DecimalError::kNone || number.value < 1) return default_value;
  return number.value;
}

std::int32_t AutoStopSeconds() {
  return ParseEnvPositiveInt(ReadEnvSetting(L"VELTRANE_POC_AUTO_STOP_SECONDS"), 0);
}

void ReadGuardSettings(RouteGuardResult& result) {
  result.rdp_session_active = IsRemoteSession();

  const EnvValue disable = ReadEnvAllScopes(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE");
  result.process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = disable.process;
  result.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = disable.machine;
  result.user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = disable.user;
  result.effective_disable_default_route = ParseEnvBool(disable.effective);

  const EnvValue auto_stop = ReadEnvAllScopes(L"VELTRANE_POC_AUTO_STOP_SECONDS");
  result.process_env_VELTRANE_POC_AUTO_STOP_SECONDS = auto_stop.process;
  result.machine_env_VELTRANE_POC_AUTO_STOP_SECONDS = auto_stop.machine;
  result.user_env_VELTRANE_POC_AUTO_STOP_SECONDS = auto_stop.user;
  result.auto_stop_seconds = ParseEnvPositiveInt(auto_stop.effective, 0);
  result.effective_auto_stop_seconds = result.auto_stop_seconds;

  if (result.rdp_session_active && ParseEnvBool(disable.machine) &&
      !result.effective_disable_default_route) {
    result.poc_env_read_failed = true;
    result.poc_route_guard_failed = true;
    result.failure_reason = "poc_env_read_failed";
    result.message = "Machine VELTRANE_POC_DISABLE_DEFAULT_ROUTE unreadable or invalid";
  }
}

}  // namespace veltrane
