#include "service/command_line.h"

// The entry point of a Unicode console program (MinGW's -municode).
extern "C" int wmain(int argc, wchar_t** argv) { return veltrane::RunCommandLine(argc, argv); }
