#pragma once

// The file system.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/security.h"
#include "tests/simulated/core.h"

namespace veltrane::simulated {

// Share modes of winnt.h.
inline constexpr std::uint32_t kShareRead = 1;
inline constexpr std::uint32_t kShareWrite = 2;
inline constexpr std::uint32_t kShareDelete = 4;

// One call that set an access list.
struct AccessSet {
  std::wstring path;
  std::vector<AccessEntry> entries;
};

// Paths are absolute, with backslashes, and compared without case. At the start there are the
// folders C: and C:\ProgramData; no other drive exists.
//
// An output stream truncates its file when it is opened, keeps everything written to it and puts it
// into the file, from the beginning, when it is closed or destroyed. It needs the folder of the
// file, and shares reading and writing but not deletion, so the file can be neither deleted nor
// moved nor replaced meanwhile. Moving knows files only; replacing needs flag 1
// (MOVEFILE_REPLACE_EXISTING); the access list moves with the file. Creating a folder fails when
// a file is in the way. Setting an access list fails when nothing
// is there.
//
// For other failures: Fail or FailWhere "CreateFolders", "TestExistence", "OutputFile.Open",
// "OutputFile.Write" (these bytes are lost and Close will answer false), "OutputFile.Close"
// (nothing reaches the file), "MoveFileWithFlags", "RemoveFile", "SetProtectedAccess". Every member
// may be called on any thread.
class Files {
 public:
  explicit Files(Core& core);

  // Both create missing folders; AddFile replaces the bytes of a file that is there.
  void AddFolder(const std::wstring& path);
  void AddFile(const std::wstring& path, const std::string& bytes);

  bool Exists(const std::wstring& path) const;
  bool IsFolder(const std::wstring& path) const;

  // The bytes of a file; nullopt when there is none.
  std::optional<std::string> Bytes(const std::wstring& path) const;

  // The paths of all files, in order.
  std::vector<std::wstring> AllFiles() const;

  // The access list that was set last on what is at this path; nullopt when none was.
  std::optional<std::vector<AccessEntry>> Access(const std::wstring& path) const;

  // Every access list that was set, in order.
  std::vector<AccessSet> AccessSets() const;

  // The output streams that the program has open.
  int OpenStreams() const;

  // No output stream can be opened on this path, as when it is read-only; deleting still works.
  void DenyOpen(const std::wstring& path);
  void AllowOpen(const std::wstring& path);

  // Another program opens a file and lets others do only what the share mode says (a sum of the
  // constants above), until it lets go. With kShareDelete the file vanishes at once when deleted.
  void HoldOpen(const std::wstring& path, std::uint32_t share);
  void Release(const std::wstring& path);

  // For the boundary functions.
  struct Node {
    std::wstring path;  // spelled as at its creation
    bool folder = false;
    std::string bytes;
    std::optional<std::vector<AccessEntry>> access;
    int streams = 0;
    std::optional<std::uint32_t> held_share;
  };
  struct Stream {
    std::wstring path;  // as it was opened
    std::shared_ptr<Node> node;
    std::string buffer;
    bool failed = false;
    bool open = true;
  };
  bool CreateFolders(const std::wstring& path);
  Stream* Open(const std::wstring& path);  // null: failed
  void Write(Stream& stream, std::string_view bytes);
  void SpoilStream(Stream& stream, bool lose_buffer);  // Close will answer false
  bool Close(Stream& stream);
  bool Move(const std::wstring& from, const std::wstring& to, std::uint32_t flags);
  bool Remove(const std::wstring& path);
  bool SetAccess(const std::wstring& path, const std::vector<AccessEntry>& entries);

 private:
  std::shared_ptr<Node> Find(const std::wstring& path) const;
  std::shared_ptr<Node> Known(const std::wstring& path) const;
  bool CreateFoldersLocked(const std::wstring& path);
  std::shared_ptr<Node> CreateFileLocked(const std::wstring& path);

  Core& core_;
  std::map<std::wstring, std::shared_ptr<Node>> nodes_;
  std::set<std::wstring> denied_;
  std::vector<AccessSet> access_sets_;
  int open_streams_ = 0;
};

}  // namespace veltrane::simulated
