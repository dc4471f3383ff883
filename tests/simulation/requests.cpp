#include "tests/simulation/requests.h"

#include "tests/simulation/facts.h"

namespace veltrane::simulation {
namespace {

using Texts = std::vector<std::string>;

const Texts kNodes = {"fra-1", "ams-2", "sto-3"};
const Texts kAllowed = {"10.66.66.0/24",
                        "0.0.0.0/0",
                        "0.0.0.0/0, ::/0",
                        "0.0.0.0/1, 128.0.0.0/1",
                        "::/0",
                        "10.0.0.0/0",
                        "1.2.3.4/0",
                        "10.8.0.0/16, 192.0.2.0/24",
                        ""};
const Texts kOwnAddresses = {"10.66.66.7/32", "10.8.0.4", "fd00::7/128", "300.1.2.3/8",
                             "10.0.0.0/0"};
const Texts kPorts = {"51820", "443", "", " 80", "0", "-1", "70000", "2147483647", "51820x"};
const Texts kBadPorts = {"https", "2147483648", "-2147483649", "99999999999999999999", "x1", "+"};
const Texts kHosts = {"192.0.2.10", "vpn.example.com", "[2001:db8::1]"};
const Texts kNameServers = {"10.66.66.1", "10.66.66.1,\\t9.9.9.9", "a\\nb\\r\\\\c\\\"d\\/e\\u00e9"};
const Texts kNonces = {"", "", "abc", "abcd", "5c0e7a"};

std::string Member(const std::string& key, const std::string& value) {
  return "\"" + key + "\":\"" + value + "\"";
}

std::string Object(const Texts& members) {
  std::string text = "{";
  for (const std::string& member : members) text += (text.size() > 1 ? "," : "") + member;
  return text + "}";
}

}  // namespace

std::string Requests::Connect() {
  const std::string number = std::to_string(++keys_);
  Texts members = {Member("op", "connect"),
                   Member("node_id", random_.Pick(kNodes)),
                   Member("address_cidr", random_.Pick(kOwnAddresses)),
                   Member("endpoint_host", random_.OneIn(40) ? "0.0.0.0/0" : random_.Pick(kHosts)),
                   Member("endpoint_port", random_.Pick(kPorts)),
                   Member("server_public_key", "SERVER" + number + "="),
                   Member("client_private_key", kSecret + number + "="),
                   Member("allowed_ips_csv", random_.Pick(kAllowed))};
  if (random_.OneIn(2)) members.push_back(Member("dns_csv", random_.Pick(kNameServers)));
  if (random_.OneIn(3)) members.push_back(Member("pre_shared_key", kSecret + number + "-psk="));
  const std::string nonce = random_.OneIn(8) ? random_.Pick(kNonces) : nonce_;
  if (!nonce.empty()) members.push_back(Member("session_nonce", nonce));
  if (random_.OneIn(12)) members.erase(members.begin() + 1 + random_.Below(members.size() - 1));
  return Object(members);
}

std::string Requests::Status() { return Object({Member("op", "status")}); }

std::string Requests::Disconnect() { return Object({Member("op", "disconnect")}); }

std::string Requests::WellFormed() {
  switch (random_.Below(10)) {
    case 0:
    case 1:
      return Status();
    case 2:
    case 3:
    case 4:
      return Disconnect();
    case 5:
      nonce_ = random_.Pick(kNonces);
      return Object({Member("op", "register_session"), Member("session_nonce", nonce_)});
    default:
      return Connect();
  }
}

std::string Requests::Odd() {
  switch (random_.Below(12)) {
    case 0:
      return "";
    case 1:
      return Object(
          {Member("op", random_.Pick(Texts{"STATUS", "connect ", "stop", "", "\\u0073"}))});
    case 2:
      return Object({Member("op", "connect"), Member("node_id", random_.Pick(Texts{"", "fra-1"}))});
    case 3:
      return Object({Member("op", "status"), Member("note", "my conf_path here")});
    case 4: {
      std::string request = Connect();
      request.insert(1, Member("endpoint_port", random_.Pick(kBadPorts)) + ",");
      return request;
    }
    case 5: {
      std::string request = WellFormed();
      request.insert(1, Member("session_nonce", random_.Pick(kNonces)) + ",");
      return request;
    }
    case 6:  // a value that is the name of a key
      return "{" + Member("display_name", random_.Pick(Texts{"dns_csv", "node_id", "op"})) + "," +
             WellFormed().substr(1);
    case 7: {  // the longest that is read whole, and one byte more
      std::string request = WellFormed();
      request.resize(random_.OneIn(2) ? 65535 : 65536, ' ');
      return request;
    }
    case 8: {
      std::string request = WellFormed();
      request.insert(random_.Below(request.size()), 1, '\0');
      return request;
    }
    default:
      return Damaged(WellFormed());
  }
}

std::string Requests::Damaged(std::string request) {
  const std::size_t at = random_.Below(request.size());
  switch (random_.Below(3)) {
    case 0:
      return request.substr(0, at);
    case 1:
      request[at] = static_cast<char>(random_.Below(256));
      return request;
    default:
      return request.erase(at, 1 + random_.Below(8));
  }
}

}  // namespace veltrane::simulation
