// The samples are walked once, for the finest level.
#include "operations/levels.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "reader/decoding/channels.h"

namespace vortena {
namespace {

constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kMostCurves = 4;
constexpr std::size_t kSamplesAtATime = 8192;  // between looks at the watch
constexpr double kTurn = 360;

using Values = std::array<double, kMostCurves>;
using Attitude = std::array<double, 4>;

/// Axes as they are.
struct PlainCurves {
  const kiv_DataSensor& series;

  Values operator()(std::size_t i) {
    Values values{};
    for (std::size_t a = 0; a < series.axisCount && a < kMostCurves; ++a) {
      values[a] = series.values[a * series.sampleCount + i];
    }
    return values;
  }
};

/// Three axes and their norm.
struct VectorCurves {
  PlainCurves axes;

  Values operator()(std::size_t i) {
    Values values = axes(i);
    values[3] = std::sqrt(values[0] * values[0] + values[1] * values[1] + values[2] * values[2]);
    return values;
  }
};

bool is_attitude(const Attitude& q) {
  const double square = q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3];
  return std::isfinite(square) && square > 0;
}

/// A circular angle as one that goes on beyond a half turn either way.
class Unwound {
 public:
  double next(double angle) {
    const double turns = std::isnan(last_) ? 0 : std::round((last_ - angle) / kTurn);
    last_ = angle + kTurn * turns;
    return last_;
  }
  void forget() { last_ = kNothing; }

 private:
  double last_ = kNothing;
};

/// Roll, pitch and heading in degrees; docs/orientation.md has the formulas.
class AngleCurves {
 public:
  explicit AngleCurves(const PlainCurves& axes) : axes_(axes) {}

  Values operator()(std::size_t i) {
    constexpr double kDegrees = 180 / std::numbers::pi;
    const Attitude q = axes_(i);
    if (!is_attitude(q)) {
      roll_.forget();
      heading_.forget();
      return {kNothing, kNothing, kNothing, kNothing};
    }
    const auto [w, x, y, z] = q;
    return {roll_.next(kDegrees * std::atan2(2 * (w * x + y * z), 1 - 2 * (x * x + y * y))),
            kDegrees * std::asin(std::clamp(2 * (w * y - x * z), -1.0, 1.0)),
            heading_.next(kDegrees * std::atan2(2 * (w * z + x * y), 1 - 2 * (y * y + z * z))), kNothing};
  }

 private:
  PlainCurves axes_;
  Unwound roll_;
  Unwound heading_;
};

bool has_angles(ChannelKey key) {
  return channel_of(key).curves == Curves::kAngles;
}

Level empty_level(ChannelKey key, const Bins& bins) {
  const std::vector<double> nothing(bins.count, kNothing);
  Level level{bins, {}, {}};
  level.curves.assign(channel_of(key).curve_count(), {nothing, nothing});
  if (has_angles(key)) {
    level.attitudes.assign(bins.count, {});
  }
  return level;
}

void include(CurveBounds& bounds, std::size_t bin, double value) {
  if (!std::isfinite(value)) {
    return;
  }
  double& low = bounds.low[bin];
  double& high = bounds.high[bin];
  low = low <= value ? low : value;  // also where there was none
  high = high >= value ? high : value;
}

/// False when the watch stopped it.
template <typename Curves>
bool include_all(Level* level, const kiv_DataSensor& series, Curves curves, Watch* watch) {
  for (std::size_t i = 0; i < series.sampleCount; ++i) {
    if (i % kSamplesAtATime == 0 && !goes_on(watch, i)) {
      return false;
    }
    const Values values = curves(i);
    if (const std::optional<std::size_t> bin = level->bins.of(series.timestamps[i])) {
      for (std::size_t c = 0; c < level->curves.size(); ++c) {
        include(level->curves[c], *bin, values[c]);
      }
    }
  }
  return true;
}

bool include_series(Level* level, ChannelKey key, const kiv_DataSensor& series, Watch* watch) {
  const PlainCurves axes{series};
  switch (channel_of(key).curves) {
    case Curves::kAngles:
      return include_all(level, series, AngleCurves(axes), watch);
    case Curves::kAxesAndNorm:
      return include_all(level, series, VectorCurves{axes}, watch);
    case Curves::kAxes:
    case Curves::kNone:
      break;
  }
  return include_all(level, series, axes, watch);
}

/// Backwards, so that the first of each bin stays.
void include_attitudes(Level* level, const kiv_DataSensor& series) {
  PlainCurves axes{series};
  for (std::size_t i = series.sampleCount; i-- > 0;) {
    const std::optional<std::size_t> bin = level->bins.of(series.timestamps[i]);
    if (const Attitude q = axes(i); bin && is_attitude(q)) {
      level->attitudes[*bin] = q;
    }
  }
}

Level coarser(ChannelKey key, const Level& fine) {
  Level level = empty_level(key, {fine.bins.start, 2 * fine.bins.width, (fine.bins.count + 1) / 2});
  for (std::size_t c = 0; c < fine.curves.size(); ++c) {
    for (std::size_t i = 0; i < fine.bins.count; ++i) {
      include(level.curves[c], i / 2, fine.curves[c].low[i]);
      include(level.curves[c], i / 2, fine.curves[c].high[i]);
    }
  }
  for (std::size_t i = fine.attitudes.size(); i-- > 0;) {
    if (is_attitude(fine.attitudes[i])) {
      level.attitudes[i / 2] = fine.attitudes[i];
    }
  }
  return level;
}

constexpr double kMostCodes = PackedLevels::kNone - 1;

/// A circular angle reaches from -180 to 180 + 360.
PackedLevels::Scale scale_of(ChannelKey key, std::size_t curve, const Level& finest) {
  if (is_circular(key, curve)) {
    return {-kTurn / 2, 2 * kTurn / kMostCodes};
  }
  double lowest = kNothing;
  double highest = kNothing;
  for (std::size_t i = 0; i < finest.bins.count; ++i) {
    lowest = std::fmin(lowest, finest.curves[curve].low[i]);
    highest = std::fmax(highest, finest.curves[curve].high[i]);
  }
  if (has_angles(key)) {  // the last digits of an angle are each C library's own
    constexpr double kMillionths = 1e6;
    lowest = std::floor(lowest * kMillionths) / kMillionths;
    highest = std::ceil(highest * kMillionths) / kMillionths;
  }
  return highest > lowest ? PackedLevels::Scale{lowest, (highest - lowest) / kMostCodes}
                          : PackedLevels::Scale{std::isnan(lowest) ? 0 : lowest, 1};
}

std::uint16_t code(double places) {
  return static_cast<std::uint16_t>(std::clamp(places, 0.0, kMostCodes));
}

/// Rounding of the division may miss a whole number by a hair.
constexpr double kHair = 1e-6;

void pack_curve(const CurveBounds& bounds, const PackedLevels::Scale& scale, bool circular,
                std::vector<std::uint16_t>* codes) {
  const std::size_t count = bounds.low.size();
  const std::size_t at = codes->size();
  codes->resize(at + 2 * count, PackedLevels::kNone);
  for (std::size_t i = 0; i < count; ++i) {
    if (std::isnan(bounds.low[i])) {
      continue;
    }
    const double turned = circular ? kTurn * std::floor((bounds.low[i] + kTurn / 2) / kTurn) : 0;
    const double low = bounds.low[i] - turned;
    const double high = circular ? std::min(bounds.high[i] - turned, low + kTurn) : bounds.high[i];
    (*codes)[at + i] = code(std::floor((low - scale.base) / scale.step + kHair));
    (*codes)[at + count + i] = code(std::ceil((high - scale.base) / scale.step - kHair));
  }
}

void pack_attitudes(const std::vector<Attitude>& attitudes, std::vector<std::uint16_t>* codes) {
  for (std::size_t element = 0; element < Attitude().size(); ++element) {
    for (const Attitude& q : attitudes) {
      codes->push_back(is_attitude(q) ? code(std::round((q[element] + 1) * INT16_MAX)) : PackedLevels::kNone);
    }
  }
}

}  // namespace

std::optional<std::size_t> Bins::of(double time) const {
  const double place = (time - start) / width;
  return place >= 0 ? std::optional(place < static_cast<double>(count) ? static_cast<std::size_t>(place) : count - 1)
                    : std::nullopt;
}

bool is_circular(ChannelKey key, std::size_t curve) {
  constexpr std::size_t kPitch = 1;
  return has_angles(key) && curve != kPitch;
}

std::vector<Level> make_levels(ChannelKey key, const kiv_DataSensor& series, const Bins& finest, std::size_t fewest,
                               Watch* watch) {
  std::vector<Level> levels{empty_level(key, finest)};
  begin_stage(watch, Stage::kLevels, series.sampleCount);
  if (!include_series(&levels.front(), key, series, watch)) {
    return {};
  }
  if (has_angles(key)) {
    include_attitudes(&levels.front(), series);
  }
  while (levels.back().bins.count > fewest) {
    levels.push_back(coarser(key, levels.back()));
  }
  return levels;
}

PackedLevels pack_levels(ChannelKey key, const std::vector<Level>& levels) {
  PackedLevels packed;
  for (std::size_t c = 0; c < channel_of(key).curve_count() && !levels.empty(); ++c) {
    packed.scales.push_back(scale_of(key, c, levels.front()));
  }
  for (const Level& level : levels) {
    packed.levels.push_back(level.bins);
    for (std::size_t c = 0; c < level.curves.size(); ++c) {
      pack_curve(level.curves[c], packed.scales[c], is_circular(key, c), &packed.codes);
    }
    packed.attitudes = !level.attitudes.empty();
    pack_attitudes(level.attitudes, &packed.codes);
  }
  return packed;
}

}  // namespace vortena
