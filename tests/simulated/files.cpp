#include "tests/simulated/files.h"

#include <algorithm>
#include <utility>

#include "platform/files.h"
#include "tests/simulated/machine.h"

namespace veltrane::simulated {
namespace {

constexpr std::uint32_t kFileNotFound = 2;       // ERROR_FILE_NOT_FOUND
constexpr std::uint32_t kPathNotFound = 3;       // ERROR_PATH_NOT_FOUND
constexpr std::uint32_t kAccessDenied = 5;       // ERROR_ACCESS_DENIED
constexpr std::uint32_t kSharingViolation = 32;  // ERROR_SHARING_VIOLATION
constexpr std::uint32_t kAlreadyExists = 183;    // ERROR_ALREADY_EXISTS

std::wstring Tidy(std::wstring path) {
  std::replace(path.begin(), path.end(), L'/', L'\\');
  while (!path.empty() && path.back() == L'\\') path.pop_back();
  return path;
}

std::wstring KeyOf(const std::wstring& path) { return FoldCase(Tidy(path)); }

// The folder that holds what is at a tidy path; empty for a drive.
std::wstring ParentOf(const std::wstring& tidy_path) {
  const std::size_t separator = tidy_path.rfind(L'\\');
  return separator == std::wstring::npos ? std::wstring{} : tidy_path.substr(0, separator);
}

bool Shares(const Files::Node& node, std::uint32_t mode) {
  return (node.held_share.value_or(mode) & mode) != 0;
}

// Whether a file may be deleted, moved or replaced while others have it open.
bool LetsGo(const Files::Node& node) { return node.uses == 0 && Shares(node, kShareDelete); }

void PutIntoFile(Files::Stream& stream, std::string_view bytes) {
  std::string& file = stream.node->bytes;
  if (file.size() < stream.position + bytes.size()) file.resize(stream.position + bytes.size());
  file.replace(stream.position, bytes.size(), bytes);
  stream.position += bytes.size();
}

}  // namespace

Files::Files(Core& core) : core_(core) {
  auto drive = std::make_shared<Node>();
  drive->path = L"C:";
  drive->folder = true;
  nodes_[L"c:"] = std::move(drive);
  AddFolder(L"C:\\ProgramData");
}

void Files::AddFolder(const std::wstring& path) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (!CreateFoldersLocked(path)) Die("no folder can be made at " + Narrow(path));
}

void Files::AddFile(const std::wstring& path, const std::string& bytes) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (!CreateFoldersLocked(ParentOf(Tidy(path)))) Die("no file can be made at " + Narrow(path));
  std::shared_ptr<Node> node = Find(path);
  if (node == nullptr) node = CreateFileLocked(path);
  if (node->folder) Die("a folder is at " + Narrow(path));
  node->bytes = bytes;
}

bool Files::Exists(const std::wstring& path) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return Find(path) != nullptr;
}

bool Files::IsFolder(const std::wstring& path) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const std::shared_ptr<Node> node = Find(path);
  return node != nullptr && node->folder;
}

std::optional<std::string> Files::Bytes(const std::wstring& path) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const std::shared_ptr<Node> node = Find(path);
  if (node == nullptr || node->folder) return std::nullopt;
  return node->bytes;
}

std::vector<std::wstring> Files::AllFiles() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  std::vector<std::wstring> paths;
  for (const auto& [key, node] : nodes_) {
    if (!node->folder) paths.push_back(node->path);
  }
  return paths;
}

std::optional<std::vector<AccessEntry>> Files::Access(const std::wstring& path) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const std::shared_ptr<Node> node = Find(path);
  return node == nullptr ? std::nullopt : node->access;
}

std::vector<AccessSet> Files::AccessSets() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return access_sets_;
}

int Files::OpenStreams() const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return static_cast<int>(std::count_if(streams_.begin(), streams_.end(),
                                        [](const Stream* stream) { return stream->open; }));
}

void Files::DenyOpen(const std::wstring& path) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  denied_.insert(KeyOf(path));
}

void Files::AllowOpen(const std::wstring& path) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  denied_.erase(KeyOf(path));
}

void Files::HoldOpen(const std::wstring& path, std::uint32_t share) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Known(path)->held_share = share;
}

void Files::Release(const std::wstring& path) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  Known(path)->held_share.reset();
}

bool Files::CreateFolders(const std::wstring& path) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return CreateFoldersLocked(path);
}

Files::Stream* Files::Open(const std::wstring& path) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (denied_.contains(KeyOf(path))) return nullptr;
  const std::shared_ptr<Node> folder = Find(ParentOf(Tidy(path)));
  if (folder == nullptr || !folder->folder) return nullptr;
  std::shared_ptr<Node> node = Find(path);
  if (node == nullptr) node = CreateFileLocked(path);
  if (node->folder) return nullptr;
  if (!Shares(*node, kShareWrite)) return nullptr;
  node->bytes.clear();
  ++node->uses;
  auto* stream = new Stream;
  streams_.insert(stream);
  stream->path = path;
  stream->node = std::move(node);
  return stream;
}

void Files::Write(Stream& stream, std::string_view bytes) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (!stream.open || stream.failed) return;
  stream.kept += bytes;
  if (stream.kept.size() > kOutputBufferBytes) PutIntoFile(stream, std::exchange(stream.kept, {}));
}

void Files::SpoilStream(Stream& stream, std::size_t kept) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  stream.failed = true;
  stream.kept.resize(kept);
}

bool Files::Close(Stream& stream) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (!stream.open) Die("an output file was closed twice");
  stream.open = false;
  --stream.node->uses;
  PutIntoFile(stream, std::exchange(stream.kept, {}));
  return !stream.failed;
}

void Files::Free(Stream* stream) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  streams_.erase(stream);
  delete stream;
}

void Files::EndProcess() {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  for (Stream* stream : streams_) {
    if (stream->open) --stream->node->uses;
    stream->open = false;
  }
  streams_.clear();
}

std::uint32_t Files::WhyMissing(const std::wstring& path) const {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  return WhyMissingLocked(path);
}

Files::Reading Files::BeginReading(const std::wstring& path) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  if (const std::uint32_t error = WhyMissingLocked(path); error != 0) return {nullptr, error};
  std::shared_ptr<Node> node = Find(path);
  if (node->folder) return {nullptr, kAccessDenied};
  if (!Shares(*node, kShareRead)) return {nullptr, kSharingViolation};
  ++node->uses;
  return {std::move(node), 0};
}

void Files::EndReading(Node& node) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  --node.uses;
}

bool Files::Move(const std::wstring& from, const std::wstring& to, std::uint32_t flags) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const std::shared_ptr<Node> source = Find(from);
  if (source == nullptr || source->folder || !LetsGo(*source)) return false;
  const std::shared_ptr<Node> folder = Find(ParentOf(Tidy(to)));
  if (folder == nullptr || !folder->folder) return false;
  const std::shared_ptr<Node> target = Find(to);
  if (target != nullptr && target != source) {
    if ((flags & kMoveReplaceExisting) == 0 || target->folder || !LetsGo(*target)) return false;
  }
  nodes_.erase(KeyOf(from));
  source->path = Tidy(to);
  nodes_[KeyOf(to)] = source;
  return true;
}

bool Files::Remove(const std::wstring& path) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const std::shared_ptr<Node> node = Find(path);
  if (node == nullptr || node->folder || !LetsGo(*node)) return false;
  nodes_.erase(KeyOf(path));
  return true;
}

bool Files::RemoveFolder(const std::wstring& path) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const std::shared_ptr<Node> node = Find(path);
  if (node == nullptr || !node->folder) return false;
  const std::wstring inside = KeyOf(path) + L"\\";
  const auto next = nodes_.lower_bound(inside);
  if (next != nodes_.end() && next->first.starts_with(inside)) return false;
  nodes_.erase(KeyOf(path));
  return true;
}

std::uint32_t Files::CreateClosedFolder(const std::wstring& path) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const std::uint32_t missing = WhyMissingLocked(path);
  if (missing == 0) return kAlreadyExists;
  if (missing != kFileNotFound) return missing;
  CreateFoldersLocked(path);
  constexpr std::uint32_t kFullAccess = 0x001F01FF;
  std::vector<AccessEntry> entries;
  for (const Sid& sid : {NtSid({18}), NtSid({32, 544})}) {
    entries.push_back({sid, TrusteeType::kUser, kFullAccess, kObjectAndContainerInherit});
  }
  Find(path)->access = entries;
  return 0;
}

bool Files::SetAccess(const std::wstring& path, const std::vector<AccessEntry>& entries) {
  const std::lock_guard<std::mutex> lock(core_.mutex);
  const std::shared_ptr<Node> node = Find(path);
  if (node == nullptr || !MakesAccessList(entries)) return false;
  node->access = entries;
  access_sets_.push_back({path, entries});
  return true;
}

std::shared_ptr<Files::Node> Files::Find(const std::wstring& path) const {
  const auto node = nodes_.find(KeyOf(path));
  return node == nodes_.end() ? nullptr : node->second;
}

std::uint32_t Files::WhyMissingLocked(const std::wstring& path) const {
  if (Find(path) != nullptr) return 0;
  const std::shared_ptr<Node> folder = Find(ParentOf(Tidy(path)));
  return folder != nullptr && folder->folder ? kFileNotFound : kPathNotFound;
}

std::shared_ptr<Files::Node> Files::Known(const std::wstring& path) const {
  std::shared_ptr<Node> node = Find(path);
  if (node == nullptr) Die("nothing is at " + Narrow(path));
  return node;
}

bool Files::CreateFoldersLocked(const std::wstring& path) {
  const std::wstring tidy = Tidy(path);
  if (const std::shared_ptr<Node> node = Find(tidy)) return node->folder;
  const std::wstring parent = ParentOf(tidy);
  if (parent.empty() || !CreateFoldersLocked(parent)) return false;
  auto folder = std::make_shared<Node>();
  folder->path = tidy;
  folder->folder = true;
  nodes_[KeyOf(tidy)] = std::move(folder);
  return true;
}

std::shared_ptr<Files::Node> Files::CreateFileLocked(const std::wstring& path) {
  auto node = std::make_shared<Node>();
  node->path = Tidy(path);
  nodes_[KeyOf(path)] = node;
  return node;
}

}  // namespace veltrane::simulated
