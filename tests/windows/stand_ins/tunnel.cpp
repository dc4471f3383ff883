// Tunnel libraries that answer at once, one for each value of ANSWER. Each puts the path that it
// was given beside the file, in "<path>.seen", and then deletes the file when DELETE_CONF is set.

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>

#ifndef DELETE_CONF
#define DELETE_CONF 0
#endif

// The register's low byte is the answer; what stands above it means nothing.
extern "C" __declspec(dllexport) int EXPORT_NAME(const wchar_t* conf_path) {
  const std::filesystem::path path = conf_path;
  const std::u8string text = path.u8string();
  std::ofstream(std::filesystem::path(path) += L".seen", std::ios::binary)
      .write(reinterpret_cast<const char*>(text.data()), static_cast<std::streamsize>(text.size()));
  if (DELETE_CONF) DeleteFileW(conf_path);
  return ANSWER;
}
