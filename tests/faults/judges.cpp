#include "tests/faults/judges.h"

#include <algorithm>
#include <string>

#include "tests/faults/last_word.h"

namespace veltrane::faults {
namespace {

const std::string kStartupSwitch = "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP";
const std::string kAbortLine = "[Veltrane][startup_guard] abort " + kStartupSwitch + "=1";

std::string CallOf(const std::optional<Fault>& fault) {
  return fault ? std::string(fault->kind.call) : "";
}

// How the process comes to its end: docs/protocol.md, "What ends the service", and
// docs/operations.md, "Modes and exit codes".
std::string ExpectedEnding(const Account& account, const std::optional<Fault>& fault) {
  const std::string call = CallOf(fault);
  const std::string& mode = account.mode;
  if (call == "TestExistence") return kFilesystemError;
  if (call == "Thread.Start" || call == "Mutex.Lock") return kSystemError;
  if (call == "OpenAndClosePipe" && mode == "--run-as-service") return kTerminated;
  if (call == "RunServiceDispatcher") return "exit " + std::to_string(fault->kind.status);
  if (call == "RegisterControlHandler") return "exit 0";
  if (call == "Library.Load") return "exit 2";
  if (call == "Library.Find") return "exit 3";
  const bool no_service = call == "ServiceManager.Open" ||
                          (call == "ServiceManager.Create" && fault->kind.status != 1073);
  if (no_service && mode == "--install") return "exit 1";
  const std::string& meant = account.leads_to;
  if (meant == kAborted) return KnowsOfMachine(account, kStartupSwitch) ? kAborted : kLives;
  if (!meant.starts_with(kExitBeginning)) return kLives;
  return call == "InstallConsoleHandler" ? kKilled : meant;
}

// The line that announces an abort, unless this very line was lost.
bool IsAnnounced(const Account& account) {
  if (account.struck.name == "PrintError" && account.struck.details == kAbortLine) return true;
  return std::find(account.error.begin(), account.error.end(), kAbortLine) != account.error.end();
}

// A request that the pipe has lost has no reply, and every other has one.
void JudgeAnswers(const Account& account, Complaints& complaints) {
  const bool may_lose =
      account.struck.name == "ServerPipe.Read" || account.struck.name == "ServerPipe.Write";
  for (const Exchange& exchange : account.exchanges) {
    if (exchange.reply.empty() && !may_lose) {
      complaints.push_back("no reply to " + exchange.request);
    }
  }
}

}  // namespace

Complaints JudgeEnd(const Account& account, const std::optional<Fault>& fault) {
  if (account.ending == kHung) return {"the run hung or crashed"};
  Complaints complaints;
  if (fault && account.struck.name.empty()) complaints.emplace_back("the call was not made");
  const std::string expected = ExpectedEnding(account, fault);
  if (account.ending != expected) {
    complaints.push_back("the end is " + account.ending + ", not " + expected);
  } else if (account.ending == kLives) {
    JudgeAnswers(account, complaints);
  } else if (account.ending == kAborted && !IsAnnounced(account)) {
    complaints.emplace_back("the abort was not announced");
  }
  const bool tells = !fault && account.ending == kLives && !account.exchanges.empty();
  const std::string word = WordOfLastReply(account);
  if (tells && word != account.leads_to) {
    complaints.push_back("the story leads to " + word + ", not " + account.leads_to);
  }
  return complaints;
}

Complaints JudgeOpen(const Account& account) {
  Complaints complaints;
  const auto judge = [&complaints](const std::vector<std::string>& all, bool serves,
                                   const char* where) {
    for (const std::string& open : all) {
      if (serves && (open == "1 pipes" || open == "1 security records")) continue;
      complaints.push_back(where + open);
    }
  };
  judge(account.open, account.serves, "left open: ");
  judge(account.open_after_connect, account.serves && account.ending == kLives,
        "left open afterwards: ");
  const bool is_program = account.mode == "--run-as-service" || account.mode == "--console";
  // A stop that cannot wake the pipe thread leaves it waiting.
  const bool must_serve =
      is_program && (account.ending == kLives || (account.struck.name == "OpenAndClosePipe" &&
                                                  account.ending.starts_with(kExitBeginning)));
  if (account.serves != must_serve) {
    complaints.emplace_back(must_serve ? "nobody serves the pipe" : "somebody serves the pipe");
  }
  return complaints;
}

Complaints JudgeSecrecy(const Account& account) {
  Complaints complaints;
  const auto search = [&complaints](const std::string& where, const std::string& text) {
    for (const char* key : {"CLIENTKEY", "SERVERKEY", "OTHERKEY", "CLIENTPUB"}) {
      if (text.find(key) != std::string::npos) complaints.push_back("a key is in " + where);
    }
  };
  for (const Exchange& exchange : account.exchanges) search("a reply", exchange.reply);
  search("the reply to the disconnect", account.disconnect.reply);
  search("the reply to the last connect", account.connect.reply);
  for (const Machinery& machinery :
       {account.after, account.after_disconnect, account.after_connect}) {
    for (const std::string& file : machinery.files) {
      const bool has_key =
          file.find(" for ") != std::string::npos || file.find(" in part") != std::string::npos;
      if (has_key && file.ends_with(", open to users"))
        complaints.push_back("open to users: " + file);
    }
  }
  for (const auto& lines : {account.output, account.error, account.debugger}) {
    for (const std::string& line : lines) search("the output", line);
  }
  return complaints;
}

Complaints Judge(const Account& account, const std::optional<Fault>& fault) {
  Complaints all = JudgeEnd(account, fault);
  if (account.ending == kHung) return all;
  for (const Complaints& complaints :
       {JudgeReplies(account), JudgeSecrecy(account), JudgeProtection(account, fault),
        JudgeRoutes(account), JudgeOpen(account), JudgeLeft(account, fault),
        JudgeAftermath(account)}) {
    all.insert(all.end(), complaints.begin(), complaints.end());
  }
  return all;
}

}  // namespace veltrane::faults
