#pragma once

// The forecast in words and as JSON. Pure functions.

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "client/forecast/forecast.h"

namespace veltrane {

// "stays", "tunnel", ...: the words that programs read.
const char* VerdictWord(ForecastVerdict verdict);

// "rdp_connection", "setting", "asked", "rdp_session", "ssh_connection" or "winrm_connection".
const char* ReasonWord(SubjectReason reason);

// Whether somebody who is connected now would be in danger: every verdict but stays and refused.
bool Endangers(const Outlook& outlook);

// Returns the outlooks from the worst verdict to the best; equal ones keep their order.
std::vector<Outlook> WorstFirst(std::vector<Outlook> outlooks);

// Who it is and what would happen, in a few words: "connected over Remote Desktop: stays".
std::string SummaryOf(const Outlook& outlook);

// Why, and by which way; empty when there is nothing to say. `assumed` says that the service's
// settings are assumed to be those of this process.
std::string DetailOf(const Outlook& outlook, bool assumed);

// What to do about it, in words or as a command; empty when there is nothing to do.
std::string FixOf(const Outlook& outlook);

// The member "forecast" (docs/schema/doctor.schema.json), in the order of the outlooks.
nlohmann::ordered_json ForecastJson(const std::vector<Outlook>& outlooks, bool assumed);

}  // namespace veltrane
