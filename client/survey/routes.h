#pragma once

// The forward tables and the interfaces, as the forecast takes them.

#include <cstdint>
#include <optional>
#include <vector>

#include "client/forecast/situation.h"

namespace veltrane {

// Converts an IPv4 address in network byte order.
IpAddress Ipv4Address(std::uint32_t address);

// Read the tables (ReadForwardTable; ReadIpv6Routes, to whose metrics those of the interfaces are
// added). nullopt also when a mask is not a prefix, or the metric of an interface is unreadable.
std::optional<std::vector<IpRoute>> SurveyIpv4Routes();
std::optional<std::vector<IpRoute>> SurveyIpv6Routes();

// The service's question for the gateway. All zeros when it fails because no route of the table
// leads there, which the service finds too; nullopt when it fails for another reason.
std::optional<Way> SurveyGateway(const std::optional<std::vector<IpRoute>>& ipv4_routes);

// Reads the facts of every interface that the tables or the own addresses name, by rising index.
std::vector<InterfaceFacts> SurveyInterfaces(const Situation& situation);

}  // namespace veltrane
