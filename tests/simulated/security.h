#pragma once

// Security identifiers and the records made from access lists.

#include <cstddef>
#include <string>
#include <vector>

#include "platform/security.h"
#include "tests/simulated/core.h"

namespace veltrane {

// The simulated record: the access list alone.
struct SecurityAttributes {
  std::vector<AccessEntry> entries;
};

}  // namespace veltrane

namespace veltrane::simulated {

// "S-1-5-32-544".
std::string SidText(const Sid& sid);

// Whether Windows makes an access list of these entries: there is one, and every SID is valid.
bool MakesAccessList(const std::vector<AccessEntry>& entries);

// "user S-1-5-18 0x10000000 inherit 3".
std::string AccessText(const AccessEntry& entry);
std::vector<std::string> AccessTexts(const std::vector<AccessEntry>& entries);

// A SID of the NT authority for use in tests: NtSid({21, 1, 2, 3, 1001}) is S-1-5-21-1-2-3-1001.
Sid NtSid(const std::vector<std::uint32_t>& sub_authorities);

// Every member may be called on any thread.
class Security {
 public:
  explicit Security(Core& core) : core_(core) {}

  // The records that were made and not freed.
  std::size_t LiveRecords() const;

  // For the boundary functions.
  void CountRecord(bool made);
  void EndProcess();

 private:
  Core& core_;
  std::size_t live_ = 0;
};

}  // namespace veltrane::simulated
