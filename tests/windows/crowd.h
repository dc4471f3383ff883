#pragma once

// Many clients at once.

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace veltrane::windows_tests {

// A request and its only right reply, whoever asks and whatever the others have asked, once the
// nonce kCrowdNonce is registered and a first connect has been refused; needs the default-route
// guard. Every seventh request of a crowd is a connect, whose refusal repeats its AllowedIPs: no
// two of them are alike.
struct Exchange {
  std::string request;
  std::string reply;
};
inline constexpr char kCrowdNonce[] = "crowd";
Exchange ExchangeOfNumber(int number);

// Sends it on a connection of its own, and reads to the end of that. Returns all that came, one
// message a line; "(no reply)" when nothing did.
std::string AskToTheEnd(const std::string& request);

// `clients` threads that make the exchanges 0 to `requests` - 1 between them, each one after
// another.
class Crowd {
 public:
  Crowd(int clients, int requests);
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;
  ~Crowd();  // without the exchanges that have not begun

  // Lets the exchanges before this number begin; at first, none may.
  void LetBegin(int number);

  // Waits until so many requests have been answered. Returns false when there is not one more
  // answer in two minutes.
  bool WaitForAnswers(int count) const;

  // Lets all begin and waits for the end; only then ask for the rest.
  void Wait();

  int Answers() const { return answers_; }

  // The exchanges whose reply was another, the first few in full.
  const std::vector<std::string>& Wrong() const { return wrong_; }

 private:
  void Join();
  int TakeNumber();
  void Run();

  const int requests_;
  std::atomic<int> answers_ = 0;
  std::mutex mutex_;  // guards the next four
  std::condition_variable more_;
  int next_ = 0;
  int may_begin_ = 0;
  std::vector<std::string> wrong_;
  std::vector<std::thread> threads_;
};

}  // namespace veltrane::windows_tests
