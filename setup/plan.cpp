#include "setup/plan.h"

#include <cstddef>
#include <cwchar>

namespace veltrane {
namespace {

constexpr wchar_t kSeparator =
    L'\x1F';  // the unit separator, which no path and no setting contains

class Packer {
 public:
  void Put(const std::wstring& field) { text_ += field + kSeparator; }
  void Put(std::size_t number) { Put(std::to_wstring(number)); }
  void Put(const std::vector<std::wstring>& fields) {
    Put(fields.size());
    for (const std::wstring& field : fields) Put(field);
  }
  void Put(const Registration& registration) {
    Put(registration.exists);
    Put(registration.command_line);
    Put(registration.start_type);
    Put(registration.runs);
    Put(registration.environment);
  }
  std::wstring Text() const { return text_; }

 private:
  std::wstring text_;
};

class Unpacker {
 public:
  explicit Unpacker(const std::wstring& text) : text_(text) {}

  std::wstring Text() {
    const std::size_t end = text_.find(kSeparator, position_);
    if (end == std::wstring::npos) {
      whole_ = false;
      return {};
    }
    std::wstring field = text_.substr(position_, end - position_);
    position_ = end + 1;
    return field;
  }
  std::uint32_t Number() {
    return static_cast<std::uint32_t>(std::wcstoul(Text().c_str(), nullptr, 10));
  }
  bool Flag() { return Number() != 0; }
  std::vector<std::wstring> Texts() {
    std::vector<std::wstring> fields;
    for (std::uint32_t left = Number(); left > 0 && whole_; --left) fields.push_back(Text());
    return fields;
  }
  Registration TakeRegistration() {
    Registration registration;
    registration.exists = Flag();
    registration.command_line = Text();
    registration.start_type = Number();
    registration.runs = Flag();
    registration.environment = Texts();
    return registration;
  }
  // Whether the text had all the fields, and no more.
  bool IsWhole() const { return whole_ && position_ == text_.size(); }

 private:
  const std::wstring& text_;
  std::size_t position_ = 0;
  bool whole_ = true;
};

}  // namespace

std::wstring PackPlan(const Plan& plan) {
  Packer packer;
  packer.Put(plan.program);
  packer.Put(plan.conf);
  packer.Put(plan.has_service);
  packer.Put(plan.ends_tunnel);
  packer.Put(plan.makes_folder);
  packer.Put(plan.before);
  packer.Put(plan.after);
  return packer.Text();
}

std::optional<Plan> UnpackPlan(const std::wstring& text) {
  Unpacker unpacker(text);
  Plan plan;
  plan.program = unpacker.Text();
  plan.conf = unpacker.Text();
  plan.has_service = unpacker.Flag();
  plan.ends_tunnel = unpacker.Flag();
  plan.makes_folder = unpacker.Flag();
  plan.before = unpacker.TakeRegistration();
  plan.after = unpacker.TakeRegistration();
  if (!unpacker.IsWhole()) return std::nullopt;
  return plan;
}

}  // namespace veltrane
