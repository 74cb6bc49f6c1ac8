// The rows are those of CsvExport; only their samples are made when they are needed.
#include "operations/csv_stream.h"

#include <algorithm>

#include "operations/recording_steps.h"
#include "quality/rest.h"

namespace vortena {
namespace {

constexpr std::uint64_t kRowsPerPiece = 2048;
constexpr std::size_t kAxes = 3;
static_assert(kRowsPerPiece <= OrientationRun::kMostSamples);

/// A channel of three axes that the tracker reads, and what is subtracted from it.
struct Input {
  SampleSeries<kAxes>* series;
  std::array<double, kAxes> offset;
};

/// Element `e` of a channel's values as they would lie in a kiv_DataSensor: axis after axis.
double element(const Input& input, std::uint64_t e) {
  const auto& samples = input.series->ordered_samples();
  const auto axis = static_cast<std::size_t>(e / samples.size());
  return input.series->calibration()[axis].apply(samples[e % samples.size()].counts[axis]) - input.offset[axis];
}

template <typename Series>
CsvChannel channel_of(bool present, Series& series, std::uint64_t ratio = 1) {
  return {.count = present ? series.ordered_samples().size() : 0, .ratio = ratio, .stride = kRowsPerPiece};
}

}  // namespace

std::streamsize CsvStream::Piece::xsputn(const char* from, std::streamsize size) {
  text.append(from, static_cast<std::size_t>(size));
  return size;
}

CsvStream::Piece::int_type CsvStream::Piece::overflow(int_type character) {
  text.push_back(traits_type::to_char_type(character));
  return character;
}

CsvStream::CsvStream() = default;
CsvStream::~CsvStream() = default;

Outcome CsvStream::open(const char* path, const GyroscopeOffset& offset, Watch* watch) {
  return begin(load_counts(&recording_, path, {.watch = watch}), offset);
}

Outcome CsvStream::open(std::istream& stream, const GyroscopeOffset& offset, Watch* watch) {
  return begin(load_counts(&recording_, stream, {.watch = watch}), offset);
}

Outcome CsvStream::begin(const LoadReport& report, const GyroscopeOffset& offset) {
  if (Outcome outcome = outcome_of(report); !outcome.good()) {
    return outcome;
  }
  const CsvChannels channels = count_channels();
  drop_what_no_row_shows();
  if (Outcome outcome = correct(offset); !outcome.good()) {
    return outcome;
  }
  csv_ = std::make_unique<CsvExport>(out_, recording_.config, channels);
  return {};
}

Outcome CsvStream::correct(GyroscopeOffset offset) {
  if (offset.source == GyroscopeOffset::Source::kRest) {
    if (Outcome outcome = take_rest(&offset, estimate_rest_of_counts()); !outcome.good()) {
      return outcome;
    }
  }
  if (offset.source != GyroscopeOffset::Source::kNone) {
    gyro_offset_ = offset.deg_s;
  }
  return {};
}

RestEstimate CsvStream::estimate_rest_of_counts() {
  Recording recording{.config = recording_.config, .sensors = {}};
  LoadReport report;
  const auto decode = [&](bool present, ChannelKey key, SampleSeries<kAxes>& series) {
    if (present) {
      recording.sensors.emplace(key, decoded_samples(recording_.config, &series));
      report.channels.emplace(key, series.counts());
    }
  };
  decode(recording_.config.gyro.present, kGyroKey, recording_.packages.series<kGyroKey>());
  decode(recording_.config.accel.present, kAccelKey, recording_.packages.series<kAccelKey>());
  return estimate_rest(recording, report);
}

CsvChannels CsvStream::count_channels() {
  const kiv_Config& config = recording_.config;
  PackageDecoder& packages = recording_.packages;
  const std::uint64_t gyro_ratio = decimation_ratio(config, config.gyro.frequency);
  CsvChannels channels;
  channels.gyro = channel_of(config.gyro.present, packages.series<kGyroKey>(), gyro_ratio);
  channels.accel =
      channel_of(config.accel.present, packages.series<kAccelKey>(), decimation_ratio(config, config.accel.frequency));
  channels.baro =
      channel_of(config.baro.present, packages.series<kBaroKey>(), decimation_ratio(config, config.baro.frequency));
  channels.event = channel_of(config.event.present, packages.series<kEventKey>());
  if (!channels.event.taken()) {
    channels.event = channel_of(config.radioByte.present, packages.series<kRadioByteKey>());
    packages.series<kEventKey>().clear();
  }
  if (channels.accel.taken() && channels.gyro.taken() && config.accel.frequency == config.gyro.frequency) {
    channels.quaternion = {.count = std::min(channels.accel.count, channels.gyro.count),
                           .ratio = gyro_ratio,
                           .stride = OrientationRun::kMostSamples};
    orientation_ = std::make_unique<OrientationRun>(config.accel.frequency, channels.quaternion.count);
  }
  return channels;
}

void CsvStream::drop_what_no_row_shows() {
  PackageDecoder& packages = recording_.packages;
  packages.series<kMagKey>().clear();
  packages.series<kRadioTimeKey>().clear();
  if (packages.series<kEventKey>().size() > 0) {
    packages.series<kRadioByteKey>().clear();
  }
}

template <std::size_t Axes>
void CsvStream::fill(CsvChannel* channel, Window* window, SampleSeries<Axes>* series, std::uint64_t end,
                     const std::array<double, Axes>& offset) const {
  if (!channel->taken()) {
    return;
  }
  window->values.resize(Axes * kRowsPerPiece);
  window->times.resize(kRowsPerPiece);
  const auto& samples = series->ordered_samples();
  const double ticks_per_second = recording_.config.frequency;
  // Events follow times, not rows; but no more than one of them comes in a row.
  const auto count = static_cast<std::size_t>(std::min(channel->samples_until(end), kRowsPerPiece));
  for (std::size_t i = 0; i < count; ++i) {
    const auto& sample = samples[channel->position + i];
    window->times[i] = static_cast<double>(sample.tick) / ticks_per_second;
    for (std::size_t axis = 0; axis < Axes; ++axis) {
      window->values[axis * kRowsPerPiece + i] = series->calibration()[axis].apply(sample.counts[axis]) - offset[axis];
    }
  }
  channel->values = window->values.data();
  channel->times = window->times.data();
  channel->first = channel->position;
}

void CsvStream::fill_quaternions(std::uint64_t end) {
  CsvChannel& channel = csv_->channels().quaternion;
  if (!channel.taken()) {
    return;
  }
  const Input accel{&recording_.packages.series<kAccelKey>(), {}};
  const Input gyro{&recording_.packages.series<kGyroKey>(), gyro_offset_};
  const auto count = static_cast<std::size_t>(channel.samples_until(end));
  channel.first = orientation_->done();
  channel.values = orientation_->next(
      count, [&](std::uint64_t e) { return element(accel, e); }, [&](std::uint64_t e) { return element(gyro, e); });
}

void CsvStream::write_rows() {
  const std::uint64_t end = std::min(csv_->rows_written() + kRowsPerPiece, csv_->rows());
  CsvChannels& channels = csv_->channels();
  PackageDecoder& packages = recording_.packages;
  fill(&channels.gyro, &gyro_, &packages.series<kGyroKey>(), end, gyro_offset_);
  fill(&channels.accel, &accel_, &packages.series<kAccelKey>(), end);
  fill(&channels.baro, &baro_, &packages.series<kBaroKey>(), end);
  fill(&channels.event, &event_,
       packages.series<kEventKey>().size() > 0 ? &packages.series<kEventKey>() : &packages.series<kRadioByteKey>(),
       end);
  fill_quaternions(end);
  csv_->write_rows(end);
}

std::string_view CsvStream::next() {
  piece_.text.clear();
  while (piece_.text.empty() && csv_->rows_written() < csv_->rows()) {
    write_rows();
  }
  if (piece_.text.empty() && !ended_) {
    ended_ = true;
    csv_->write_rest(nullptr);  // what is buffered
  }
  return piece_.text;
}

}  // namespace vortena
