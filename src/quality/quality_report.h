// How good a recording is: what the decoder counted, what its series show, and what a user should know about it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "quality/rest.h"
#include "quality/sampling.h"
#include "reader/decoding/load_report.h"
#include "reader/orientation_problem.h"

namespace vortena {

enum class Verdict : std::uint8_t {
  kOk,
  kNotes,    ///< something to know; the data are whole
  kDamaged,  ///< data are missing, or cannot be trusted
};

enum class Severity : std::uint8_t { kDamage, kNote };

/// One sentence for a user.
struct QualityNote {
  const char* code;  ///< stable, for programs
  Severity severity;
  std::string text;
};

struct ChannelQuality {
  ChannelKey key = kAccelKey;
  std::int32_t nominal_hz = 0;             ///< of the header
  Sampling sampling;                       ///< without the samples of the header block
  bool regular = true;                     ///< sampled by a clock: its rate and gaps mean something
  std::uint64_t header_samples = 0;        ///< of the header block alone, in the series or left out of it
  ChannelCounts counts;                    ///< of the decoder
  bool no_gain = false;                    ///< the calibration of an axis divides by zero
  std::optional<double> full_scale_share;  ///< of samples, 0 to 1; of three-axis channels with samples
};

struct ClockQuality {
  std::optional<double> first;           ///< time of the first sample of any channel, seconds since tick zero
  std::optional<double> last;            ///< time of the last one
  std::optional<double> header_seconds;  ///< from the header's start date to its end date, when both are dates
  bool dates_valid = true;               ///< false when a date is set that no calendar has
};

struct OrientationQuality {
  OrientationProblem problem = OrientationProblem::kNone;
  bool computed = false;  ///< the recording has the channel
  bool found = false;     ///< and an orientation in it
  std::optional<double>
      starts_after;  ///< seconds from the first sample to the first orientation; none when there is none
  std::optional<double> first_tilt_deg;  ///< angle between the unit's z axis and the vertical
  std::optional<double> last_tilt_deg;
  std::optional<double> still_share;  ///< 0 to 1, of pairs of accelerometer and gyroscope samples
};

/// What the smoother, which estimates more than the orientation, says of its work.
struct SmoothingQuality {
  double typical_error_deg = 0;  ///< of the inclination, root mean square to expect; the median over time
  double largest_error_deg = 0;
  std::array<double, 3>
      mean_offset_deg_s{};  ///< of the gyroscope, over time; it is taken off within the smoother alone
  double rest_seconds = 0;
  std::uint64_t bridged_gaps = 0;  ///< without samples of the gyroscope, whose turn was guessed from both sides
  std::uint64_t open_gaps = 0;     ///< too long for that: the heading behind is the one before
};

struct HeaderQuality {
  bool error = false;  ///< a known frame was too short
  std::uint64_t unknown_frames = 0;
  std::uint64_t unknown_bytes = 0;
};

struct QualityReport {
  Verdict verdict = Verdict::kOk;
  std::vector<QualityNote> notes;  ///< worst first
  LoadReport load;                 ///< of file and records
  std::int32_t ticks_per_second = 0;
  std::vector<ChannelQuality> channels;  ///< that the header names, by key
  ClockQuality clock;
  OrientationQuality orientation;
  HeaderQuality header;
  RestEstimate rest;
  /// Set for a smoothed orientation; otherwise the orientation is the filter's.
  std::optional<SmoothingQuality> smoothing;
  /// Taken off the gyroscope before the orientation, deg/s; set by who did that.
  std::optional<std::array<double, 3>> subtracted_offset;
};

}  // namespace vortena
