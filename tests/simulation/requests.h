#pragma once

#include <string>
#include <vector>

#include "tests/simulation/random.h"

namespace veltrane::simulation {

// Makes up what clients send.
class Requests {
 public:
  explicit Requests(Random& random) : random_(random) {}

  // Requests of clients that know the protocol: one of an operation, or of any.
  std::string Status();
  std::string Connect();
  std::string Disconnect();
  std::string WellFormed();

  // Anything else: what a broken, old or hostile client may send.
  std::string Odd();

 private:
  std::string Damaged(std::string request);

  Random& random_;
  int keys_ = 0;
  std::string nonce_;
};

}  // namespace veltrane::simulation
