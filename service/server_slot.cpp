#include "service/server_slot.h"

#include <atomic>
#include <memory>

namespace veltrane {
namespace {

// A raw pointer, so that a server still registered when the process ends is not destroyed.
std::atomic<IpcServer*> server_slot = nullptr;

}  // namespace

IpcServer* RegisteredServer() { return server_slot; }

IpcServer& RegisterNewServer() {
  auto server = std::make_unique<IpcServer>();
  delete server_slot.load();  // also stops it
  server_slot = server.get();
  return *server.release();
}

void ReleaseServer() { delete server_slot.exchange(nullptr); }

}  // namespace veltrane
