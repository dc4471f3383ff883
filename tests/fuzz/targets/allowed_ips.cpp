// The guard's flag and a profile: what the patch of AllowedIPs makes of them.

#include "guard/allowed_ips.h"

#include "tests/fuzz/input.h"
#include "tests/fuzz/naive_codec.h"
#include "tests/fuzz/require.h"
#include "tunnel/wireguard_config.h"

namespace veltrane {
namespace {

ConnectionProfile ProfileOf(Input& input) {
  ConnectionProfile profile;
  profile.address_cidr = input.Text();
  profile.allowed_ips_csv = input.Text();
  profile.dns_csv = input.Text();
  profile.endpoint_host = input.Text();
  profile.client_private_key = input.Text();
  profile.server_public_key = input.Text();
  profile.pre_shared_key = input.Text();
  return profile;
}

// The file that the guard should leave to be written.
std::string ExpectedFile(const ConnectionProfile& profile) {
  naive::Profile expected;
  expected.address = profile.address_cidr;
  expected.allowed_ips = naive::GuardedAllowedIps(profile.allowed_ips_csv, profile.address_cidr);
  expected.endpoint_host = profile.endpoint_host;
  expected.client_private_key = profile.client_private_key;
  expected.server_public_key = profile.server_public_key;
  expected.pre_shared_key = profile.pre_shared_key;
  return naive::ConfigurationOf(expected);
}

// Without the guard the profile is left as it is.
void CheckUnguarded(ConnectionProfile profile) {
  const std::string file = RenderWireGuardConfig(profile);
  RouteGuardResult result;
  PatchAllowedIps(profile, result);
  RequireEqual(RenderWireGuardConfig(profile), file, "without the guard nothing changes");
  RequireEqual(result.generated_allowed_ips_before, profile.allowed_ips_csv, "AllowedIPs before");
  RequireEqual(result.generated_allowed_ips_after, "", "AllowedIPs after, without the guard");
  RequireEqual(result.message, "disable-default-route not active", "the message without the guard");
  RequireEqual(result.failure_reason, "", "the reason without the guard");
  Require(!result.poc_route_guard_failed, "without the guard nothing is refused");
}

void CheckOutcome(const RouteGuardResult& result, const std::string& file) {
  const bool refused = naive::HasCatchAll(file);
  Require(result.poc_route_guard_failed == refused,
          "a profile is refused exactly when a catch-all is left anywhere in its file");
  RequireEqual(result.failure_reason, refused ? "poc_route_guard_failed" : "", "the reason");
  RequireEqual(result.message,
               refused ? "generated WireGuard config still contains catch-all AllowedIPs"
                       : "POC safe AllowedIPs applied (no catch-all)",
               "the message");
}

void CheckGuarded(ConnectionProfile profile) {
  const std::string before = profile.allowed_ips_csv;
  const std::string file = ExpectedFile(profile);
  RouteGuardResult result;
  result.effective_disable_default_route = true;
  PatchAllowedIps(profile, result);
  RequireEqual(RenderWireGuardConfig(profile), file, "the file that the guard leaves");
  RequireEqual(result.generated_allowed_ips_before, before, "AllowedIPs before");
  RequireEqual(result.generated_allowed_ips_after, profile.allowed_ips_csv, "AllowedIPs after");
  Require(!ContainsCatchAll(profile.allowed_ips_csv), "no catch-all is left in AllowedIPs");
  CheckOutcome(result, file);

  RouteGuardResult again;
  again.effective_disable_default_route = true;
  PatchAllowedIps(profile, again);
  RequireEqual(RenderWireGuardConfig(profile), file, "a second patch changes nothing");
  RequireEqual(again.generated_allowed_ips_after, again.generated_allowed_ips_before,
               "a second patch finds nothing to replace");
}

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  Input input(data, size);
  const ConnectionProfile profile = ProfileOf(input);
  CheckUnguarded(profile);
  CheckGuarded(profile);
  return 0;
}
