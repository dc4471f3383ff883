#pragma once

// The members of the two reports, in order, as docs/protocol.md lists them.

#include <string>
#include <string_view>
#include <vector>

namespace veltrane {

// What a member is; the last two are arrays.
enum class Kind { kFlag, kNumber, kText, kTexts, kObjects };

struct Member {
  std::string_view name;
  Kind kind = Kind::kText;
  bool always = true;                            // else it is left out when its text is empty
  const std::vector<Member>* objects = nullptr;  // the members of each object
};

extern const std::vector<Member> kBypassMembers;
extern const std::vector<Member> kGuardMembers;

// The guard report of a reply that does not query the guard.
extern const std::string kUnaskedGuardReport;

}  // namespace veltrane
