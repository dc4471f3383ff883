#include "client/doctor/checks.h"
#include "client/exchange/exchange.h"
#include "client/exchange/request.h"
#include "client/text/quoting.h"
#include "platform/service_codes.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kBusySeconds = 2;

bool IsRunning(const Result<ServiceFacts>& service) {
  return service && service->state == kServiceRunning;
}

// Adds why there is no pipe to talk over.
void AddUnserved(const Preflight& preflight, const ExchangeFailure& failure, Findings& findings) {
  if (failure.kind == FailureKind::kBusy) {
    findings.Warn("served", failure.what + "; look again when it has finished",
                  ".\\veltranectl doctor");
  } else if (failure.kind == FailureKind::kUntrusted) {
    findings.Fail("served",
                  failure.what + "; look again with --any-server if that is in console mode",
                  ".\\veltranectl doctor --any-server");
  } else if (!preflight.any_server && !IsRunning(preflight.service)) {
    // The service not running is a finding already; its pipe does not repeat it.
    findings.Note("served", "no pipe while the service is not running");
  } else {
    findings.Fail("served", failure.what, failure.next);
  }
}

}  // namespace

void CheckPipe(Preflight& preflight, Findings& findings) {
  findings.Begin("pipe");
  ServicePipe service = OpenServicePipe(preflight.any_server, kBusySeconds, [](std::uint32_t) {});
  if (!service.pipe) {
    AddUnserved(preflight, service.failure, findings);
    return;
  }
  findings.Ok("served", preflight.any_server ? "by a program that was not checked"
                                             : "by the service's process");
  const ExchangeResult result =
      Exchange(*service.pipe, PlainRequest("status"), [](std::uint32_t) {});
  if (result.reply) preflight.status = ReadReply(*result.reply);
  if (!preflight.status || !preflight.status->ok) {
    findings.Fail("answers", "no readable reply to a status request",
                  "sc.exe query VeltraneVpnTunnel");
  } else {
    findings.Ok(
        "answers",
        Shown(preflight.status->phase) +
            (preflight.status->node_id.empty() ? "" : " to " + Shown(preflight.status->node_id)));
  }
}

}  // namespace veltrane
