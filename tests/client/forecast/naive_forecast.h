#pragma once

// A second forecast, made by brute force, which the first is held against: whatever is not known is
// invented in every way that could matter, and each machine that comes out is played through.

#include "client/forecast/forecast.h"

namespace veltrane {

// The verdicts that are right. Both are the same when nothing is missing, or nothing that matters.
struct NaiveRange {
  ForecastVerdict darkest = ForecastVerdict::kStays;
  ForecastVerdict brightest = ForecastVerdict::kStays;
};

// In one world the brightest verdict is the one that the invented machines agree on, or else
// `kUnknown`. The darkest one is the worst that happens on any of them, or `kUnknown`. Each bound
// is the worst over all worlds.
NaiveRange NaiveVerdict(const Situation& situation, const Subject& subject);

}  // namespace veltrane
