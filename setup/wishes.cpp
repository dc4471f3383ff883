#include "setup/wishes.h"

#include "bypass/candidates.h"
#include "platform/ipv4.h"
#include "platform/service_codes.h"
#include "platform/text.h"
#include "text/ascii.h"
#include "text/decimal.h"

namespace veltrane {
namespace {

constexpr char kNone[] = "none";
constexpr std::size_t kLongestList = 500;  // the service ignores a value of 512 characters or more

bool IsNumber(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos &&
         ReadDecimal(text).error == DecimalError::kNone;
}

// Reads the properties one by one; the first that cannot be understood ends it.
class Reader {
 public:
  explicit Reader(const InstallerSession& session) : session_(session) {}

  Wishes Read() {
    ReadAddresses();
    ReadGuard();
    ReadAutoStop();
    ReadStart();
    ReadTunnel();
    return wishes_;
  }

 private:
  std::string Text(const wchar_t* property) const {
    return WideToUtf8(session_.Property(property));
  }

  void Refuse(const std::string& problem) {
    if (wishes_.problem.empty()) wishes_.problem = problem;
  }

  void Want(const wchar_t* name, const std::string& value) {
    const bool is_none = AsciiToLower(value) == kNone;
    wishes_.settings.push_back({name, is_none ? std::nullopt : std::optional(WidenBytes(value))});
  }

  void ReadAddresses() {
    const std::string text = Text(L"ADMIN_BYPASS_IPS");
    if (text.empty()) return;
    if (AsciiToLower(text) == kNone) return Want(L"ADMIN_BYPASS_IPS", text);
    std::string list;
    for (const std::string& address : SplitAddressList(text)) {
      if (!ParseIpv4(address)) {
        return Refuse("ADMIN_BYPASS_IPS: \"" + address +
                      "\" is not an IPv4 address such as 203.0.113.5");
      }
      list += (list.empty() ? "" : ",") + address;
    }
    if (list.empty()) return Refuse("ADMIN_BYPASS_IPS names no address");
    if (list.size() > kLongestList) {
      return Refuse("ADMIN_BYPASS_IPS is longer than " + std::to_string(kLongestList) +
                    " characters");
    }
    Want(L"ADMIN_BYPASS_IPS", list);
  }

  void ReadGuard() {
    const std::string text = Text(L"DISABLE_DEFAULT_ROUTE");
    if (text.empty()) return;
    if (text != "0" && text != "1" && AsciiToLower(text) != kNone) {
      return Refuse("DISABLE_DEFAULT_ROUTE: \"" + text + "\" is neither 1 nor 0 nor none");
    }
    Want(L"VELTRANE_POC_DISABLE_DEFAULT_ROUTE", text);
  }

  void ReadAutoStop() {
    const std::string text = Text(L"AUTO_STOP_SECONDS");
    if (text.empty()) return;
    if (!IsNumber(text) && AsciiToLower(text) != kNone) {
      return Refuse("AUTO_STOP_SECONDS: \"" + text +
                    "\" is neither a number from 0 to 2147483647 nor none");
    }
    Want(L"VELTRANE_POC_AUTO_STOP_SECONDS", text);
  }

  void ReadStart() {
    const std::string text = AsciiToLower(Text(L"START"));
    if (text.empty()) return;
    if (text == "auto") {
      wishes_.start_type = kServiceAutoStart;
    } else if (text == "demand") {
      wishes_.start_type = kServiceDemandStart;
    } else {
      Refuse("START: \"" + text + "\" is neither auto nor demand");
    }
  }

  void ReadTunnel() {
    const std::string text = AsciiToLower(Text(L"TUNNEL"));
    wishes_.stop_tunnel = text == "stop";
    if (!text.empty() && text != "stop") Refuse("TUNNEL: \"" + text + "\" is not stop");
  }

  const InstallerSession& session_;
  Wishes wishes_;
};

std::wstring NameOf(const std::wstring& entry) { return entry.substr(0, entry.find(L'=')); }

std::vector<std::wstring> WithSetting(const std::vector<std::wstring>& entries,
                                      const WantedSetting& setting) {
  std::vector<std::wstring> changed;
  bool placed = !setting.value;
  const auto place = [&] {
    if (!placed) changed.push_back(setting.name + L"=" + *setting.value);
    placed = true;
  };
  for (const std::wstring& entry : entries) {
    if (EqualsIgnoreCase(NameOf(entry), setting.name)) {
      place();
    } else {
      changed.push_back(entry);
    }
  }
  place();
  return changed;
}

}  // namespace

Wishes ReadWishes(const InstallerSession& session) { return Reader(session).Read(); }

std::vector<std::wstring> WithSettings(const std::vector<std::wstring>& entries,
                                       const std::vector<WantedSetting>& settings) {
  std::vector<std::wstring> changed = entries;
  for (const WantedSetting& setting : settings) changed = WithSetting(changed, setting);
  return changed;
}

}  // namespace veltrane
