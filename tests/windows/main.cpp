#include <string>

#include <gtest/gtest.h>

#include "tests/windows/clean_machine.h"
#include "tests/windows/process.h"

namespace {

using namespace veltrane::windows_tests;

// As a service: runs the executable under test as the service, and leaves what it printed in
// service.out and service.err beside this program.
int KeepServiceOutputs() {
  const Outcome outcome = RunService(L"--run-as-service");
  PutFile(TestFolder() + L"\\service.out", outcome.output);
  PutFile(TestFolder() + L"\\service.err", outcome.error);
  return static_cast<int>(outcome.exit_code);
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc == 2 && std::string(argv[1]) == "--keep-service-outputs") return KeepServiceOutputs();
  return RUN_ALL_TESTS();
}
