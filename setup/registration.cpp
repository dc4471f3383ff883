#include "setup/registration.h"

#include "client/survey/service_command_lines.h"
#include "client/survey/service_settings.h"
#include "client/text/windows_error.h"
#include "platform/clock.h"
#include "platform/environment.h"
#include "platform/registry.h"
#include "platform/service_codes.h"
#include "platform/service_facts.h"
#include "platform/services.h"
#include "platform/text.h"
#include "service/installer.h"
#include "service/service_name.h"
#include "text/ascii.h"
#include "tunnel/own_service.h"

namespace veltrane {
namespace {

constexpr int kTries = 10;
constexpr std::uint32_t kTryAgainMilliseconds = 1000;
constexpr wchar_t kEnvironment[] = L"Environment";

// Empty when there is no such value.
Result<std::vector<std::wstring>> ReadEnvironment() {
  Result<std::vector<std::wstring>> texts = ReadRegistryTexts(ServiceKey(), kEnvironment);
  if (texts.Error() == kErrorFileNotFound) return std::vector<std::wstring>();
  return texts;
}

std::string InstallPatiently(const std::wstring& program) {
  std::wstring error;
  for (int tries = 1; !InstallService(program, &error); ++tries) {
    if (tries == kTries) return "The service cannot be registered: " + WideToUtf8(error);
    SleepMilliseconds(kTryAgainMilliseconds);
  }
  return {};
}

std::string Configure(const std::wstring& command_line, std::uint32_t start_type) {
  const Result<ServiceFacts> facts = ReadServiceFacts(kServiceName);
  if (!facts) return "The registered service cannot be read" + WindowsError(facts.Error());
  if (facts->command_line == command_line && facts->start_type == start_type) return {};
  std::optional<ServiceManager> manager = ServiceManager::Open(kManagerAllAccess);
  if (!manager) return "The service control manager cannot be opened";
  std::optional<Service> service = manager->OpenExisting(kServiceName, kServiceAllAccess);
  if (!service) return "The registered service cannot be opened";
  ServiceSettings settings = OwnServiceSettings(kServiceName, command_line);
  settings.start_type = start_type;
  return service->ChangeSettings(settings) ? "" : "The service cannot be reconfigured";
}

std::string WriteEnvironment(const std::vector<std::wstring>& environment) {
  const Result<std::vector<std::wstring>> current = ReadEnvironment();
  if (current && *current == environment) return {};
  const std::uint32_t error = environment.empty()
                                  ? RemoveRegistryValue(ServiceKey(), kEnvironment)
                                  : WriteRegistryTexts(ServiceKey(), kEnvironment, environment);
  return error == 0 ? "" : "The settings of the service cannot be written" + WindowsError(error);
}

}  // namespace

Result<Registration> ReadRegistration() {
  const Result<ServiceFacts> facts = ReadServiceFacts(kServiceName);
  if (facts.Error() == kErrorServiceDoesNotExist) return Registration();
  if (!facts) return Result<Registration>::Failure(facts.Error());
  const Result<std::vector<std::wstring>> environment = ReadEnvironment();
  if (!environment) return Result<Registration>::Failure(environment.Error());
  return Registration{.exists = true,
                      .command_line = facts->command_line,
                      .start_type = facts->start_type,
                      .runs = facts->state != kServiceStopped,
                      .environment = *environment};
}

bool RunsProgram(const std::wstring& command_line, const std::wstring& program) {
  return EqualsIgnoreCase(ProgramOf(command_line), program) ||
         EqualsIgnoreCase(command_line.substr(0, program.size() + 1), program + L" ");
}

std::wstring CommandLineOf(const std::wstring& program) {
  return L"\"" + program + L"\" --run-as-service";
}

std::string RegisterService(const Registration& wanted) {
  std::string problem = InstallPatiently(ProgramOf(wanted.command_line));
  if (problem.empty()) problem = Configure(wanted.command_line, wanted.start_type);
  if (problem.empty()) problem = WriteEnvironment(wanted.environment);
  return problem;
}

}  // namespace veltrane
