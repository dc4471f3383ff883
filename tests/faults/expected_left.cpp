#include "tests/faults/expected_left.h"

#include <algorithm>
#include <string>

#include "tests/faults/last_word.h"
#include "tests/simulated/calls.h"

namespace veltrane::faults {
namespace {

const std::string kMarked = ", marked for deletion";
const std::string kOld = ", old command line";

class Expectation {
 public:
  Expectation(const Account& account, const std::optional<Fault>& fault)
      : account_(account),
        status_(fault ? fault->kind.status : 0),
        word_(LastWord(account)),
        before_(TunnelOf(account.before)) {
    if (const auto request = LastRequest(account); TextOf(request, "op") == "connect") {
      written_ = "for " + TextOf(request, "node_id") + Variant(TextOf(request, "endpoint_host"));
    }
  }

  TunnelTexts Left() const {
    if (word_ == "connected") return {ReplacedService(), written_, ""};
    if (word_ == "config_write_failed") return WithTemporary(Found());
    if (word_ == "tunnel_start_failed") {
      return {ServiceThatDoesNotStart(), Scrubbed(written_, account_.timer == kTimerFirst ? 3 : 2),
              ""};
    }
    if (word_ == "disconnected" || word_ == kLostBypass || word_ == "poc_default_route_detected") {
      return written_.empty() ? AfterDisconnects(Disconnects()) : AfterConnect();
    }
    if (word_ == kNotScrubbed) return NotScrubbed();
    return Found();
  }

 private:
  bool Struck(const std::string& call) const { return account_.struck.name == call; }
  bool CannotOpenManagerOrService() const {
    return Struck("ServiceManager.Open") || Struck("ServiceManager.OpenExisting");
  }

  std::string Variant(const std::string& endpoint) const {
    const bool knows = KnowsOfMachine(account_, "VELTRANE_POC_DISABLE_DEFAULT_ROUTE");
    if (account_.guard && knows) return " under the guard";
    return endpoint == "::/0" ? " with a catch-all" : "";
  }

  // What a request finds: what was there before, unless a timer has torn it down.
  TunnelTexts Found() const {
    if (account_.timer != kTimerFirst || word_ == kNotScrubbed) return before_;
    return TornDown(before_, 1, 1, 1);
  }

  TunnelTexts AfterDisconnects(std::size_t count) const {
    TunnelTexts left = before_;
    for (std::size_t nth = 1; nth <= count; ++nth) left = TornDown(left, nth, nth, nth);
    return left;
  }

  // A timer that expires tears down as a disconnect does.
  std::size_t Disconnects() const { return std::max<std::size_t>(1, account_.exchanges.size()); }

  // The teardown behind a connect, which has opened the service twice, to stop an earlier tunnel
  // and to install the new one, and has written the temporary file.
  TunnelTexts AfterConnect() const {
    return TornDown({"running " + written_, written_, ""}, 3, before_.service.empty() ? 1 : 2, 2);
  }

  // The numbers are those of the calls by which the service is opened and stopped and the file
  // opened, of their names.
  TunnelTexts TornDown(const TunnelTexts& up, std::size_t opening, std::size_t stopping,
                       std::size_t scrubbing) const {
    return {ServiceAfterStop(up.service, opening, stopping), Scrubbed(up.conf, scrubbing),
            up.temporary};
  }

  // "stopped and deleted". These are the calls by which it is opened and stopped, of their names.
  std::string ServiceAfterStop(const std::string& service, std::size_t opening,
                               std::size_t stopping) const {
    if (service.empty()) return "";
    const std::size_t nth = account_.struck.nth;
    if (CannotOpenManagerOrService() && nth == opening) return service;
    if (Struck("Service.SendStop") && nth == stopping) return service + kMarked;
    if (Struck("Service.Delete") && nth == stopping) return "stopped";
    return "";
  }

  // "overwritten with zeros". A scrub that cannot open the file leaves it to the deletion; one that
  // cannot write has emptied it.
  std::string Scrubbed(const std::string& conf, std::size_t nth) const {
    if (conf.empty()) return "";
    if (!account_.struck.name.starts_with("OutputFile.") || account_.struck.nth != nth) {
      return "of zeros";
    }
    if (Struck("OutputFile.Open")) return "";
    return status_ == simulated::kOnlyHalf ? "of 2048 zeros" : "empty";
  }

  // The service asks whether there is a file, and does not learn it.
  TunnelTexts NotScrubbed() const {
    if (account_.timer == kTimerFirst) return {"", before_.conf, before_.temporary};
    if (written_.empty()) {
      TunnelTexts left = AfterDisconnects(account_.struck.nth - 1);
      left.service.clear();
      return left;
    }
    const bool started = account_.leads_to != "tunnel_start_failed";
    return {started ? "" : ServiceThatDoesNotStart(), written_, ""};
  }

  // "the earlier file, and perhaps active.conf.tmp with the new configuration or a part of it".
  TunnelTexts WithTemporary(TunnelTexts left) const {
    if (Struck("OutputFile.Write") || Struck("OutputFile.Close")) {
      left.temporary = status_ == simulated::kOnlyHalf ? "in part" : "empty";
    } else if (Struck("MoveFileWithFlags")) {
      left.temporary = written_;
    }
    return left;
  }

  // "the new one is registered and not running, or not registered when it could not be created. One
  // that cannot be stopped runs on."
  std::string ServiceThatDoesNotStart() const {
    if (Struck("Service.SendStop")) return before_.service + kMarked;
    if (account_.held) {
      const bool is_old =
          HadOldCommandLine() && account_.struck.name.starts_with("ServiceManager.");
      return "stopped" + kMarked + (is_old ? kOld : "");
    }
    // The second opening of the manager is for the new one.
    const std::size_t second = account_.timer == kTimerFirst ? 3 : 2;
    const bool not_opened = Struck("ServiceManager.Open") && account_.struck.nth == second;
    const bool not_created = not_opened || Struck("ServiceManager.Create");
    return not_created ? "" : "stopped";
  }

  // The tunnel of a connect. docs/limits.md, "Kept by design": one that cannot be opened, or
  // stopped, is not replaced. A start that answers 0 or 1056, and no other, has succeeded.
  std::string ReplacedService() const {
    const bool unopened = CannotOpenManagerOrService() && account_.struck.nth == 1 &&
                          account_.timer != kTimerFirst && !before_.service.empty();
    if (unopened) return WithoutOld(before_.service);
    if (account_.held && Struck("Service.SendStop")) return WithoutOld(before_.service) + kMarked;
    const bool not_started = Struck("Service.Start") && (status_ == 0 || status_ == 1056);
    std::string service = not_started ? "stopped" : "running " + written_;
    if (account_.held && !Struck("Service.Delete")) service += kMarked;
    if (HadOldCommandLine() && Struck("Service.ChangeCommandLine")) service += kOld;
    return service;
  }

  bool HadOldCommandLine() const { return before_.service.ends_with(kOld); }

  static std::string WithoutOld(const std::string& service) {
    return service.substr(0, service.find(kOld));
  }

  const Account& account_;
  std::uint32_t status_;
  std::string word_;
  TunnelTexts before_;
  std::string written_;  // by a connect; empty: the last request is none
};

}  // namespace

TunnelTexts ExpectedLeft(const Account& account, const std::optional<Fault>& fault) {
  return Expectation(account, fault).Left();
}

}  // namespace veltrane::faults
