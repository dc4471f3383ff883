#pragma once

// The file system.

#include <cstddef>
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
// Moving knows files only, and the access list moves with the file. Every member may be called on
// any thread.
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

  // No output stream can be opened on this path, as when its access list denies writing alone;
  // deleting still works.
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
    int uses = 0;  // by the program, which never shares deletion
    std::optional<std::uint32_t> held_share;
  };
  struct Stream {
    std::wstring path;  // as it was opened
    std::shared_ptr<Node> node;
    std::string kept;          // not in the file yet
    std::size_t position = 0;  // in the file, behind what has been put there
    bool failed = false;
    bool open = true;
  };
  bool CreateFolders(const std::wstring& path);
  Stream* Open(const std::wstring& path);  // null: failed
  void Write(Stream& stream, std::string_view bytes);
  // Close will answer false, and of what is not in the file yet only so many bytes will get there.
  void SpoilStream(Stream& stream, std::size_t kept);
  bool Close(Stream& stream);
  void Free(Stream* stream);
  void EndProcess();  // what the streams have kept back is lost

  // 0 when something is at this path, else the Win32 error: 2, or 3 without the folder above.
  std::uint32_t WhyMissing(const std::wstring& path) const;

  // A file that the program reads, or the Win32 error.
  struct Reading {
    std::shared_ptr<Node> node;
    std::uint32_t error = 0;
  };
  Reading BeginReading(const std::wstring& path);
  void EndReading(Node& node);
  bool Move(const std::wstring& from, const std::wstring& to, std::uint32_t flags);
  bool Remove(const std::wstring& path);
  bool RemoveFolder(const std::wstring& path);
  std::uint32_t CreateClosedFolder(const std::wstring& path);  // 0 or the Win32 error
  bool SetAccess(const std::wstring& path, const std::vector<AccessEntry>& entries);

 private:
  std::shared_ptr<Node> Find(const std::wstring& path) const;
  std::uint32_t WhyMissingLocked(const std::wstring& path) const;
  std::shared_ptr<Node> Known(const std::wstring& path) const;
  bool CreateFoldersLocked(const std::wstring& path);
  std::shared_ptr<Node> CreateFileLocked(const std::wstring& path);

  Core& core_;
  std::map<std::wstring, std::shared_ptr<Node>> nodes_;
  std::set<std::wstring> denied_;
  std::vector<AccessSet> access_sets_;
  std::set<Stream*> streams_;  // open and closed
};

}  // namespace veltrane::simulated
