#pragma once

// What a run has made of the machine: the routes that it created and deleted, and the tunnel.

#include <string>
#include <vector>

#include "tests/faults/account.h"
#include "tests/faults/judges.h"

namespace veltrane::faults {

// A walk through the changes of the forward table.
struct Walk {
  // Recorded as its own by the process that exists at the end of the story: created since a connect
  // last reached the bypass, and not deleted since.
  std::vector<std::string> recorded;
  std::vector<std::string> abandoned;  // recorded by the process that ended in the story
  Complaints complaints;               // routes that were deleted and not recorded
};

Walk WalkThrough(const Account& account);

// What is there of the tunnel, without the name of the service or file: "running for fra-1", "of
// zeros". Empty: it is not there.
struct TunnelTexts {
  std::string service;
  std::string conf;
  std::string temporary;

  bool operator==(const TunnelTexts&) const = default;
};

TunnelTexts TunnelOf(const Machinery& machinery);

// Takes the text out once; false when it is not among them.
bool TakeOne(std::vector<std::string>& texts, const std::string& text);

// Complains unless that holds.
void Expect(bool holds, const std::string& complaint, Complaints& complaints);

}  // namespace veltrane::faults
