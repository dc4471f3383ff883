#pragma once

// How a target cuts the bytes of an input into the values that it needs.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veltrane {

// Takes values from the front of an input. An input that has ended gives zeros and empty texts.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  bool IsAtEnd() const { return rest_.empty(); }

  std::uint8_t Byte() {
    if (rest_.empty()) return 0;
    const auto byte = static_cast<std::uint8_t>(rest_.front());
    rest_.remove_prefix(1);
    return byte;
  }

  // The bytes up to the next zero byte, which is taken too, or up to the end. Seeds can be written
  // by hand in this form, and no request holds a zero byte either.
  std::string Text() {
    const std::string_view text = rest_.substr(0, rest_.find('\0'));
    rest_.remove_prefix(text.size() == rest_.size() ? text.size() : text.size() + 1);
    return std::string(text);
  }

  std::string_view Rest() const { return rest_; }

 private:
  std::string_view rest_;
};

// A copy of a text with nothing behind it, so that AddressSanitizer sees a reader that goes too
// far.
class BareText {
 public:
  explicit BareText(std::string_view text) : bytes_(text.begin(), text.end()) {}

  std::string_view View() const { return {bytes_.data(), bytes_.size()}; }

 private:
  std::vector<char> bytes_;
};

}  // namespace veltrane
