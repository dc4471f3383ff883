#include "client/profile/json_profile.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "client/text/quoting.h"
#include "client/text/utf8.h"

namespace veltrane {
namespace {

std::optional<ProfileKey> FindKey(std::string_view name) {
  for (std::size_t i = 0; i < kProfileKeyNames.size(); ++i) {
    if (name == kProfileKeyNames[i]) return static_cast<ProfileKey>(i);
  }
  return std::nullopt;
}

class JsonReader {
 public:
  explicit JsonReader(std::string_view text) : rest_(text) {}

  ProfileReading Read() && {
    if (!TakeObject()) return {std::nullopt, std::move(problem_)};
    return {std::move(profile_), {}};
  }

 private:
  bool Fail(std::string text) {
    problem_ = {line_, std::move(text)};
    return false;
  }

  char Next() const { return rest_.empty() ? '\0' : rest_.front(); }

  void Advance() {
    if (rest_.front() == '\n') ++line_;
    rest_.remove_prefix(1);
  }

  void SkipBlanks() {
    while (!rest_.empty() && std::string_view(" \t\r\n").find(Next()) != std::string_view::npos) {
      Advance();
    }
  }

  // Skips white space and takes this character if it comes next.
  bool Take(char c) {
    SkipBlanks();
    if (Next() != c) return false;
    Advance();
    return true;
  }

  bool TakeObject() {
    if (!Take('{')) return Fail("a JSON profile must begin with \"{\"");
    if (!Take('}')) {
      do {
        if (!TakeMember()) return false;
      } while (Take(','));
      if (!Take('}')) return Fail("a comma or \"}\" is missing here or on the line before");
    }
    SkipBlanks();
    return rest_.empty() || Fail("text after the end of the profile: delete it");
  }

  bool TakeMember() {
    SkipBlanks();
    SecretText name;
    if (!TakeString(name)) return false;
    const std::optional<ProfileKey> key = FindKey(name.View());
    if (!key) return FailUnknown(name.View());
    if (!Take(':')) return Fail("a colon is missing after " + Quoted(name.View()));
    SkipBlanks();
    if (Next() != '"') {
      return Fail(
          Quoted(name.View()) +
          " is not a string: put its value in quotes, because the service reads only strings");
    }
    ProfileValue& value = profile_[*key];
    if (value.line != 0) return Fail(Quoted(name.View()) + " appears twice: keep the right one");
    value.line = line_;
    return TakeString(value.text);
  }

  bool FailUnknown(std::string_view name) {
    if (name == "session_nonce") {
      return Fail("\"session_nonce\" does not belong in a profile: use --session");
    }
    return Fail("unknown key " + Quoted(name) + ": correct or delete it");
  }

  bool TakeString(SecretText& text) {
    if (Next() != '"') return Fail("a string in quotes is missing here");
    Advance();
    while (Next() != '"') {
      const char c = Next();
      if (rest_.empty() || c == '\n') return Fail("the string does not end on this line");
      Advance();
      if (c != '\\') {
        text.Append({&c, 1});
      } else if (!TakeEscape(text)) {
        return false;
      }
    }
    Advance();
    return true;
  }

  bool TakeEscape(SecretText& text) {
    const char c = Next();
    if (rest_.empty() || c == '\n') return Fail("the string does not end on this line");
    Advance();
    constexpr std::string_view kEscapes = "\"\\/bfnrt";
    constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const std::size_t index = kEscapes.find(c);
    if (index != std::string_view::npos) {
      text.Append(kMeanings.substr(index, 1));
      return true;
    }
    if (c != 'u') return Fail("unknown escape \\" + Shown({&c, 1}) + ": correct it");
    return TakeUnicode(text);
  }

  bool TakeUnicode(SecretText& text) {
    std::optional<char32_t> point = TakeHex();
    if (!point) return Fail("\\u needs four hexadecimal digits");
    if (*point >= 0xD800 && *point < 0xDC00 && rest_.substr(0, 2) == "\\u") {
      rest_.remove_prefix(2);
      const std::optional<char32_t> low = TakeHex();
      if (!low || *low < 0xDC00 || *low > 0xDFFF) return Fail("\\u: half of a surrogate pair");
      point = 0x10000 + ((*point - 0xD800) << 10) + (*low - 0xDC00);
    }
    if (*point >= 0xD800 && *point <= 0xDFFF) return Fail("\\u: half of a surrogate pair");
    text.Append(EncodeUtf8(*point));
    return true;
  }

  std::optional<char32_t> TakeHex() {
    if (rest_.size() < 4) return std::nullopt;
    char32_t value = 0;
    for (const char c : rest_.substr(0, 4)) {
      const std::size_t digit = std::string_view("0123456789abcdef0123456789ABCDEF").find(c);
      if (digit == std::string_view::npos) return std::nullopt;
      value = value * 16 + static_cast<char32_t>(digit % 16);
    }
    rest_.remove_prefix(4);
    return value;
  }

  std::string_view rest_;
  std::size_t line_ = 1;
  Profile profile_;
  ProfileProblem problem_;
};

}  // namespace

ProfileReading ReadJsonProfile(std::string_view text) { return JsonReader(text).Read(); }

}  // namespace veltrane
