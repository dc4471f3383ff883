#include "tests/simulated/libraries.h"

#include "tests/simulated/machine.h"

namespace veltrane {
namespace simulated {
namespace {

constexpr std::size_t kLongestPath = 259;  // a buffer of MAX_PATH without the terminating zero

}  // namespace

void Libraries::Add(const std::wstring& library) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  files_[FoldCase(library)].name = library;
}

void Libraries::AddExport(const std::wstring& library, const std::string& name,
                          LibraryFunction function) {
  Add(library);
  const std::lock_guard<std::mutex> lock(core_.mutex);
  files_[FoldCase(library)].exports[name] = function;
}

std::size_t Libraries::Loads(const std::wstring& library) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto file = files_.find(FoldCase(library));
  return file == files_.end() ? 0 : file->second.loads;
}

std::size_t Libraries::Frees(const std::wstring& library) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto file = files_.find(FoldCase(library));
  return file == files_.end() ? 0 : file->second.frees;
}

std::size_t Libraries::Loaded() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  std::size_t loaded = 0;
  for (const auto& [name, file] : files_) loaded += file.loads - file.frees;
  return loaded;
}

void Libraries::SetExecutablePath(const std::wstring& path) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  executable_path_ = path;
}

Libraries::File* Libraries::Load(const std::wstring& library) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto file = files_.find(FoldCase(library));
  if (file == files_.end()) return nullptr;
  ++file->second.loads;
  return &file->second;
}

LibraryFunction Libraries::Find(const File& file, const std::string& name) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const auto function = file.exports.find(name);
  return function == file.exports.end() ? nullptr : function->second;
}

void Libraries::Free(File& file) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  ++file.frees;
}

void Libraries::EndProcess() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  for (auto& [name, file] : files_) file.frees = file.loads;
}

std::wstring Libraries::ExecutablePath() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return executable_path_.substr(0, kLongestPath);
}

}  // namespace simulated

namespace {

using simulated::Libraries;
using simulated::Machine;
using simulated::Narrow;

Libraries::File& Loaded(const Owner<void, FreeLoadedLibrary>& handle) {
  if (handle == nullptr) simulated::Die("a library was used after it was moved from");
  return *static_cast<Libraries::File*>(handle.get());
}

}  // namespace

std::optional<Library> Library::Load(const std::wstring& name) {
  Machine& machine = Machine::Current();
  if (machine.calls.Begin("Library.Load", Narrow(name))) return std::nullopt;
  Libraries::File* file = machine.libraries.Load(name);
  if (file == nullptr) return std::nullopt;
  return Library(file);
}

void FreeLoadedLibrary(void* handle) noexcept {
  Machine& machine = Machine::Current();
  Libraries::File& file = *static_cast<Libraries::File*>(handle);
  machine.calls.Begin("Library.Free", Narrow(file.name));
  machine.libraries.Free(file);
}

LibraryFunction Library::Find(const std::string& name) const {
  Machine& machine = Machine::Current();
  Libraries::File& file = Loaded(handle_);
  if (machine.calls.Begin("Library.Find", Narrow(file.name) + " " + name)) return nullptr;
  return machine.libraries.Find(file, name);
}

std::wstring ExecutablePath() {
  Machine& machine = Machine::Current();
  machine.calls.Begin("ExecutablePath");
  return machine.libraries.ExecutablePath();
}

}  // namespace veltrane
