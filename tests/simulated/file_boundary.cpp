// The functions of platform/files.h, and the access lists of files from platform/security.h.

#include "platform/files.h"
#include "platform/security.h"
#include "tests/simulated/machine.h"

namespace veltrane {
namespace {

using simulated::Files;
using simulated::Machine;
using simulated::Narrow;

Files::Stream& Open(const Owner<void, CloseOutputStream>& stream) {
  if (stream == nullptr) simulated::Die("an output file was used after it was moved from");
  return *static_cast<Files::Stream*>(stream.get());
}

bool CloseStream(Files::Stream& stream) {
  Machine& machine = Machine::Current();
  if (const auto failure = machine.calls.Begin("OutputFile.Close", Narrow(stream.path))) {
    machine.files.SpoilStream(stream,
                              *failure == simulated::kOnlyHalf ? stream.kept.size() / 2 : 0);
  }
  return machine.files.Close(stream);
}

}  // namespace

bool CreateFolders(const std::wstring& path) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("CreateFolders", Narrow(path))) return false;
  return machine.files.CreateFolders(path);
}

Result<bool> TestExistence(const std::wstring& path) {
  Machine& machine = Machine::Current();
  const auto failure = machine.calls.Begin("TestExistence", Narrow(path));
  if (failure) return Result<bool>::Failure(*failure);
  return machine.files.Exists(path);
}

std::optional<OutputFile> OutputFile::Open(const std::wstring& path) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("OutputFile.Open", Narrow(path))) return std::nullopt;
  Files::Stream* stream = machine.files.Open(path);
  if (stream == nullptr) return std::nullopt;
  return OutputFile(stream);
}

void CloseOutputStream(void* memory) noexcept {
  auto* stream = static_cast<Files::Stream*>(memory);
  if (stream->open) CloseStream(*stream);
  Machine::Current().files.Free(stream);
}

void OutputFile::Write(std::string_view bytes) {
  Machine& machine = Machine::Current();
  Files::Stream& stream = veltrane::Open(stream_);
  const std::string details = Narrow(stream.path) + " " + std::to_string(bytes.size()) + " bytes";
  const auto failure = machine.calls.Begin("OutputFile.Write", details);
  if (failure == simulated::kOnlyHalf)
    machine.files.Write(stream, bytes.substr(0, bytes.size() / 2));
  if (failure) {
    machine.files.SpoilStream(stream, stream.kept.size());
  } else {
    machine.files.Write(stream, bytes);
  }
}

bool OutputFile::Close() { return CloseStream(veltrane::Open(stream_)); }

bool MoveFileWithFlags(const std::wstring& from, const std::wstring& to, std::uint32_t flags) {
  Machine& machine = Machine::Current();
  const std::string details =
      Narrow(from) + " to " + Narrow(to) + " flags " + std::to_string(flags);
  if (machine.calls.Begin("MoveFileWithFlags", details)) return false;
  return machine.files.Move(from, to, flags);
}

bool RemoveFile(const std::wstring& path) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("RemoveFile", Narrow(path))) return false;
  return machine.files.Remove(path);
}

bool RemoveFolder(const std::wstring& path) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("RemoveFolder", Narrow(path))) return false;
  return machine.files.RemoveFolder(path);
}

bool SetProtectedAccess(const std::wstring& path, const std::vector<AccessEntry>& entries) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("SetProtectedAccess", Narrow(path))) return false;
  return machine.files.SetAccess(path, entries);
}

std::uint32_t CreateClosedFolder(const std::wstring& path) {
  Machine& machine = Machine::Current();
  if (const auto error = machine.calls.Begin("CreateClosedFolder", Narrow(path))) return *error;
  return machine.files.CreateClosedFolder(path);
}

}  // namespace veltrane
