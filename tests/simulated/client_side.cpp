#include "tests/simulated/client_side.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/ancestors.h"
#include "platform/clock.h"
#include "platform/file_input.h"
#include "platform/interface_metric.h"
#include "platform/pipe_client.h"
#include "platform/secret_memory.h"
#include "platform/service_codes.h"
#include "platform/service_facts.h"

namespace veltrane {
namespace simulated {
namespace {

ClientSide* current_side = nullptr;
thread_local ClientSide* side_of_this_thread = nullptr;

}  // namespace

ClientSide::ClientSide() {
  if (current_side != nullptr) Die("there are two client sides");
  current_side = this;
  side_of_this_thread = this;
}

ClientSide::~ClientSide() {
  watchdogs.Join();
  current_side = nullptr;
  side_of_this_thread = nullptr;
}

ClientSide& ClientSide::Current() {
  if (current_side == nullptr) Die("there is no client side");
  return *current_side;
}

void ClientSide::SetTerminal(Stream stream, std::size_t columns) { columns_[stream] = columns; }

char ClientSide::TakeTyped() {
  const char key = typed_.front();
  typed_.erase(0, 1);
  return key;
}

void ClientSide::ClearScreen() {
  output_.clear();
  error_.clear();
}

void ClientSide::OnWaitForPipe(std::function<std::uint32_t(std::uint32_t)> hook) {
  wait_hook_ = std::move(hook);
}

void ClientSide::SetAccessList(const std::wstring& path, const Result<AccessList>& reading) {
  access_lists_.insert_or_assign(FoldCase(path), reading);
}

std::optional<Result<AccessList>> ClientSide::AccessListOf(const std::wstring& path) const {
  const auto set = access_lists_.find(FoldCase(path));
  if (set == access_lists_.end()) return std::nullopt;
  return set->second;
}

void ClientSide::MakeReparsePoint(const std::wstring& path) {
  reparse_points_.insert(FoldCase(path));
}

bool ClientSide::IsReparsePoint(const std::wstring& path) const {
  return reparse_points_.contains(FoldCase(path));
}

bool ClientSide::HasWiped(std::string_view text) const {
  return std::any_of(wiped_.begin(), wiped_.end(), [text](const std::string& block) {
    return block.find(text) != std::string::npos;
  });
}

void ClientSide::NoteWiped(std::string_view bytes) {
  if (side_of_this_thread != nullptr) side_of_this_thread->wiped_.emplace_back(bytes);
}

Result<std::int64_t> ClientSide::ProcessStart(std::uint32_t process_id) const {
  constexpr std::uint32_t kNoProcess = 87;  // ERROR_INVALID_PARAMETER
  const auto start = process_starts.find(process_id);
  if (start != process_starts.end()) return start->second;
  if (process_id != service_process && process_id != pipe_server) {
    return Result<std::int64_t>::Failure(kNoProcess);
  }
  const Clock& clock = Machine::Current().clock;
  const auto uptime = static_cast<std::int64_t>(clock.Uptime()) * (kTicksPerSecond / 1000);
  return clock.Ticks() - uptime + std::min(60 * kTicksPerSecond, uptime / 2);
}

void ClientSide::Write(Stream stream, std::string_view bytes) {
  (stream == Stream::kOutput ? output_ : error_) += bytes;
}

std::optional<std::size_t> ClientSide::ChangeTerminal(Stream stream) {
  const auto columns = columns_.find(stream);
  if (columns == columns_.end()) return std::nullopt;
  changed_terminals_.insert(stream);
  return columns->second;
}

std::shared_ptr<Pipes::Connection> ClientSide::OpenPipe(const std::wstring& name,
                                                        std::uint32_t& error) {
  error = open_error_;
  if (error != 0) return nullptr;
  if (waited_for_ != nullptr) return std::exchange(waited_for_, nullptr);
  Pipes& pipes = Machine::Current().pipes;
  if (server_expected_ && !wait_hook_) return pipes.WaitAndOpen(name);
  const Pipes::Opened opened = pipes.TryOpen(name);
  error = opened.error;
  return opened.connection;
}

std::uint32_t ClientSide::WaitForPipe(const std::wstring& name, std::uint32_t milliseconds) {
  if (!wait_hook_) return Machine::Current().pipes.WaitUntilFree(name, milliseconds);
  const std::uint32_t status = wait_hook_(milliseconds);
  if (status == 0) waited_for_ = Machine::Current().pipes.WaitAndOpen(name);
  return status;
}

void ClientSide::TrickleReply(const std::string& piece, std::uint32_t milliseconds) {
  trickle_ = piece;
  trickle_milliseconds_ = milliseconds;
}

bool ClientSide::KeepWaiting(std::string& received) {
  if (!trickle_.empty()) {
    ++trickled_;
    Machine::Current().clock.Advance(trickle_milliseconds_);
    received += trickle_;
    return true;
  }
  if (delay_seconds_ == 0) return false;
  --delay_seconds_;
  Machine::Current().clock.Advance(1000);
  return true;
}

namespace {

using Connection = std::shared_ptr<Pipes::Connection>;

Connection& AsConnection(const Owner<void, CloseClientConnection>& connection) {
  return *static_cast<Connection*>(connection.get());
}

std::uint32_t GiveBytes(const std::string& bytes, std::size_t limit, const ByteSink& sink) {
  if (bytes.size() > limit) return kErrorFileTooLarge;
  // In two pieces, as a long file comes in many.
  const std::size_t half = bytes.size() / 2;
  sink(std::string_view(bytes).substr(0, half));
  sink(std::string_view(bytes).substr(half));
  return 0;
}

}  // namespace
}  // namespace simulated

using simulated::AsConnection;
using simulated::ClientSide;
using simulated::Machine;

void WriteStream(Stream stream, std::string_view utf8) {
  ClientSide::Current().Write(stream, utf8);
}

std::optional<std::size_t> TerminalColumns(Stream stream) {
  return ClientSide::Current().ChangeTerminal(stream);
}

void RestoreTerminals() { ClientSide::Current().RestoreTerminals(); }

void WipeMemory(std::span<std::byte> memory) {
  ClientSide::NoteWiped({reinterpret_cast<const char*>(memory.data()), memory.size()});
  std::memset(memory.data(), 0, memory.size());
}

std::uint32_t ReadFileBytes(const std::string& path, std::size_t limit, const ByteSink& sink) {
  const ClientSide& side = ClientSide::Current();
  if (side.file_input_error != 0) return side.file_input_error;
  simulated::Files& files = Machine::Current().files;
  const simulated::Files::Reading reading = files.BeginReading(simulated::Widen(path));
  if (reading.node == nullptr) return reading.error;
  const std::string bytes = reading.node->bytes;  // the file may change under the reader
  const std::uint32_t status = simulated::GiveBytes(bytes, limit, sink);
  files.EndReading(*reading.node);
  return status;
}

std::uint32_t ReadStandardInput(std::size_t limit, const ByteSink& sink) {
  return simulated::GiveBytes(ClientSide::Current().input, limit, sink);
}

Result<ServiceFacts> ReadServiceFacts(const std::wstring& name) {
  const ClientSide& side = ClientSide::Current();
  if (side.service_facts_error != 0) {
    return Result<ServiceFacts>::Failure(side.service_facts_error);
  }
  const std::optional<simulated::ServiceRecord> record = Machine::Current().services.Find(name);
  if (!record) return Result<ServiceFacts>::Failure(kErrorServiceDoesNotExist);
  ServiceFacts facts;
  facts.state = record->state;
  facts.process_id = record->state == kServiceStopped ? 0 : side.service_process;
  facts.start_type = record->settings.start_type;
  facts.command_line = record->settings.command_line;
  facts.account = side.account;
  return facts;
}

Result<std::int64_t> ReadProcessStart(std::uint32_t process_id) {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("ReadProcessStart", std::to_string(process_id));
  if (failure) return Result<std::int64_t>::Failure(*failure);
  return ClientSide::Current().ProcessStart(process_id);
}

std::optional<std::vector<std::wstring>> ReadAncestors() { return ClientSide::Current().ancestors; }

Result<AccessList> ReadAccessList(const std::wstring& path) {
  if (const auto set = ClientSide::Current().AccessListOf(path)) return *set;
  const std::uint32_t error = Machine::Current().files.WhyMissing(path);
  if (error != 0) return Result<AccessList>::Failure(error);
  AccessList reading;
  reading.owner = "S-1-5-18";
  reading.has_list = true;
  const auto entries = Machine::Current().files.Access(path);
  reading.is_protected = entries.has_value();
  for (const AccessEntry& entry : entries.value_or(std::vector<AccessEntry>())) {
    reading.entries.push_back({simulated::SidText(entry.sid), true, entry.access_mask});
  }
  return reading;
}

Result<bool> TestReparsePoint(const std::wstring& path) {
  const std::uint32_t error = Machine::Current().files.WhyMissing(path);
  if (error != 0) return Result<bool>::Failure(error);
  return ClientSide::Current().IsReparsePoint(path);
}

std::optional<std::uint32_t> ReadInterfaceMetric(std::uint32_t interface_index) {
  const auto& metrics = ClientSide::Current().interface_metrics;
  const auto metric = metrics.find(interface_index);
  if (metric == metrics.end()) return std::nullopt;
  return metric->second;
}

Result<ClientPipe> ClientPipe::Open(const std::wstring& name) {
  std::uint32_t error = 0;
  simulated::Connection connection = ClientSide::Current().OpenPipe(name, error);
  if (connection == nullptr) return Result<ClientPipe>::Failure(error);
  return ClientPipe(new simulated::Connection(std::move(connection)));
}

void CloseClientConnection(void* memory) noexcept {
  auto* connection = static_cast<simulated::Connection*>(memory);
  Machine::Current().pipes.CloseClient(**connection);
  delete connection;
}

std::optional<std::uint32_t> ClientPipe::ServerProcessId() const {
  return ClientSide::Current().pipe_server;
}

bool ClientPipe::Send(std::string_view message) {
  return Machine::Current().pipes.Send(*AsConnection(connection_), message);
}

ClientPipe::Progress ClientPipe::Receive(std::uint32_t milliseconds, std::string& received) {
  if (ClientSide::Current().KeepWaiting(received)) return Progress::kPending;
  simulated::Pipes& pipes = Machine::Current().pipes;
  simulated::Pipes::Connection& connection = *AsConnection(connection_);
  if (!pipes.WaitForServer(connection, milliseconds)) return Progress::kPending;
  const auto message = pipes.Receive(connection);
  if (!message) return Progress::kEnded;
  received += *message;
  return Progress::kPending;
}

std::uint32_t WaitForFreePipe(const std::wstring& name, std::uint32_t milliseconds) {
  return ClientSide::Current().WaitForPipe(name, milliseconds);
}

}  // namespace veltrane
