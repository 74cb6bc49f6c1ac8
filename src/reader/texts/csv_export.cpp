// Rows follow a clock of their own. Inertial, barometer and orientation samples are laid on every ratio-th
// row, whatever their time stamps; only events are placed by time.
#include "reader/texts/csv_export.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "reader/texts/csv_writer.h"
#include "reader/texts/date_text.h"
#include "reader/texts/fixed_decimal.h"

namespace vortena {
namespace {

constexpr std::size_t kTimeColumns = 1;
constexpr std::size_t kInertialColumns = 3;
constexpr std::size_t kBaroColumns = 2;
constexpr std::size_t kEventColumns = 1;
constexpr std::size_t kQuaternionColumns = 4;
constexpr std::size_t kColumns =
    kTimeColumns + 2 * kInertialColumns + kBaroColumns + kEventColumns + kQuaternionColumns;
constexpr std::size_t kLongestRow = kColumns * kLongestCell + 1;  // and the line feed

/// Rows between two looks at the watch; about as many as the writer buffers.
constexpr std::uint64_t kRowsPerPiece = 2048;

const kiv_DataSensor* find_if_present(const SensorMap& sensors, bool present, ChannelKey key, std::uint64_t axes) {
  return present ? find_series(sensors, key, axes) : nullptr;
}

CsvChannel whole_channel(const kiv_DataSensor* series, std::uint64_t ratio = 1) {
  if (series == nullptr) {
    return {};
  }
  return {.count = series->sampleCount,
          .ratio = ratio,
          .values = series->values.data(),
          .times = series->timestamps.data(),
          .stride = static_cast<std::size_t>(series->sampleCount)};
}

CsvChannels select_channels(const kiv_Config& config, const SensorMap& sensors) {
  CsvChannels channels;
  channels.gyro = whole_channel(find_if_present(sensors, config.gyro.present, kGyroKey, kInertialColumns),
                                decimation_ratio(config, config.gyro.frequency));
  channels.accel = whole_channel(find_if_present(sensors, config.accel.present, kAccelKey, kInertialColumns),
                                 decimation_ratio(config, config.accel.frequency));
  channels.baro = whole_channel(find_if_present(sensors, config.baro.present, kBaroKey, kBaroColumns),
                                decimation_ratio(config, config.baro.frequency));
  channels.event = whole_channel(find_if_present(sensors, config.event.present, kEventKey, kEventColumns));
  if (!channels.event.taken()) {
    channels.event = whole_channel(find_if_present(sensors, config.radioByte.present, kRadioByteKey, kEventColumns));
  }
  channels.quaternion = whole_channel(find_series(sensors, kQuaternionKey, kQuaternionColumns),
                                      decimation_ratio(config, config.gyro.frequency));
  return channels;
}

std::uint64_t count_rows(const CsvChannels& c) {
  return std::max({c.gyro.count, c.accel.count, c.baro.count, c.event.count, c.quaternion.count});
}

void write_preamble(CsvWriter& csv, const kiv_Config& config, std::uint64_t rows) {
  csv.text("Tessaro - Vortena data export\n");
  csv.text("Created on: ");
  csv.text(_date_to_string(config.createdAt));
  csv.text("\nTotal data points: ");
  csv.number(static_cast<std::int64_t>(rows));
  csv.text("\n\n");
}

/// What a channel shows in the three header lines, and when.
struct HeaderEntry {
  bool in_group_line;
  bool in_column_lines;
  std::string_view group;
  std::int32_t group_frequency;
  std::string_view group_end;  ///< a comma for each column
  std::string_view names;
  std::string_view units;
};

/// The event's group follows the one-byte channel's settings, its columns the channel whose cells follow: a file may
/// have either without the other, and readers take positions from the column names. Headers follow settings where cells
/// need samples, so that a channel that recorded nothing is still announced.
std::array<HeaderEntry, 6> header_entries(const kiv_Config& c, const CsvChannels& channels) {
  const bool event = channels.event.taken();
  const bool quaternion = channels.quaternion.taken();
  return {
      {{true, true, "Time", c.frequency, ",", "Time,", "[s],"},
       {c.gyro.present, c.gyro.present, "Gyro", c.gyro.frequency, ",,,", "Gyro X,Gyro Y,Gyro Z,",
        "[deg/s],[deg/s],[deg/s],"},
       {c.accel.present, c.accel.present, "Accel", c.accel.frequency, ",,,", "Accel X,Accel Y,Accel Z,",
        "[g],[g],[g],"},
       {c.baro.present, c.baro.present, "Baro", c.baro.frequency, ",,", "Pressure,Temperature,", "[mBar],[degree C],"},
       {c.radioByte.present, event, "Event", c.frequency, ",", "Event,", "[],"},
       {quaternion, quaternion, "Quaternion", c.gyro.frequency, ",,,,", "Quat W,Quat X,Quat Y,Quat Z,",
        "[],[],[],[],"}}};
}

void write_group(CsvWriter& csv, const HeaderEntry& entry) {
  csv.text(entry.group);
  csv.text(" [");
  csv.number(entry.group_frequency);
  csv.text(" hz]");
  csv.text(entry.group_end);
}

void write_header_lines(CsvWriter& csv, const kiv_Config& config, const CsvChannels& channels) {
  const std::array<HeaderEntry, 6> entries = header_entries(config, channels);
  for (const HeaderEntry& entry : entries) {
    if (entry.in_group_line) {
      write_group(csv, entry);
    }
  }
  csv.end_line();
  for (const auto line : {&HeaderEntry::names, &HeaderEntry::units}) {
    for (const HeaderEntry& entry : entries) {
      if (entry.in_column_lines) {
        csv.text(entry.*line);
      }
    }
    csv.end_line();
  }
}

template <std::size_t Count>
char* write_empty_cells(char* to) {
  std::memset(to, ',', Count);
  return to + Count;
}

/// The cells of a decimated channel, one per axis with the decimals named: its next sample on every ratio-th
/// row, empty ones between.
template <int... Decimals>
char* write_decimated(char* to, CsvChannel& channel, std::uint64_t row) {
  if (!channel.taken()) {
    return to;
  }
  if (row != channel.next_row || channel.position >= channel.count) {
    return write_empty_cells<sizeof...(Decimals)>(to);
  }
  const double* value = channel.values + (channel.position - channel.first);
  ((to = write_cell<Decimals>(to, *value), value += channel.stride), ...);
  channel.position += 1;
  channel.next_row += channel.ratio;
  return to;
}

/// At most one event a row, from the row that reaches its time on.
char* write_event(char* to, CsvChannel& channel, double time) {
  if (!channel.taken()) {
    return to;
  }
  const std::uint64_t at = channel.position - channel.first;
  if (channel.position >= channel.count || !(time >= channel.times[at])) {
    return write_empty_cells<1>(to);
  }
  ++channel.position;
  return write_cell<3>(to, channel.values[at]);
}

}  // namespace

std::uint64_t decimation_ratio(const kiv_Config& config, std::int32_t sensor_frequency) {
  const std::int32_t ratio = sensor_frequency == 0 ? 1 : config.frequency / sensor_frequency;
  return ratio < 1 ? 1 : static_cast<std::uint64_t>(ratio);
}

CsvExport::CsvExport(std::ostream& out, const kiv_Config& config, const SensorMap& sensors)
    : CsvExport(out, config, select_channels(config, sensors)) {}

CsvExport::CsvExport(std::ostream& out, const kiv_Config& config, const CsvChannels& channels)
    : out_(out),
      csv_(out, kLongestRow),
      channels_(channels),
      rows_(count_rows(channels_)),
      step_(1.0 / config.frequency),  // a time base of 0 prints "inf"
      time_(step_) {                  // row 0 ends the first tick
  write_preamble(csv_, config, rows_);
  write_header_lines(csv_, config, channels_);
}

void CsvExport::write_rows(std::uint64_t end) {
  CsvChannels channels = channels_;
  double time = time_;
  std::uint64_t row = next_row_;
  for (; row < std::min(end, rows_); ++row) {
    char* to = write_cell<5>(csv_.begin_row(), time);
    to = write_decimated<5, 5, 5>(to, channels.gyro, row);
    to = write_decimated<5, 5, 5>(to, channels.accel, row);
    to = write_decimated<3, 1>(to, channels.baro, row);
    to = write_event(to, channels.event, time);
    to = write_decimated<5, 5, 5, 5>(to, channels.quaternion, row);
    *to++ = '\n';
    csv_.commit(to);
    time += step_;  // by repeated addition: the digits of late rows depend on it
  }
  channels_ = channels;
  time_ = time;
  next_row_ = row;
}

std::uint64_t CsvExport::rows_covered(std::uint64_t quaternions) const {
  return quaternions >= channels_.quaternion.count ? rows_ : quaternions * channels_.quaternion.ratio;
}

bool CsvExport::write_rest(Watch* watch) {
  begin_stage(watch, Stage::kWriting, rows_);
  while (next_row_ < rows_ && out_.good()) {
    write_rows(next_row_ + kRowsPerPiece);
    if (!goes_on(watch, next_row_)) {
      return false;
    }
  }
  csv_.flush();
  return true;
}

bool write_csv(std::ostream& out, const kiv_Config& config, const SensorMap& sensors, Watch* watch) {
  return CsvExport(out, config, sensors).write_rest(watch);
}

}  // namespace vortena
