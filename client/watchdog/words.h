#pragma once

// What connect, its watchdog and confirm say to each other: one line at a time, a word or a word, a
// space and a text for people.
//
//   connect            the watchdog
//                      armed           it watches; or
//                      another         it does not, because another one does; or
//                      failed TEXT     it cannot
//   sending                            the request is about to be sent, and nothing was before
//                      watching        the watchdog knows: every end from now on is undone
//   answered                           the service has made the connection: the deadline counts
//   refused                            the service has refused: the watchdog leaves, undoing
//   nothing lost                               whether there is a connection is unknown: undo it
//   now confirmed                          keep it
//                      confirmed       it stays
//                      undone TEXT     the connection has been undone, and what is left
//                      failed TEXT     it could not be undone, and what to do
//
//   confirm            the watchdog, over kConfirmPipe
//   confirm            confirmed       it stays
//                      early           the service has not made the connection yet
//                      late            it is being undone
//
// The watchdog ends after its last word. It ignores words of connect's that it does not know, and
// answers "unknown" to others.

#include <string_view>

namespace veltrane {

inline constexpr wchar_t kConfirmPipe[] = L"\\\\.\\pipe\\VeltraneVpnConfirm";

inline constexpr std::string_view kWordArmed = "armed";
inline constexpr std::string_view kWordAnother = "another";
inline constexpr std::string_view kWordSending = "sending";
inline constexpr std::string_view kWordWatching = "watching";
inline constexpr std::string_view kWordAnswered = "answered";
inline constexpr std::string_view kWordRefused = "refused";
inline constexpr std::string_view kWordLost = "lost";
inline constexpr std::string_view kWordConfirmed = "confirmed";
inline constexpr std::string_view kWordUndone = "undone";
inline constexpr std::string_view kWordFailed = "failed";

inline constexpr std::string_view kWordConfirm = "confirm";
inline constexpr std::string_view kWordEarly = "early";
inline constexpr std::string_view kWordLate = "late";
inline constexpr std::string_view kWordUnknown = "unknown";

}  // namespace veltrane
