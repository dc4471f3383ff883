#include "setup/tunnel_end.h"

#include "client/exchange/exchange.h"
#include "client/exchange/reply.h"
#include "client/exchange/request.h"
#include "client/survey/service_settings.h"
#include "guard/settings.h"
#include "platform/service_codes.h"
#include "platform/service_facts.h"
#include "setup/registration.h"
#include "setup/services.h"
#include "text/ascii.h"
#include "tunnel/tunnel_manager.h"

namespace veltrane {
namespace {

constexpr char kStartupSwitch[] = "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";
constexpr std::uint32_t kBusySeconds = 30;
constexpr int kStopSeconds = 30;

// A disconnect would then end the service before it changes anything.
bool ServiceChangesNothing() {
  const std::string own = ReadServiceEnvironment().ValueOf(kStartupSwitch);
  return ParseEnvBool(own.empty() ? ReadEnvAllScopes(WidenBytes(kStartupSwitch)).machine : own);
}

// What came of asking the control service.
std::string Disconnect() {
  const WaitObserver nothing = [](std::uint32_t) {};
  ServicePipe service = OpenServicePipe(false, kBusySeconds, nothing);
  if (!service.pipe) return service.failure.what;
  const ExchangeResult result = Exchange(*service.pipe, PlainRequest("disconnect"), nothing);
  if (!result.reply) return result.failure.what;
  const std::optional<Reply> reply = ReadReply(*result.reply);
  return reply && reply->ok ? "the service has disconnected" : "the service refused to disconnect";
}

}  // namespace

TunnelState ReadTunnelState() {
  const Result<ServiceFacts> tunnel = ReadServiceFacts(kTunnelServiceName);
  if (tunnel) return tunnel->state == kServiceStopped ? TunnelState::kDown : TunnelState::kUp;
  return tunnel.Error() == kErrorServiceDoesNotExist ? TunnelState::kDown : TunnelState::kUnknown;
}

bool TunnelRuns(const std::wstring& program) {
  const Result<ServiceFacts> tunnel = ReadServiceFacts(kTunnelServiceName);
  return tunnel && RunsProgram(tunnel->command_line, program);
}

std::string BringTunnelDown(InstallerSession& session) {
  if (ReadTunnelState() == TunnelState::kDown) return {};
  const Result<ServiceFacts> tunnel = ReadServiceFacts(kTunnelServiceName);
  session.Note("Veltrane VPN: A tunnel is up: " +
               (ServiceChangesNothing() ? kStartupSwitch + std::string(" is on") : Disconnect()) +
               ".");
  if (ReadTunnelState() == TunnelState::kDown) {
    AwaitProcessEnd(tunnel ? tunnel->process_id : 0);
    return {};
  }
  session.Note("Veltrane VPN: The tunnel is still up: its service is being stopped.");
  if (StopService(kTunnelServiceName, kStopSeconds)) return {};
  return "The tunnel does not stop; end the process \"VeltraneVpnService.exe /service ...\" and "
         "try "
         "again";
}

}  // namespace veltrane
