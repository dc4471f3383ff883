#include "ipc/pipe_access.h"

#include <cstdint>
#include <vector>

#include "platform/sessions.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kGenericAll = 0x10000000;
constexpr std::uint32_t kReadWriteSynchronize = 0xC0100000;  // generic read and write, synchronize

void AddEntry(std::vector<AccessEntry>& entries, const std::optional<Sid>& sid,
              std::uint32_t access_mask) {
  if (!sid) return;
  entries.push_back({.sid = *sid, .trustee_type = TrusteeType::kUser, .access_mask = access_mask});
}

}  // namespace

void FreePipeSecurity(SecurityAttributes* attributes) { FreeSecurityAttributes(attributes); }

PipeSecurity BuildPipeSecurity() {
  const std::optional<Sid> console_user = ConsoleUserSid();
  std::vector<AccessEntry> entries;
  AddEntry(entries, MakeNtSid({18}), kGenericAll);       // Local System, S-1-5-18
  AddEntry(entries, MakeNtSid({32, 544}), kGenericAll);  // Administrators, S-1-5-32-544
  AddEntry(entries, console_user, kReadWriteSynchronize);
  return PipeSecurity(MakeSecurityAttributes(entries));
}

std::optional<Sid> ConsoleUserSid() {
  const std::uint32_t session = ActiveConsoleSession();
  if (session == kNoSession) return std::nullopt;
  return ReadSessionUserSid(session);
}

}  // namespace veltrane
