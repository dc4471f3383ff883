#include "agent.h"

#include <ws2tcpip.h>

#include <charconv>

namespace lab {
namespace {

constexpr u_short kPort = 47501;

// Starts once per process. Never undone, because a DLL does not know when its last caller is done.
bool StartSockets() {
  static const bool started = [] {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }();
  return started;
}

}  // namespace

Agent::Agent() {
  if (!StartSockets()) return;
  socket_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  if (socket_ == INVALID_SOCKET) return;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    closesocket(socket_);
    socket_ = INVALID_SOCKET;
  }
}

Agent::~Agent() {
  if (socket_ != INVALID_SOCKET) closesocket(socket_);
}

std::string Agent::Ask(const std::string& text) {
  if (socket_ == INVALID_SOCKET) return {};
  const std::string message = text + '\n';
  std::size_t sent = 0;
  while (sent < message.size()) {
    const int size =
        send(socket_, message.data() + sent, static_cast<int>(message.size() - sent), 0);
    if (size <= 0) return {};
    sent += static_cast<std::size_t>(size);
  }
  std::string line;
  char character = 0;
  while (recv(socket_, &character, 1, 0) == 1) {
    if (character == '\n') return line;
    line.push_back(character);
  }
  return {};
}

DWORD FaultOf(const char* function) {
  const std::string answer = Agent().Ask(std::string("call ") + function);
  DWORD status = 0;
  std::from_chars(answer.data(), answer.data() + answer.size(), status);
  return status;
}

}  // namespace lab
