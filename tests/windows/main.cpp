#include <string>

#include <gtest/gtest.h>

#include "tests/windows/process.h"

namespace {

using namespace veltrane::windows_tests;

// As a service: runs the executable under test as the service, which prints to service.out and
// service.err beside this program.
int KeepServiceOutputs() {
  Process service(
      ServiceExecutable(), L"--run-as-service", {},
      {.output = TestFolder() + L"\\service.out", .error = TestFolder() + L"\\service.err"});
  return static_cast<int>(service.Wait().exit_code);
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc == 2 && std::string(argv[1]) == "--keep-service-outputs") return KeepServiceOutputs();
  return RUN_ALL_TESTS();
}
