#include "client/exchange/request.h"

#include <array>
#include <cstddef>
#include <vector>

#include "client/text/quoting.h"

namespace veltrane {
namespace {

constexpr std::size_t kMostBytes = 65535;  // what one read of the service takes

constexpr std::array<std::string_view, 4> kForbiddenWords = {"config_path", "wg_quick_config",
                                                             "wgQuickConfig", "conf_path"};

// Builds the text of a request and remembers where its keys are.
class RequestWriter {
 public:
  explicit RequestWriter(std::string_view op) {
    request_.Append("{");
    Add("op", op);
  }

  // The service understands these escapes but not \u, so every other byte is sent as it is.
  void Add(std::string_view key, std::string_view value) {
    if (!keys_.empty()) request_.Append(",");
    keys_.push_back({key, request_.View().size()});
    request_.Append("\"");
    request_.Append(key);
    request_.Append("\":\"");
    for (const char& c : value) {
      if (c == '"' || c == '\\') request_.Append("\\");
      request_.Append({&c, 1});
    }
    request_.Append("\"");
  }

  RequestBuilding Finish() && {
    request_.Append("}");
    std::string problem = FindProblem();
    return {std::move(request_), std::move(problem)};
  }

 private:
  struct WrittenKey {
    std::string_view key;
    std::size_t position;
  };

  // Where the service would find the key, which is its first occurrence in quotes.
  std::size_t Find(std::string_view key) const {
    return request_.View().find('"' + std::string(key) + '"');
  }

  std::size_t PositionOf(std::string_view key) const {
    for (const WrittenKey& written : keys_) {
      if (written.key == key) return written.position;
    }
    return std::string_view::npos;
  }

  std::string FindProblem() const {
    for (const std::string_view word : kForbiddenWords) {
      if (request_.View().find(word) != std::string_view::npos) {
        return "a value contains " + Quoted(word) +
               ", which the service refuses anywhere in a request: rename it";
      }
    }
    std::vector<std::string_view> names = {"op", "session_nonce"};
    names.insert(names.end(), kProfileKeyNames.begin(), kProfileKeyNames.end());
    for (const std::string_view name : names) {
      if (Find(name) != PositionOf(name)) {
        return "a value is " + Quoted(name) +
               ", which the service would mistake for the key of that name: rename it";
      }
    }
    if (request_.View().size() > kMostBytes) {
      return "the request is " + std::to_string(request_.View().size()) +
             " bytes long, but the service reads at most 65535: shorten the profile";
    }
    return {};
  }

  SecretText request_;
  std::vector<WrittenKey> keys_;
};

}  // namespace

SecretText PlainRequest(std::string_view op) { return RequestWriter(op).Finish().request; }

RequestBuilding RegisterRequest(std::string_view nonce) {
  RequestWriter writer("register_session");
  writer.Add("session_nonce", nonce);
  return std::move(writer).Finish();
}

RequestBuilding ConnectRequest(const Profile& profile, std::string_view nonce) {
  RequestWriter writer("connect");
  for (std::size_t i = 0; i < kProfileKeyNames.size(); ++i) {
    const ProfileValue& value = profile[static_cast<ProfileKey>(i)];
    if (!value.IsEmpty()) writer.Add(kProfileKeyNames[i], value.View());
  }
  if (!nonce.empty()) writer.Add("session_nonce", nonce);
  return std::move(writer).Finish();
}

}  // namespace veltrane
