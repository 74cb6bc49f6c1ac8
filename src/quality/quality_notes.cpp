// Each note is one function: what it looks for, and the sentence for someone who has the unit in hand. Notes come in
// the order of kNotes within their severity. docs/quality-report.md tells what to do about each code.
#include "quality/quality_notes.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <locale>
#include <numbers>
#include <numeric>
#include <sstream>

#include "reader/decoding/channels.h"
#include "reader/stillness.h"

namespace vortena {
namespace {

/// Half a stride: a unit can turn by any angle meanwhile, unseen by the orientation.
constexpr double kLongGapSeconds = 0.5;
/// A share of a channel's samples. Fewer hardly change a mean, a count of steps or a spectrum.
constexpr double kLargeMissingShare = 0.01;

/// The orientation takes the header's frequency for true: one per cent too many samples turn by 3.6 degrees too much in
/// each revolution.
constexpr double kRateDifferenceShare = 0.01;
/// Headers give whole Hz.
constexpr double kRateDifferenceHz = 0.5;

/// Dates are whole seconds, and a unit takes some to start and to stop.
constexpr double kDateDifferenceSeconds = 10;
/// Ten times what the worst crystals are off.
constexpr double kDateDifferenceShare = 0.001;

/// Turns the heading by six degrees in a minute.
constexpr double kLargeOffsetDegS = 0.1;
/// An offset within this many standard errors may be none.
constexpr double kCertainDeviations = 3;
/// Half of what the orientation filter allows a unit that it takes for still.
constexpr double kAccelNormErrorG = kStillAccelErrorG / 2;

/// Tilts at rest that an accelerometer may show by its own error, when its length at rest is right.
constexpr double kLeastTiltDeg = 1.5;
/// The share of the tilt at rest that is left when the offset is taken off: less than a fifth is hardly worth it.
constexpr double kLargeTiltShare = 0.8;

using Notes = std::vector<QualityNote>;

std::string decimal(double value, int decimals) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::fixed << std::setprecision(decimals) << value;
  return text.str();
}

/// Seconds, from two minutes on minutes and seconds, from an hour on hours and minutes.
std::string duration(double signed_seconds) {
  const std::string sign = signed_seconds < 0 ? "-" : "";
  const double seconds = std::abs(signed_seconds);
  if (seconds < 120) {
    return sign + decimal(seconds, seconds < 10 ? 3 : 1) + " s";
  }
  const auto whole = static_cast<std::int64_t>(seconds);
  return sign + (whole < 3600 ? std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s"
                              : std::to_string(whole / 3600) + " h " + std::to_string(whole / 60 % 60) + " min");
}

std::string percent(double share) {
  return decimal(share * 100, share < 0.001 ? 4 : 2) + " %";
}

std::string counted(std::uint64_t count, const std::string& singular, const std::string& plural) {
  return std::to_string(count) + " " + (count == 1 ? singular : plural);
}

std::string counted(std::uint64_t count, const std::string& thing) {
  return counted(count, thing, thing + "s");
}

/// What a note says of one channel; nothing where there is nothing to tell.
using Words = std::optional<std::string>;

/// "accelerometer …; gyroscope …"
template <typename Tell>
std::string per_channel(const QualityReport& report, Tell tell) {
  std::string text;
  for (const ChannelQuality& channel : report.channels) {
    if (const Words words = tell(channel); words) {
      text.append(text.empty() ? "" : "; ").append(channel_of(channel.key).title).append(*words);
    }
  }
  return text;
}

const ChannelQuality* find_channel(const QualityReport& report, ChannelKey key) {
  const auto at = std::find_if(report.channels.begin(), report.channels.end(),
                               [key](const ChannelQuality& channel) { return channel.key == key; });
  return at == report.channels.end() ? nullptr : &*at;
}

template <typename Count>
std::uint64_t sum_of(const QualityReport& report, Count count) {
  std::uint64_t sum = 0;
  for (const ChannelQuality& channel : report.channels) {
    sum += count(channel);
  }
  return sum;
}

void note_status(const QualityReport& report, Notes& notes) {
  switch (report.load.status) {
    case LoadStatus::kRead:
      return;
    case LoadStatus::kStopped:
      notes.push_back({"stopped", Severity::kDamage, "Reading was stopped; nothing is known of the recording."});
      return;
    case LoadStatus::kUnreadable:
      notes.push_back(
          {"unreadable", Severity::kDamage, "The file cannot be read: " + report.load.failure.message() + "."});
      return;
    case LoadStatus::kTooShort:
      notes.push_back({"too-short", Severity::kDamage,
                       "The file has " + counted(report.load.bytes, "byte") +
                           ", less than one block of 512: it holds no recording."});
      return;
    case LoadStatus::kNoHeader:
      notes.push_back({"no-header", Severity::kDamage, "The file does not begin like a recording."});
      return;
  }
}

void note_unreadable_block(const QualityReport& report, Notes& notes) {
  const LoadReport& load = report.load;
  if (load.first_unreadable_block) {
    const std::uint64_t lost = load.blocks - *load.first_unreadable_block;
    notes.push_back({"unreadable-block", Severity::kDamage,
                     "Reading ended at block " + std::to_string(*load.first_unreadable_block) + " of " +
                         std::to_string(load.blocks) + " (" + load.failure.message() +
                         "): " + counted(lost, "block is", "blocks are") + " missing here."});
  }
}

void note_header_error(const QualityReport& report, Notes& notes) {
  if (report.header.error) {
    notes.push_back({"header-error", Severity::kDamage,
                     "A part of the header is too short, so that its settings are missing: channels or calibration may "
                     "be absent."});
  }
}

void note_time_base(const QualityReport& report, Notes& notes) {
  if (report.load.status == LoadStatus::kRead && report.ticks_per_second == 0) {
    notes.push_back({"no-time-base", Severity::kDamage, "The header gives no time base: no sample has a time."});
  }
}

void note_no_samples(const QualityReport& report, Notes& notes) {
  if (report.load.status == LoadStatus::kRead &&
      sum_of(report, [](const ChannelQuality& c) { return c.sampling.samples; }) == 0) {
    notes.push_back({"no-samples", Severity::kDamage, "The recording holds a header and no sample."});
  }
}

void note_cut_off(const QualityReport& report, Notes& notes) {
  if (report.load.status == LoadStatus::kRead && report.load.cut_off_bytes > 0) {
    notes.push_back({"cut-off", Severity::kDamage,
                     "The file ends within a block: " + counted(report.load.cut_off_bytes, "byte is", "bytes are") +
                         " left over, and more may be missing behind."});
  }
}

double missing_share(const Sampling& sampling) {
  const double span = sampling.last - sampling.first;
  return span > 0 ? sampling.gaps.seconds / span : 0;
}

/// The channels that the orientation lives on.
bool gaps_do_damage(const ChannelQuality& channel) {
  const Gaps& gaps = channel.sampling.gaps;
  return (channel.key == kAccelKey || channel.key == kGyroKey) && gaps.count > 0 &&
         (gaps.longest.front().seconds > kLongGapSeconds || missing_share(channel.sampling) > kLargeMissingShare);
}

bool has_gaps(const ChannelQuality& channel) {
  return channel.regular && channel.sampling.gaps.count > 0;
}

void note_gaps(const QualityReport& report, Notes& notes) {
  const std::string text = per_channel(report, [](const ChannelQuality& channel) -> Words {
    if (!has_gaps(channel)) {
      return std::nullopt;
    }
    const Gaps& gaps = channel.sampling.gaps;
    const Gap& longest = gaps.longest.front();
    return " " + counted(gaps.count, "gap") + ", " + duration(gaps.seconds) + " in all (" +
           percent(missing_share(channel.sampling)) + "), the longest " + duration(longest.seconds) + " after " +
           decimal(longest.after, 3) + " s";
  });
  if (!text.empty()) {
    const bool damaged = std::any_of(report.channels.begin(), report.channels.end(), gaps_do_damage);
    notes.push_back({"gaps", damaged ? Severity::kDamage : Severity::kNote, "Samples are missing: " + text + "."});
  }
}

void note_blank_blocks(const QualityReport& report, Notes& notes) {
  const std::uint64_t blank = report.load.packages.blank_blocks;
  if (blank == 0) {
    return;
  }
  const bool missing = std::any_of(report.channels.begin(), report.channels.end(), has_gaps);
  notes.push_back({"blank-blocks", missing ? Severity::kDamage : Severity::kNote,
                   counted(blank, "block holds", "blocks hold") +
                       (missing ? " no records, and samples are missing: the memory was erased or not written."
                                : " no records; no gap tells that samples are missing.")});
}

void note_no_gain(const QualityReport& report, Notes& notes) {
  const std::string text =
      per_channel(report, [](const ChannelQuality& channel) { return channel.no_gain ? Words("") : std::nullopt; });
  if (!text.empty()) {
    notes.push_back(
        {"no-gain", Severity::kDamage, "The header gives a gain of 0, so that values mean nothing: " + text + "."});
  }
}

void note_empty_channels(const QualityReport& report, Notes& notes) {
  const std::string text = per_channel(report, [](const ChannelQuality& channel) {
    return channel.regular && channel.sampling.samples == 0 ? Words("") : std::nullopt;
  });
  if (!text.empty() && report.load.status == LoadStatus::kRead) {
    notes.push_back({"empty-channel", Severity::kNote, "In the header, but without any sample: " + text + "."});
  }
}

/// Blocks that begin earlier than the one before are harmless by themselves: a unit may give each channel its own.
void note_order(const QualityReport& report, Notes& notes) {
  const std::uint64_t late = sum_of(report, [](const ChannelQuality& c) { return c.counts.out_of_order; });
  if (late == 0) {
    return;
  }
  const std::uint64_t back = report.load.packages.blocks_back_in_time;
  const std::string records = counted(late, "record is", "records are") + " earlier than the one before";
  notes.push_back(back > 0 ? QualityNote{"blocks-out-of-order", Severity::kNote,
                                         "Blocks stand in the wrong order (" + counted(back, "step", "steps") +
                                             " back in time), so that " + records + ". Samples were put in order."}
                           : QualityNote{"records-out-of-order", Severity::kNote,
                                         "Within blocks, " + records + ". Samples were put in order."});
}

void note_repeated(const QualityReport& report, Notes& notes) {
  const std::string text = per_channel(report, [](const ChannelQuality& channel) {
    return channel.counts.repeated > 0 ? Words(" " + std::to_string(channel.counts.repeated)) : std::nullopt;
  });
  if (!text.empty()) {
    notes.push_back({"repeated-ticks", Severity::kNote,
                     "Several samples claim one instant; the first was kept and the others dropped: " + text + "."});
  }
}

void note_foreign(const QualityReport& report, Notes& notes) {
  const auto& foreign = report.load.packages.foreign_records;
  const std::uint64_t count = std::accumulate(foreign.begin(), foreign.end(), std::uint64_t{0});
  if (count > 0) {
    const auto kinds = static_cast<std::uint64_t>(
        std::count_if(foreign.begin(), foreign.end(), [](std::uint64_t n) { return n > 0; }));
    notes.push_back({"foreign-records", Severity::kNote,
                     counted(count, "record") + " with " + counted(kinds, "identifier") +
                         " that the header gives to no channel: damaged, or of a channel that this reader does not "
                         "know."});
  }
}

void note_full_scale(const QualityReport& report, Notes& notes) {
  const std::string text = per_channel(report, [](const ChannelQuality& channel) {
    return channel.counts.at_full_scale > 0 ? Words(" " + counted(channel.counts.at_full_scale, "sample") + " (" +
                                                    percent(channel.full_scale_share.value_or(0)) + ")")
                                            : std::nullopt;
  });
  if (!text.empty()) {
    notes.push_back({"full-scale", Severity::kNote,
                     "The measuring range was reached; true values may lie beyond it: " + text + "."});
  }
}

bool has_samples(const QualityReport& report, ChannelKey key) {
  const ChannelQuality* const channel = find_channel(report, key);
  return channel != nullptr && channel->sampling.samples > 0;
}

void note_orientation(const QualityReport& report, Notes& notes) {
  const OrientationQuality& orientation = report.orientation;
  if (orientation.problem == OrientationProblem::kDifferentRates) {
    notes.push_back({"different-rates", Severity::kNote,
                     "There is no orientation: the header gives accelerometer and gyroscope different frequencies."});
  } else if (orientation.computed && !orientation.found) {
    notes.push_back({"never-still", Severity::kNote,
                     "There is no orientation: it starts when the unit is still for five samples, and it never was."});
  }
}

/// One sample is enough: the second and the third axis of the longer series are read from shifted positions.
void note_unequal_counts(const QualityReport& report, Notes& notes) {
  if (!has_samples(report, kAccelKey) || !has_samples(report, kGyroKey)) {
    return;
  }
  const std::uint64_t accel = find_channel(report, kAccelKey)->sampling.samples;
  const std::uint64_t gyro = find_channel(report, kGyroKey)->sampling.samples;
  if (accel != gyro && report.orientation.problem != OrientationProblem::kDifferentRates) {
    notes.push_back(
        {"unequal-counts", Severity::kNote,
         "The accelerometer has " + counted(accel, "sample") + " and the gyroscope " + std::to_string(gyro) +
             ": the orientation takes them in pairs by count, so that samples of different instants meet, and "
             "axes of the longer series at its start."});
  }
}

void note_rates(const QualityReport& report, Notes& notes) {
  const std::string text = per_channel(report, [](const ChannelQuality& channel) {
    const double nominal = channel.nominal_hz;
    const double off = std::abs(channel.sampling.rate_hz.value_or(nominal) - nominal);
    return channel.regular && off > std::max(kRateDifferenceHz, nominal * kRateDifferenceShare)
               ? Words(" " + decimal(*channel.sampling.rate_hz, 2) + " Hz instead of " +
                       std::to_string(channel.nominal_hz))
               : std::nullopt;
  });
  if (!text.empty()) {
    notes.push_back(
        {"rate-differs", Severity::kNote,
         "Channels run at another rate than the header says, while the orientation trusts the header: " + text + "."});
  }
}

void note_dates(const QualityReport& report, Notes& notes) {
  const ClockQuality& clock = report.clock;
  if (!clock.dates_valid) {
    notes.push_back({"date-invalid", Severity::kNote, "A date in the header is no date of the calendar."});
  }
  if (!clock.header_seconds || !clock.first || !clock.last) {
    return;
  }
  const double ticks = *clock.last - *clock.first;
  const double off = std::abs(*clock.header_seconds - ticks);
  if (off > std::max(kDateDifferenceSeconds, kDateDifferenceShare * ticks)) {
    notes.push_back({"dates-differ", Severity::kNote,
                     "From start to end the header's dates span " + duration(*clock.header_seconds) + ", the samples " +
                         duration(ticks) + "."});
  }
}

double length_of(const std::array<double, 3>& v) {
  return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

/// An accelerometer whose length at rest is off may show a vertical that is off by as much.
bool helps_little(const TiltAtRest& tilt, double accel_error_g) {
  constexpr double kDegrees = 180 / std::numbers::pi;
  return tilt.corrected_deg > kLeastTiltDeg + accel_error_g * kDegrees &&
         tilt.corrected_deg > kLargeTiltShare * tilt.as_read_deg;
}

void note_tilt(const QualityReport& report, Notes& notes) {
  const RestEstimate& rest = report.rest;
  if (rest.tilt && helps_little(*rest.tilt, std::abs(rest.accel_norm_g - 1) + rest.accel_norm_spread_g)) {
    notes.push_back({"offset-helps-little", Severity::kNote,
                     "Where the unit comes to rest the vertical is off by " + decimal(rest.tilt->as_read_deg, 1) +
                         " degrees, and by " + decimal(rest.tilt->corrected_deg, 1) +
                         " with the gyroscope's offset taken off: that helps the tilt little or not at all, as errors "
                         "made in motion are larger."});
  }
}

void note_rest(const QualityReport& report, Notes& notes) {
  const RestEstimate& rest = report.rest;
  if (rest.problem != RestProblem::kNone) {
    return;
  }
  const auto& o = rest.offset_deg_s;
  const auto& error = rest.standard_error_deg_s;
  const double certain = kCertainDeviations * length_of(error);
  if (length_of(o) > std::max(kLargeOffsetDegS, certain) && !report.subtracted_offset) {
    notes.push_back({"gyroscope-offset", Severity::kNote,
                     "At rest the gyroscope shows " + decimal(o[0], 3) + ", " + decimal(o[1], 3) + ", " +
                         decimal(o[2], 3) + " deg/s: tilt and heading drift by it unless it is taken off."});
  }
  if (!rest.agrees) {
    notes.push_back({"offset-changes", Severity::kNote,
                     "The gyroscope's offset at rest changed from the first half of the recording to the second."});
  }
  if (std::abs(rest.accel_norm_g - 1) > kAccelNormErrorG) {
    notes.push_back({"accelerometer-norm", Severity::kNote,
                     "At rest the accelerometer shows " + decimal(rest.accel_norm_g, 3) +
                         " g instead of 1: it wants calibration."});
  }
}

void note_header_samples(const QualityReport& report, Notes& notes) {
  const std::string text = per_channel(report, [](const ChannelQuality& channel) {
    return channel.header_samples > 0 ? Words(" " + std::to_string(channel.header_samples)) : std::nullopt;
  });
  if (!text.empty()) {
    notes.push_back(
        {"header-samples", Severity::kNote,
         "Bytes of the header read as samples; the CSV has them as rows, this report leaves them out: " + text + "."});
  }
}

constexpr void (*kNotes[])(const QualityReport&, Notes&) = {note_status,         note_unreadable_block,
                                                            note_header_error,   note_time_base,
                                                            note_no_samples,     note_no_gain,
                                                            note_cut_off,        note_gaps,
                                                            note_blank_blocks,   note_empty_channels,
                                                            note_order,          note_repeated,
                                                            note_foreign,        note_orientation,
                                                            note_unequal_counts, note_full_scale,
                                                            note_rates,          note_rest,
                                                            note_tilt,           note_dates,
                                                            note_header_samples};

Verdict verdict_of(const Notes& notes) {
  if (notes.empty()) {
    return Verdict::kOk;
  }
  return notes.front().severity == Severity::kDamage ? Verdict::kDamaged : Verdict::kNotes;
}

}  // namespace

void add_notes(QualityReport* report) {
  Notes notes;
  for (const auto note : kNotes) {
    note(*report, notes);
  }
  std::stable_sort(notes.begin(), notes.end(),
                   [](const QualityNote& a, const QualityNote& b) { return a.severity < b.severity; });
  report->verdict = verdict_of(notes);
  report->notes = std::move(notes);
}

}  // namespace vortena
