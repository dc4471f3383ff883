#include "tests/simulated/security.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {
namespace {

// The SID structure: revision, count, six bytes of authority, then the sub-authorities, four bytes
// each with the lowest first ([MS-DTYP] 2.4.2.2).
constexpr std::size_t kHeaderBytes = 8;
constexpr std::size_t kMostSubAuthorities = 8;  // of AllocateAndInitializeSid
constexpr unsigned char kNtAuthority = 5;

std::optional<Sid> BuildNtSid(const std::vector<std::uint32_t>& sub_authorities) {
  const std::size_t count = sub_authorities.size();
  if (count > kMostSubAuthorities) return std::nullopt;
  Sid sid;
  sid.bytes = {1, static_cast<unsigned char>(count), 0, 0, 0, 0, 0, kNtAuthority};
  for (const std::uint32_t sub_authority : sub_authorities) {
    for (const unsigned shift : {0U, 8U, 16U, 24U}) {
      sid.bytes.push_back(static_cast<unsigned char>(sub_authority >> shift & 0xFF));
    }
  }
  return sid;
}

bool IsValid(const Sid& sid) {
  return sid.bytes.size() >= kHeaderBytes && sid.bytes.size() == kHeaderBytes + sid.bytes[1] * 4U;
}

}  // namespace

std::string SidText(const Sid& sid) {
  if (!IsValid(sid)) return "invalid SID";
  std::string text = "S-" + std::to_string(sid.bytes[0]) + "-" + std::to_string(sid.bytes[7]);
  for (std::size_t at = kHeaderBytes; at < sid.bytes.size(); at += 4) {
    const std::uint32_t sub_authority = sid.bytes[at] |
                                        static_cast<std::uint32_t>(sid.bytes[at + 1]) << 8 |
                                        static_cast<std::uint32_t>(sid.bytes[at + 2]) << 16 |
                                        static_cast<std::uint32_t>(sid.bytes[at + 3]) << 24;
    text += "-" + std::to_string(sub_authority);
  }
  return text;
}

bool MakesAccessList(const std::vector<AccessEntry>& entries) {
  return !entries.empty() &&
         std::all_of(entries.begin(), entries.end(),
                     [](const AccessEntry& entry) { return IsValid(entry.sid); });
}

std::string AccessText(const AccessEntry& entry) {
  char rights[40];
  std::snprintf(rights, sizeof(rights), " 0x%08x inherit %u", entry.access_mask, entry.inheritance);
  const std::string type = entry.trustee_type == TrusteeType::kGroup ? "group " : "user ";
  return type + SidText(entry.sid) + rights;
}

std::vector<std::string> AccessTexts(const std::vector<AccessEntry>& entries) {
  std::vector<std::string> texts;
  for (const AccessEntry& entry : entries) texts.push_back(AccessText(entry));
  return texts;
}

Sid NtSid(const std::vector<std::uint32_t>& sub_authorities) {
  const std::optional<Sid> sid = BuildNtSid(sub_authorities);
  if (!sid) Die("a SID has eight sub-authorities at most");
  return *sid;
}

std::size_t Security::LiveRecords() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return live_;
}

void Security::CountRecord(bool made) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (made) {
    ++live_;
  } else {
    --live_;
  }
}

void Security::EndProcess() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  live_ = 0;
}

}  // namespace simulated

using simulated::Machine;

std::optional<Sid> MakeNtSid(const std::vector<std::uint32_t>& sub_authorities) {
  const std::optional<Sid> sid = simulated::BuildNtSid(sub_authorities);
  const std::string text = sid ? simulated::SidText(*sid) : "invalid SID";
  if (Machine::Current().calls.Begin("MakeNtSid", text)) return std::nullopt;
  return sid;
}

SecurityAttributesOwner MakeSecurityAttributes(const std::vector<AccessEntry>& entries) {
  Machine& machine = Machine::Current();
  const std::string text = std::to_string(entries.size()) + " entries";
  if (machine.calls.Begin("MakeSecurityAttributes", text)) return nullptr;
  if (!simulated::MakesAccessList(entries)) return nullptr;
  machine.security.CountRecord(true);
  return SecurityAttributesOwner(new SecurityAttributes{entries});
}

void FreeSecurityAttributes(SecurityAttributes* attributes) noexcept {
  Machine& machine = Machine::Current();
  machine.calls.Begin("FreeSecurityAttributes");
  machine.security.CountRecord(false);
  delete attributes;
}

}  // namespace veltrane
