#pragma once

// What must hold of every profile that veltranectl reads, and of every problem that it finds.

#include <string>
#include <string_view>

#include "client/profile/profile.h"

namespace veltrane {

// Runs a check of a reader on a text, on a machine of its own, after it has seen that the reader
// wipes the secrets that it finds.
void OnClientMachine(ProfileReading (*read)(std::string_view), const std::string& text,
                     void (*check)(const std::string& text));

// A problem has one printable line, names a line of the text, and shows no key.
void CheckProblem(const ProfileProblem& problem, const std::string& text);

// A request that veltranectl would send gives the service every value and the nonce unchanged,
// whatever they are; or else there is a problem.
void CheckRequest(const Profile& profile, const std::string& nonce);

// A profile without a problem reaches the service value by value, gives a configuration file that
// has the same values and nothing else, and shows no secret on the screen.
void CheckProfile(const Profile& profile, const ProfileKeyWords& words);

// Every value of the one is that of the other.
void RequireSameValues(const Profile& actual, const Profile& expected, const std::string& property);

// Whether the text is UTF-8 without control characters.
bool IsPrintable(const std::string& text);

// Ends the process unless the text is that, and when it has 40 base64 digits in a row, which may be
// a key.
void RequirePrintable(const std::string& text, const std::string& property);

// Whether a text has so many base64 digits in a row.
bool LooksLikeKey(const std::string& text);

}  // namespace veltrane
