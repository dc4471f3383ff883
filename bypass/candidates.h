#pragma once

// Finds the addresses from which the machine is being administered. Everything here only reads; a
// source that fails contributes nothing.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "bypass/records.h"

namespace veltrane {

// Candidates by address, ordered by byte-wise comparison of the text: 10.0.0.9 before 9.9.9.9.
using BypassCandidateMap = std::map<std::string, BypassIpEntry>;

// Collects the candidates of every source in the order of the map. The order in which the sources
// are asked decides which label an address keeps: ADMIN_BYPASS_IP, ADMIN_BYPASS_IPS, established
// Remote Desktop connections ("RDP_TCP_ESTABLISHED"), all required, then session client addresses
// ("WTS"), optional.
std::vector<BypassIpEntry> CollectBypassCandidates();

// Adds one address unless it is not public or is the machine's own. An address that is there keeps
// its source, and becomes required when `required` is set.
void AddBypassCandidate(BypassCandidateMap& candidates, const std::string& ip, const char* source,
                        bool required);

// True for a dotted quad outside 0.0.0.0, 10/8, 127/8, 172.16/12, 192.168/16 and 169.254/16.
// Carrier-grade NAT (RFC 6598), multicast and broadcast addresses pass on purpose.
bool IsPublicIpv4(const std::string& ip);

// The remote addresses of established TCP connections on local port 3389, in table order, one for
// each connection; public ones only.
std::vector<std::string> ListRdpTcpRemoteAddresses();

// The client address of a session when it is a public IPv4 address.
std::optional<std::string> QuerySessionClientAddress(std::uint32_t session_id);

// The tokens of ADMIN_BYPASS_IP followed by those of ADMIN_BYPASS_IPS as they stand.
std::vector<std::string> ListAdminEnvIps();

// Splits at commas, semicolons, blanks, tabs, carriage returns and line feeds; no token is empty.
std::vector<std::string> SplitAddressList(const std::string& text);

// Whether the bypass is switched on: by VELTRANE_POC_ADMIN_BYPASS of the process environment when
// that holds a word it knows, otherwise by either admin variable being set.
bool IsAdminBypassEnabled();

}  // namespace veltrane
