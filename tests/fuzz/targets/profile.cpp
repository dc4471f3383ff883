// A connect request: its profile, and the configuration file for that, against the naive reader's.

#include <stdexcept>

#include "ipc/connection_profile.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/naive_codec.h"
#include "tests/fuzz/require.h"
#include "tunnel/wireguard_config.h"

namespace veltrane {
namespace {

void Compare(const ConnectionProfile& profile, const naive::Profile& expected) {
  RequireEqual(profile.node_id, expected.node_id, "node_id");
  RequireEqual(profile.device_id, expected.device_id, "device_id");
  RequireEqual(profile.client_public_key, expected.client_public_key, "client_public_key");
  RequireEqual(profile.display_name, expected.display_name, "display_name");
  RequireEqual(RenderWireGuardConfig(profile), naive::ConfigurationOf(expected),
               "the configuration file has the profile's values");
}

// The exception for a port that is no number, which tells the two reasons apart.
void CompareFailure(const std::string& request, const std::string& text, bool has_digits) {
  const naive::Number port = naive::LeadingNumber(naive::Field(request, "endpoint_port"));
  Require(!port.fits, "a port that fits is read");
  Require(port.has_digits == has_digits, "the exception is that of the reason");
  RequireEqual(text, has_digits ? "stoi argument out of range" : "invalid stoi argument",
               "the exception names the reason");
}

}  // namespace
}  // namespace veltrane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace veltrane;
  const std::string request = Input(data, size).Text();
  try {
    const ConnectionProfile profile = ParseProfile(request);
    const auto expected = naive::ReadProfile(request);
    Require(expected.has_value(), "a port that is no number is refused");
    Compare(profile, *expected);
  } catch (const std::invalid_argument& error) {
    CompareFailure(request, error.what(), false);
  } catch (const std::out_of_range& error) {
    CompareFailure(request, error.what(), true);
  }
  return 0;
}
