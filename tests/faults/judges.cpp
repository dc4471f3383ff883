#include "tests/faults/judges.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>

namespace veltrane::faults {
namespace {

bool IsOneOf(std::string_view text, std::initializer_list<std::string_view> others) {
  return std::find(others.begin(), others.end(), text) != others.end();
}

std::string CallOf(const std::optional<Fault>& fault) {
  return fault ? std::string(fault->kind.call) : "";
}

bool Says(const std::vector<std::string>& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

bool IsPinned(const std::string& ip, const Machinery& machinery) {
  return std::any_of(machinery.routes.begin(), machinery.routes.end(),
                     [&ip](const std::string& route) {
                       if (!route.starts_with(ip + "/32 via 192.168.1.1 if 12 ")) return false;
                       return std::stoul(route.substr(route.rfind(' ') + 1)) <= 15;
                     });
}

// Why a process may end by itself: docs/protocol.md, "What ends the service".
bool MayEndLikeThis(const Account& account, const std::string& call) {
  const std::string& ending = account.ending;
  if (ending == kFilesystemError) return call == "TestExistence";
  if (ending == kSystemError) return call == "Thread.Start" || call == "Mutex.Lock";
  if (ending == kTerminated)
    return call == "OpenAndClosePipe" && account.mode == "--run-as-service";
  if (ending == kAborted) {
    return Says(account.error,
                "[Veltrane][startup_guard] abort "
                "VELTRANE_POC_DISABLE_ALL_NETWORK_MUTATION_ON_STARTUP=1") ||
           call == "PrintError";
  }
  return false;
}

// The exit codes: docs/operations.md, "Modes and exit codes".
std::string ExpectedExit(const Account& account, const Fault& fault) {
  const std::string call(fault.kind.call);
  if (account.mode == "--install") {
    const bool fails = call == "ServiceManager.Open" ||
                       (call == "ServiceManager.Create" && fault.kind.status != 1073);
    return fails ? "exit 1" : "exit 0";
  }
  if (account.mode == "--run-as-service" && call == "RunServiceDispatcher") {
    return "exit " + std::to_string(fault.kind.status);
  }
  if (account.mode == "/service" && call == "Library.Load") return "exit 2";
  if (account.mode == "/service" && call == "Library.Find") return "exit 3";
  return "exit 0";
}

}  // namespace

Complaints JudgeEnd(const Account& account, const std::optional<Fault>& fault) {
  Complaints complaints;
  const std::string call = CallOf(fault);
  if (account.ending == kHung) return {"the run hung or crashed"};
  if (fault && !account.struck) complaints.emplace_back("the call was not made");
  if (account.ending == kLives) {
    for (const Exchange& exchange : account.exchanges) {
      if (exchange.reply.empty() && !IsOneOf(call, {"ServerPipe.Read", "ServerPipe.Write"})) {
        complaints.push_back("no reply to " + exchange.request);
      }
    }
    if (call == "TestExistence") complaints.emplace_back("the process should have ended");
  } else if (account.ending.starts_with(kExitBeginning)) {
    const std::string expected = ExpectedExit(account, fault.value_or(Fault{}));
    if (account.ending != expected) complaints.push_back(account.ending + ", not " + expected);
  } else if (!MayEndLikeThis(account, call)) {
    complaints.push_back("the process ended for no documented reason: " + account.ending);
  }
  return complaints;
}

Complaints JudgeOpen(const Account& account, const std::optional<Fault>& fault) {
  // The system closes what a process that ends has open, and a stop that cannot wake the pipe
  // thread leaves it waiting.
  const bool ends_by_itself =
      account.ending != kLives && !account.ending.starts_with(kExitBeginning);
  if (ends_by_itself || CallOf(fault) == "OpenAndClosePipe") return {};
  Complaints complaints;
  for (const std::string& open : account.open) {
    if (account.serves && IsOneOf(open, {"1 pipes", "1 security records"})) continue;
    complaints.push_back("left open: " + open);
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

Complaints JudgeProtection(const Account& account, const std::optional<Fault>& fault) {
  const bool connected = account.ending == kLives && account.phase.starts_with("connected");
  const bool unaware =
      IsOneOf(CallOf(fault), {"ReadProcessVariable", "ReadRegistryText", "WideToUtf8",
                              "ReadTcpConnections", "FormatIpv4", "ParseIpv4"});
  if (!connected || account.timer_expired || unaware) return {};
  Complaints complaints;
  if (account.guard) {
    if (!Says(account.after.files, "active.conf for fra-1 under the guard")) {
      complaints.emplace_back("the guard is on, and the file is another");
    }
    return complaints;
  }
  for (const std::string& ip : account.administrators) {
    if (!IsPinned(ip, account.after)) complaints.push_back("connected, and not pinned: " + ip);
  }
  return complaints;
}

Complaints Judge(const Account& account, const std::optional<Fault>& fault) {
  Complaints all = JudgeEnd(account, fault);
  if (account.ending == kHung) return all;
  for (const Complaints& complaints :
       {JudgeReplies(account), JudgeSecrecy(account), JudgeProtection(account, fault),
        JudgeRoutes(account), JudgeOpen(account, fault), JudgeLeft(account, fault),
        JudgeAftermath(account)}) {
    all.insert(all.end(), complaints.begin(), complaints.end());
  }
  return all;
}

}  // namespace veltrane::faults
