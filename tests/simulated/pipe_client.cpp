#include "tests/simulated/pipe_client.h"

#include <utility>

namespace veltrane::simulated {

PipeClient::PipeClient(std::wstring name) : machine_(Machine::Current()), name_(std::move(name)) {}

PipeClient::~PipeClient() { Close(); }

void PipeClient::Connect() {
  Close();
  connection_ = machine_.pipes.WaitAndOpen(name_);
}

std::uint32_t PipeClient::TryConnect() {
  Close();
  Pipes::Opened opened = machine_.pipes.TryOpen(name_);
  connection_ = std::move(opened.connection);
  return opened.error;
}

bool PipeClient::Send(std::string_view message) {
  return connection_ != nullptr && machine_.pipes.Send(*connection_, message);
}

std::optional<std::string> PipeClient::Receive() {
  if (connection_ == nullptr) return std::nullopt;
  return machine_.pipes.Receive(*connection_);
}

std::string PipeClient::ReceiveAll() {
  std::string all;
  while (const std::optional<std::string> message = Receive()) all += *message;
  return all;
}

void PipeClient::Close() {
  if (connection_ == nullptr) return;
  machine_.pipes.CloseClient(*connection_);
  connection_.reset();
}

std::string Exchange(std::string_view request, const std::wstring& name) {
  PipeClient client(name);
  client.Connect();
  client.Send(request);
  return client.ReceiveAll();
}

}  // namespace veltrane::simulated
