#include "tests/simulated/pipes.h"

#include <algorithm>
#include <utility>

#include "platform/pipe_client.h"
#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {
namespace {

constexpr std::uint32_t kNoData = 232;  // ERROR_NO_DATA

bool IsFree(const Pipes::Instance& instance) {
  return instance.listening && instance.connection == nullptr;
}

}  // namespace

std::vector<CreatedPipe> Pipes::Created() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return created_;
}

std::size_t Pipes::OpenInstances() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return instances_.size();
}

std::size_t Pipes::Reads() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return reads_;
}

std::string Pipes::LastRead() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return last_read_;
}

std::string Pipes::LastWritten() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return last_written_;
}

void Pipes::WaitUntilServerWaits() {
  std::unique_lock<std::mutex> lock(core_.mutex);
  core_.Await(lock, "a pipe server to wait for a client", [this] { return ServerWaitsLocked(); });
}

bool Pipes::ServerWaits() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return ServerWaitsLocked();
}

bool Pipes::ServerWaitsLocked() const {
  return std::any_of(instances_.begin(), instances_.end(), [](const auto& instance) {
    return instance->waiting && instance->connection == nullptr;
  });
}

void Pipes::WaitUntilRefused(std::size_t count) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  core_.Await(lock, "a client to find no free pipe", [&] { return refused_ >= count; });
}

std::string Pipes::LastReadBuffer() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return {read_buffer_.data(), read_buffer_.size()};
}

Pipes::Instance* Pipes::Create(const PipeParameters& parameters,
                               const SecurityAttributes* attributes) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  std::size_t count = 0;
  std::size_t limit = parameters.max_instances;
  for (const auto& instance : instances_) {
    if (FoldCase(instance->parameters.name) != FoldCase(parameters.name)) continue;
    if (count == 0) limit = instance->parameters.max_instances;
    ++count;
  }
  if (count >= limit) return nullptr;
  CreatedPipe created{parameters, std::nullopt};
  if (attributes != nullptr) created.access = attributes->entries;
  created_.push_back(std::move(created));
  instances_.push_back(std::make_unique<Instance>());
  instances_.back()->parameters = parameters;
  core_.changed.notify_all();
  return instances_.back().get();
}

std::uint32_t Pipes::WaitForClient(Instance& instance) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  if (instance.connection != nullptr) {
    return instance.connection->client_open ? kErrorPipeConnected : kNoData;
  }
  instance.listening = true;
  instance.waiting = true;
  core_.changed.notify_all();
  core_.Block(lock, [&instance] { return instance.connection != nullptr; });
  instance.waiting = false;
  return 0;
}

std::optional<std::size_t> Pipes::Read(Instance& instance, std::span<char> buffer) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  read_buffer_ = buffer;
  const std::shared_ptr<Connection> connection = instance.connection;
  if (connection == nullptr) return std::nullopt;
  core_.Block(lock, [&] { return !connection->to_server.empty() || !connection->client_open; });
  if (connection->to_server.empty()) return std::nullopt;
  std::string& message = connection->to_server.front();
  const std::size_t size = message.copy(buffer.data(), buffer.size());
  if (size < message.size()) {
    message.erase(0, size);
    return std::nullopt;
  }
  ++reads_;
  last_read_.assign(buffer.data(), size);
  connection->to_server.pop_front();
  return size;
}

void Pipes::Write(Instance& instance, std::string_view bytes) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  last_written_ = bytes;
  if (instance.connection == nullptr || !instance.connection->client_open) return;
  instance.connection->to_client.emplace_back(bytes);
  core_.changed.notify_all();
}

void Pipes::Flush(Instance& instance) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  const std::shared_ptr<Connection> connection = instance.connection;
  if (connection == nullptr) return;
  core_.Block(lock, [&] { return connection->to_client.empty() || !connection->client_open; });
}

void Pipes::Disconnect(Instance& instance) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  instance.listening = false;
  if (instance.connection == nullptr) return;
  instance.connection->server_open = false;
  instance.connection->to_client.clear();
  instance.connection.reset();
  core_.changed.notify_all();
}

void Pipes::Close(Instance* instance) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (instance->connection != nullptr) instance->connection->server_open = false;
  std::erase_if(instances_, [instance](const auto& other) { return other.get() == instance; });
  core_.changed.notify_all();
}

void Pipes::EndProcess() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  for (const auto& instance : instances_) {
    if (instance->connection != nullptr) instance->connection->server_open = false;
  }
  instances_.clear();
  core_.changed.notify_all();
}

bool Pipes::IsServed(const std::wstring& name) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return std::any_of(instances_.begin(), instances_.end(), [&name](const auto& instance) {
    return FoldCase(instance->parameters.name) == FoldCase(name);
  });
}

void Pipes::Listen(Instance& instance) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  instance.listening = true;
  core_.changed.notify_all();
}

Pipes::Presence Pipes::ClientOf(const Instance& instance) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (instance.connection == nullptr) return Presence::kNobody;
  return instance.connection->client_open ? Presence::kHere : Presence::kGone;
}

std::optional<std::string> Pipes::TakeMessage(Instance& instance) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (instance.connection == nullptr || instance.connection->to_server.empty()) return std::nullopt;
  std::string message = std::move(instance.connection->to_server.front());
  instance.connection->to_server.pop_front();
  return message;
}

Pipes::Opened Pipes::OpenLocked(const std::wstring& name) {
  bool found = false;
  for (const auto& instance : instances_) {
    if (FoldCase(instance->parameters.name) != FoldCase(name)) continue;
    found = true;
    if (!IsFree(*instance)) continue;
    instance->connection = std::make_shared<Connection>();
    core_.changed.notify_all();
    return {instance->connection, 0};
  }
  return {nullptr, found ? kErrorPipeBusy : kErrorNoSuchPipe};
}

Pipes::Opened Pipes::TryOpen(const std::wstring& name) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Opened opened = OpenLocked(name);
  if (opened.connection == nullptr) {
    ++refused_;
    core_.changed.notify_all();
  }
  return opened;
}

std::shared_ptr<Pipes::Connection> Pipes::WaitAndOpen(const std::wstring& name) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  Opened opened;
  core_.Await(lock, "a free instance of " + Narrow(name), [&] {
    opened = OpenLocked(name);
    return opened.connection != nullptr;
  });
  return opened.connection;
}

std::uint32_t Pipes::WaitUntilFree(const std::wstring& name, std::uint32_t milliseconds) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  const auto belongs = [&name](const auto& instance) {
    return FoldCase(instance->parameters.name) == FoldCase(name);
  };
  if (std::none_of(instances_.begin(), instances_.end(), belongs)) return kErrorNoSuchPipe;
  const bool free = core_.changed.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] {
    return std::any_of(instances_.begin(), instances_.end(), [&](const auto& instance) {
      return belongs(instance) && IsFree(*instance);
    });
  });
  return free ? 0 : kErrorWaitTimedOut;
}

bool Pipes::WaitForServer(Connection& connection, std::uint32_t milliseconds) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  return core_.changed.wait_for(lock, std::chrono::milliseconds(milliseconds), [&connection] {
    return !connection.to_client.empty() || !connection.server_open;
  });
}

bool Pipes::Send(Connection& connection, std::string_view message) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (!connection.server_open) return false;
  connection.to_server.emplace_back(message);
  core_.changed.notify_all();
  return true;
}

std::optional<std::string> Pipes::Receive(Connection& connection) {
  std::unique_lock<std::mutex> lock(core_.mutex);
  core_.Await(lock, "a message of the pipe server",
              [&] { return !connection.to_client.empty() || !connection.server_open; });
  if (connection.to_client.empty()) return std::nullopt;
  std::string message = std::move(connection.to_client.front());
  connection.to_client.pop_front();
  core_.changed.notify_all();
  return message;
}

void Pipes::CloseClient(Connection& connection) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  connection.client_open = false;
  core_.changed.notify_all();
}

}  // namespace simulated

namespace {

using simulated::Machine;
using simulated::Pipes;

Pipes::Instance& Open(const Owner<void, ClosePipeInstance>& instance) {
  if (instance == nullptr) simulated::Die("a pipe was used after it was moved from");
  return *static_cast<Pipes::Instance*>(instance.get());
}

}  // namespace

std::optional<ServerPipe> ServerPipe::Create(const PipeParameters& parameters,
                                             const SecurityAttributes* attributes) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("ServerPipe.Create", simulated::Narrow(parameters.name))) {
    return std::nullopt;
  }
  Pipes::Instance* instance = machine.pipes.Create(parameters, attributes);
  if (instance == nullptr) return std::nullopt;
  return ServerPipe(instance);
}

void ClosePipeInstance(void* handle) noexcept {
  Machine& machine = Machine::Current();
  machine.calls.Begin("ServerPipe.Close");
  machine.pipes.Close(static_cast<Pipes::Instance*>(handle));
}

std::uint32_t ServerPipe::WaitForClient() {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("ServerPipe.WaitForClient");
  if (failure && *failure != kErrorPipeConnected) return *failure;
  const std::uint32_t status = machine.pipes.WaitForClient(Open(handle_));
  return failure.value_or(status);
}

std::optional<std::size_t> ServerPipe::Read(std::span<char> buffer) {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("ServerPipe.Read", std::to_string(buffer.size()));
  if (failure == simulated::kNothingAtAll) return 0;
  if (failure) return std::nullopt;
  return machine.pipes.Read(Open(handle_), buffer);
}

void ServerPipe::Write(std::string_view bytes) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("ServerPipe.Write", std::to_string(bytes.size()) + " bytes")) return;
  machine.pipes.Write(Open(handle_), bytes);
}

void ServerPipe::Flush() {
  Machine& machine = Machine::Current();
  machine.calls.Begin("ServerPipe.Flush");
  machine.pipes.Flush(Open(handle_));
}

void ServerPipe::Disconnect() {
  Machine& machine = Machine::Current();
  machine.calls.Begin("ServerPipe.Disconnect");
  machine.pipes.Disconnect(Open(handle_));
}

void OpenAndClosePipe(const std::wstring& name) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("OpenAndClosePipe", simulated::Narrow(name))) return;
  const Pipes::Opened opened = machine.pipes.TryOpen(name);
  if (opened.connection != nullptr) machine.pipes.CloseClient(*opened.connection);
}

}  // namespace veltrane
