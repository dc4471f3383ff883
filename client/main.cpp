#include <string>
#include <vector>

#include "client/command_line.h"
#include "platform/text.h"

// The entry point of a Unicode console program (MinGW's -municode).
extern "C" int wmain(int argc, wchar_t** argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(veltrane::WideToUtf8(argv[i]));
  return veltrane::RunClient(arguments);
}
