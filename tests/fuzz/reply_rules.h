#pragma once

// The rules of docs/protocol.md for the two reports at the end of a reply, in a reader of their own
// that accepts nothing else.

#include <map>
#include <string>

namespace veltrane {

// The members of a report by name: strings without their quotes and escapes, everything else as it
// is written.
using ReportMembers = std::map<std::string, std::string>;

struct ReplyReports {
  ReportMembers bypass;
  ReportMembers guard;
};

// Reads the end of a reply from the comma before "admin_bypass" to its closing brace. Ends the
// process unless every member is there, in order and in its form, and they agree with each other.
ReplyReports ReadReports(const std::string& end_of_reply);

// An error reply with reports.
struct ErrorReply {
  std::string error;
  std::string message;
  ReplyReports reports;
};

// Reads an error reply with reports, and checks that the reports agree with the error.
ErrorReply ReadErrorReply(const std::string& reply);

}  // namespace veltrane
