#include "ipc/pipe_access.h"

#include <cstdint>
#include <vector>

#include "platform/sessions.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kReadAndWrite = kGenericRead | kGenericWrite | kSynchronize;

void AddEntry(std::vector<AccessEntry>& entries, const std::optional<Sid>& sid,
              std::uint32_t access_mask) {
  if (!sid) return;
  entries.push_back({.sid = *sid, .trustee_type = TrusteeType::kUser, .access_mask = access_mask});
}

}  // namespace

PipeSecurity BuildPipeSecurity() {
  const std::optional<Sid> console_user = ConsoleUserSid();
  std::vector<AccessEntry> entries;
  AddEntry(entries, MakeSystemSid(), kGenericAll);
  AddEntry(entries, MakeAdministratorsSid(), kGenericAll);
  AddEntry(entries, console_user, kReadAndWrite);
  return MakeSecurityAttributes(entries);
}

std::optional<Sid> ConsoleUserSid() {
  const std::uint32_t session = ActiveConsoleSession();
  if (session == kNoSession) return std::nullopt;
  return ReadSessionUserSid(session);
}

}  // namespace veltrane
