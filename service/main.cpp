#include "service/command_line.h"

// The process entry of a Unicode console program (MinGW's -municode).
extern "C" int wmain(int argc, wchar_t** argv) { return veltrane::RunCommandLine(argc, argv); }
