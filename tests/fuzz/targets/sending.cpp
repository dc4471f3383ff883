// The values of a profile and a nonce, whatever they are: what veltranectl sends of them.

#include "client/exchange/request.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/naive_codec.h"
#include "tests/fuzz/profile_rules.h"
#include "tests/fuzz/require.h"
#include "tests/simulated/client_side.h"
#include "tests/simulated/machine.h"

namespace veltrane {
namespace {

void CheckRegistration(const std::string& nonce) {
  const RequestBuilding building = RegisterRequest(nonce);
  if (!building.problem.empty()) return RequirePrintable(building.problem, "a problem");
  const std::string request(building.request.View());
  RequireEqual(naive::Field(request, "op"), "register_session", "the operation");
  RequireEqual(naive::Field(request, "session_nonce"), nonce, "the nonce");
  Require(!naive::IsForbidden(request), "a request mentions no configuration path");
}

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  simulated::Machine machine;
  simulated::ClientSide client;
  Input input(data, size);
  const std::string nonce = input.Text();
  Profile profile;
  for (std::size_t i = 0; i < kProfileKeyNames.size(); ++i) {
    profile[static_cast<ProfileKey>(i)] = {SecretText(input.Text()), i + 1};
  }
  CheckRegistration(nonce);
  CheckRequest(profile, nonce);
  CheckProfile(profile, kProfileKeyNames);
  return 0;
}
