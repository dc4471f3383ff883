#include "tests/windows/crowd.h"

#include <windows.h>

#include <optional>

#include "tests/windows/conversation.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

constexpr int kKinds = 7;
constexpr std::size_t kShownInFull = 5;

// The bypass record after a refusal, whose routes have been removed.
constexpr char kBypass[] =
    R"("admin_bypass":{"enabled":false,"attempted":false,"applied":false,)"
    R"("routes_ready_before_tunnel":false,"route_readded_after_tunnel":false,)"
    R"("required_enforced":false,"skipped_for_safe_mode":true,"auto_stop_seconds":0,)"
    R"("message":"admin bypass disabled for this build/config"})";

constexpr char kRefusedConnect[] =
    R"({"op":"connect","session_nonce":"crowd","node_id":"fra-1","client_private_key":"CLIENTKEY=",)"
    R"("address_cidr":"10.7.3.9/32","endpoint_host":"::/0","allowed_ips_csv":"@"})";

// Behind the bypass record.
constexpr char kGuardOfRefusal[] =
    R"("poc_route_guard":{"effective_disable_default_route":true,)"
    R"("poc_route_guard_failed":true,"poc_default_route_detected":false,)"
    R"("poc_env_read_failed":false,"rdp_session_active":false,)"
    R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"1",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("generated_allowed_ips_before":"@","generated_allowed_ips_after":"@",)"
    R"("failure_reason":"poc_route_guard_failed",)"
    R"("message":"generated WireGuard config still contains catch-all AllowedIPs"}})";

Exchange RefusedConnect(int number) {
  const std::string network =
      "10.9." + std::to_string(number / 256) + "." + std::to_string(number % 256) + "/32";
  const std::string reply =
      R"({"ok":false,"error":"poc_route_guard_failed",)"
      R"("message":"generated WireGuard config still contains catch-all AllowedIPs",)" +
      std::string(kBypass) + "," + kGuardOfRefusal;
  return {Fill(kRefusedConnect, "@", network), Fill(reply, "@", network)};
}

}  // namespace

Exchange ExchangeOfNumber(int number) {
  switch (number % kKinds) {
    case 0:
      return RefusedConnect(number);
    case 1:
      return {kStatus, R"({"ok":true,"phase":"disconnected","tunnel_running":false,)" +
                           std::string(kBypass) + "," + kFreshGuard + "}"};
    case 2:
      return {R"({"op":"register_session","session_nonce":"crowd"})",
              R"({"ok":true,"phase":"disconnected"})"};
    case 3:
      return {R"({"op":"connect","session_nonce":"of nobody"})",
              R"({"ok":false,"error":"session_mismatch","message":"invalid session"})"};
    case 4:
      return {R"({"op":"connect","session_nonce":"crowd"})", kInvalidProfile};
    case 5:
      return {kDisconnect, R"({"ok":true,"phase":"disconnected",)" + std::string(kBypass) + "," +
                               kFreshGuard + "}"};
    default:
      return {"request " + std::to_string(number), kUnknownOp};
  }
}

std::string AskToTheEnd(const std::string& request) {
  PipeConnection connection;
  connection.Write(request);
  std::optional<std::string> message = connection.Read();
  if (!message) return "(no reply)";
  std::string all = *message;
  while ((message = connection.Read())) all += "\n" + *message;
  return all;
}

Crowd::Crowd(int clients, int requests) : requests_(requests) {
  for (int client = 0; client < clients; ++client) {
    threads_.emplace_back([this] { Run(); });
  }
}

Crowd::~Crowd() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    next_ = requests_;
    more_.notify_all();
  }
  Join();
}

void Crowd::LetBegin(int number) {
  const std::lock_guard<std::mutex> lock(mutex_);
  may_begin_ = number;
  more_.notify_all();
}

int Crowd::TakeNumber() {
  std::unique_lock<std::mutex> lock(mutex_);
  more_.wait(lock, [this] { return next_ < may_begin_ || next_ >= requests_; });
  return next_ < requests_ ? next_++ : requests_;
}

void Crowd::Run() {
  for (int number = TakeNumber(); number < requests_; number = TakeNumber()) {
    const Exchange exchange = ExchangeOfNumber(number);
    const std::string reply = AskToTheEnd(exchange.request);
    ++answers_;
    if (reply == exchange.reply) continue;
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool in_full = wrong_.size() < kShownInFull;
    wrong_.push_back(in_full ? exchange.request + " got " + reply : std::to_string(number));
  }
}

bool Crowd::WaitForAnswers(int count) const {
  constexpr ULONGLONG kPatienceMilliseconds = 120'000;
  int seen = answers_;
  ULONGLONG seen_at = GetTickCount64();
  while (answers_ < count) {
    Sleep(5);
    if (answers_ != seen) {
      seen = answers_;
      seen_at = GetTickCount64();
    }
    if (GetTickCount64() - seen_at > kPatienceMilliseconds) return false;
  }
  return true;
}

void Crowd::Wait() {
  LetBegin(requests_);
  Join();
}

void Crowd::Join() {
  for (std::thread& thread : threads_) {
    if (thread.joinable()) thread.join();
  }
}

}  // namespace veltrane::windows_tests
