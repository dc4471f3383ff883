#pragma once

// The ways that packets take to a subject, today and after the connect. Pure functions.

#include <optional>
#include <vector>

#include "client/forecast/forecast.h"
#include "client/forecast/plan.h"
#include "client/forecast/table.h"

namespace veltrane {

// Finds the one interface that has an address of the machine; nullopt when there is none, or more
// than one.
std::optional<std::uint32_t> InterfaceOf(const std::optional<IpAddress>& address,
                                         const Situation& situation);

// Finds the interface that packets to a link-local address leave by, wherever the table leads.
// nullopt when it is not clear, and for other addresses.
std::optional<std::uint32_t> ZoneOf(const Situation& situation, const Subject& subject);

// Finds the way today; for a connection on the interface of its local address alone, as Windows
// sends
// ("The Cable Guy: Strong and Weak Host Models"). None when that cannot be told.
LookUp FindWayToday(const Situation& situation, const Subject& subject,
                    const std::vector<TableRow>& rows);

// Finds the way after the connect, with the subject pinned or not.
LookUp FindWayAfter(const Situation& situation, const Subject& subject, const Plan& plan, Pin pin,
                    std::vector<TableRow> rows);

// Whether an interface is that of the tunnel which is up now.
bool IsOfTunnelToday(const Situation& situation, std::uint32_t interface_index);

// Describes the way of a row, or the absence of one.
KnownWay DescribeWay(const std::optional<TableRow>& row, const Situation& situation);

}  // namespace veltrane
