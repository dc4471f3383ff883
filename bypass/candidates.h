#pragma once

// Finds the addresses from which the machine is administered. Only reads; a source that fails
// contributes nothing.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "bypass/records.h"

namespace veltrane {

// The local port of the connections whose peers are candidates.
inline constexpr std::uint32_t kRdpPort = 3389;

// The buffer for VELTRANE_POC_ADMIN_BYPASS in wide characters, terminating zero included: a longer
// value counts as absent.
inline constexpr std::size_t kSwitchCapacity = 16;

// Candidates by address, sorted as strings: 10.0.0.9 comes before 9.9.9.9.
using BypassCandidateMap = std::map<std::string, BypassIpEntry>;

// Collects the candidates of every source, in map order. An address keeps the label of the first
// source that has it: ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, established Remote Desktop connections
// ("RDP_TCP_ESTABLISHED"), session client addresses ("WTS"). The first three are required, the last
// is optional.
std::vector<BypassIpEntry> CollectBypassCandidates();

// Adds an address if it is public and not the machine's own. An address that is already present
// keeps its source, and becomes required if `required` is set.
void AddBypassCandidate(BypassCandidateMap& candidates, const std::string& ip, const char* source,
                        bool required);

// Returns true for a dotted quad other than 0.0.0.0 and outside 10/8, 127/8, 172.16/12, 192.168/16
// and 169.254/16. Deliberately accepts carrier-grade NAT (RFC 6598), multicast and broadcast
// addresses.
bool IsPublicIpv4(const std::string& ip);

// Returns the public remote addresses of established TCP connections to local port 3389, in table
// order, one per connection.
std::vector<std::string> ListRdpTcpRemoteAddresses();

// Returns the client address of a session; nullopt unless it is a public IPv4 address.
std::optional<std::string> QuerySessionClientAddress(std::uint32_t session_id);

// Returns the tokens of ADMIN_BYPASS_IP, then those of ADMIN_BYPASS_IPS, unfiltered.
std::vector<std::string> ListAdminEnvIps();

// Splits at commas, semicolons, spaces, tabs, carriage returns and line feeds; drops empty tokens.
std::vector<std::string> SplitAddressList(const std::string& text);

// Returns whether the bypass is enabled. VELTRANE_POC_ADMIN_BYPASS in the process environment
// decides if it is 1, true, yes, 0, false or no in any case; otherwise the bypass is enabled if
// ADMIN_BYPASS_IP or ADMIN_BYPASS_IPS is set.
bool IsAdminBypassEnabled();

}  // namespace veltrane
