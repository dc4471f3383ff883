#include "client/screens/screens.h"
#include "client/text/quoting.h"

namespace veltrane {
namespace {

constexpr std::size_t kPublicKeyCharacters = 8;
constexpr std::size_t kLabelColumns = 20;

std::string ValueText(ProfileKey key, std::string_view value) {
  switch (key) {
    case ProfileKey::kClientPrivateKey:
    case ProfileKey::kPreSharedKey:
      return Hidden(value);
    case ProfileKey::kServerPublicKey:
    case ProfileKey::kClientPublicKey:
      return std::string(value.substr(0, kPublicKeyCharacters)) + "...";
    default:
      return Shown(value);
  }
}

}  // namespace

std::string ProfileScreen(const Profile& profile, const std::string& nonce, const Painter& paint) {
  std::string screen = paint(Colour::kHeading, "Sending to the service") + "\n";
  for (std::size_t i = 0; i < kProfileKeyNames.size(); ++i) {
    const auto key = static_cast<ProfileKey>(i);
    if (profile[key].IsEmpty()) continue;
    screen += Row(kProfileKeyNames[i], ValueText(key, profile[key].View()), kLabelColumns);
  }
  if (!nonce.empty()) screen += Row("session_nonce", Shown(nonce), kLabelColumns);
  return screen;
}

}  // namespace veltrane
