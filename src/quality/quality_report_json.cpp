// The quality report as JSON; docs/quality-report.md shows it whole.
#include "quality/quality_report_json.h"

#include "reader/decoding/channels.h"
#include "reader/texts/json_object.h"

namespace vortena {
namespace {

std::string notes_json(const std::vector<QualityNote>& notes) {
  JsonArray json;
  for (const QualityNote& note : notes) {
    JsonObject object;
    object.text("code", note.code);
    object.text("severity", note.severity == Severity::kDamage ? "damage" : "note");
    object.text("text", note.text);
    json.element(object.close());
  }
  return json.close();
}

std::string failure_json(const std::error_code& failure) {
  if (!failure) {
    return "null";
  }
  JsonObject json;
  json.number("number", failure.value());
  json.text("text", failure.message());
  return json.close();
}

std::string file_json(const LoadReport& load) {
  JsonObject json;
  json.number("bytes", load.bytes);
  json.number("blocks", load.blocks);
  json.number("cutOffBytes", load.cut_off_bytes);
  json.number("blankBlocks", load.packages.blank_blocks);
  json.number("blocksBackInTime", load.packages.blocks_back_in_time);
  json.number("firstUnreadableBlock", load.first_unreadable_block);
  json.member("failure", failure_json(load.failure));
  return json.close();
}

std::string foreign_json(const PackageCounts& packages) {
  JsonObject json;
  for (std::size_t id = 0; id < packages.foreign_records.size(); ++id) {
    if (packages.foreign_records[id] > 0) {
      json.number(std::to_string(id), packages.foreign_records[id]);
    }
  }
  return json.close();
}

std::string records_json(const QualityReport& report) {
  std::uint64_t decoded = 0;
  std::uint64_t repeated = 0;
  std::uint64_t out_of_order = 0;
  for (const ChannelQuality& channel : report.channels) {
    decoded += channel.counts.records;
    repeated += channel.counts.repeated;
    out_of_order += channel.counts.out_of_order;
  }
  JsonObject json;
  json.number("decoded", decoded);
  json.number("repeatedTicks", repeated);
  json.number("outOfOrder", out_of_order);
  json.number("skipped", report.load.packages.skipped_records);
  json.number("blank", report.load.packages.blank_records);
  json.member("foreign", foreign_json(report.load.packages));
  return json.close();
}

std::string gaps_json(const Gaps& gaps) {
  JsonArray where;
  for (const Gap& gap : gaps.longest) {
    JsonObject json;
    json.number("after", gap.after);
    json.number("seconds", gap.seconds);
    where.element(json.close());
  }
  JsonObject json;
  json.number("count", gaps.count);
  json.number("seconds", gaps.seconds);
  json.number("longest", gaps.longest.empty() ? 0.0 : gaps.longest.front().seconds);
  json.member("where", where.close());
  return json.close();
}

std::string channel_json(const ChannelQuality& channel, bool has_times) {
  const bool timed = has_times && channel.regular;
  JsonObject json;
  json.number("samples", channel.sampling.samples);
  json.number("records", channel.counts.records);
  json.number("repeatedTicks", channel.counts.repeated);
  json.number("outOfOrder", channel.counts.out_of_order);
  json.number("fromHeaderBlock", channel.header_samples);
  json.number("nominalRate", channel.nominal_hz);
  json.number("measuredRate", timed ? channel.sampling.rate_hz : std::nullopt);
  json.member("gaps", timed ? gaps_json(channel.sampling.gaps) : "null");
  json.number("fullScaleShare", channel.full_scale_share);
  return json.close();
}

std::string channels_json(const QualityReport& report) {
  JsonObject json;
  for (const ChannelQuality& channel : report.channels) {
    json.member(channel_of(channel.key).name, channel_json(channel, report.ticks_per_second > 0));
  }
  return json.close();
}

std::string clock_json(const QualityReport& report) {
  const ClockQuality& clock = report.clock;
  JsonObject json;
  json.number("ticksPerSecond", report.ticks_per_second);
  json.number("first", clock.first);
  json.number("last", clock.last);
  json.number("seconds", clock.first && clock.last ? std::optional(*clock.last - *clock.first) : std::nullopt);
  json.number("headerSeconds", clock.header_seconds);
  return json.close();
}

/// Why there is no orientation.
std::string reason_json(const OrientationQuality& orientation) {
  switch (orientation.problem) {
    case OrientationProblem::kNoAccelerometer:
      return text_json("no-accelerometer");
    case OrientationProblem::kNoGyroscope:
      return text_json("no-gyroscope");
    case OrientationProblem::kDifferentRates:
      return text_json("different-rates");
    case OrientationProblem::kStopped:
      return text_json("stopped");
    case OrientationProblem::kNone:
      break;
  }
  if (!orientation.computed) {
    return text_json("not-computed");
  }
  return orientation.found ? "null" : text_json("never-still");
}

std::string smoothing_json(const SmoothingQuality& smoothing) {
  JsonObject json;
  json.number("typicalError", smoothing.typical_error_deg);
  json.number("largestError", smoothing.largest_error_deg);
  json.member("meanOffset", axes_json(smoothing.mean_offset_deg_s));
  json.number("restSeconds", smoothing.rest_seconds);
  json.number("bridgedGaps", smoothing.bridged_gaps);
  json.number("openGaps", smoothing.open_gaps);
  return json.close();
}

std::string orientation_json(const OrientationQuality& orientation, const std::optional<SmoothingQuality>& smoothing) {
  JsonObject json;
  json.text("method", smoothing ? "smoothed" : "filter");
  json.boolean("available", orientation.found);
  json.member("reason", reason_json(orientation));
  json.number("startsAfter", orientation.starts_after);
  json.number("firstTilt", orientation.first_tilt_deg);
  json.number("lastTilt", orientation.last_tilt_deg);
  json.number("stillShare", orientation.still_share);
  json.member("smoothing", smoothing ? smoothing_json(*smoothing) : "null");
  return json.close();
}

std::string header_json(const HeaderQuality& header) {
  JsonObject frames;
  frames.number("count", header.unknown_frames);
  frames.number("bytes", header.unknown_bytes);
  JsonObject json;
  json.boolean("error", header.error);
  json.member("unknownFrames", frames.close());
  return json.close();
}

std::string_view verdict_name(Verdict verdict) {
  switch (verdict) {
    case Verdict::kOk:
      return "ok";
    case Verdict::kNotes:
      return "notes";
    case Verdict::kDamaged:
      break;
  }
  return "damaged";
}

}  // namespace

std::string quality_report_json(const QualityReport& report) {
  JsonObject json;
  json.text("verdict", verdict_name(report.verdict));
  json.member("notes", notes_json(report.notes));
  json.member("file", file_json(report.load));
  json.member("records", records_json(report));
  json.member("channels", channels_json(report));
  json.member("clock", clock_json(report));
  json.member("orientation", orientation_json(report.orientation, report.smoothing));
  json.member("header", header_json(report.header));
  json.member("rest", rest_json(report.rest));
  json.member("gyroscopeOffset", report.subtracted_offset ? axes_json(*report.subtracted_offset) : "null");
  return json.close();
}

}  // namespace vortena
