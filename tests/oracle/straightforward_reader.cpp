// Shares with the library the header's decoding, the date's text, the tracker's start, and the quaternion functions and
// the inverse of its public interface; the rest is its own.
#include "tests/oracle/straightforward_reader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "reader/decoding/header_frames.h"
#include "reader/texts/date_text.h"
#include "tests/oracle/nested_loop_filter.h"
#include "tracker/tracker.h"

namespace oracle {
namespace {

using namespace vortena;

using Block = std::array<std::uint8_t, kBlockSize>;
using Values = std::array<double, 3>;
using Tree = std::map<std::int64_t, Values>;
using Trees = std::array<Tree, kEventKey + 1>;

int s16(const std::uint8_t* bytes) {
  return static_cast<std::int16_t>(bytes[0] * 256 + bytes[1]);
}

double inertial(const kiv_Config::SensorConfig& sensor, int count, double offset, double gain) {
  return (count * sensor.range / 32768.0 - offset) / gain;
}

Values inertial_sample(const kiv_Config::SensorConfig& sensor, const std::uint8_t* p) {
  return {inertial(sensor, s16(p), sensor.offsetX, sensor.gainX),
          inertial(sensor, s16(p + 2), sensor.offsetY, sensor.gainY),
          inertial(sensor, s16(p + 4), sensor.offsetZ, sensor.gainZ)};
}

double radio_ticks(const std::uint8_t* p) {
  return static_cast<std::int32_t>(std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 |
                                   p[3]);
}

/// The first channel with the record's identifier takes it, also when its records are of no use.
void decode_record(const kiv_Config& c, std::int64_t base_tick, const std::uint8_t* record, Trees& trees) {
  const int id = record[0];
  const std::int64_t tick = base_tick + record[1];
  const std::uint8_t* p = record + 2;
  const auto is_of = [id](const auto& settings) { return settings.present && settings.id == id; };
  if (is_of(c.accel)) {
    trees[kAccelKey].emplace(tick, inertial_sample(c.accel, p));
  } else if (is_of(c.gyro)) {
    trees[kGyroKey].emplace(tick, inertial_sample(c.gyro, p));
  } else if (is_of(c.baro)) {
    trees[kBaroKey].emplace(tick, Values{(p[0] + p[1] * 256 + p[2] * 65536) / 4096.0,
                                         static_cast<std::int16_t>(p[3] + p[4] * 256) / 100.0});
  } else if (is_of(c.gps)) {
    return;
  } else if (is_of(c.mag)) {
    trees[kMagKey].emplace(tick, Values{double(s16(p)), double(s16(p + 2)), double(s16(p + 4))});
  } else if (is_of(c.radioByte)) {
    trees[kRadioByteKey].emplace(tick, Values{double(p[0])});
  } else if (is_of(c.radioTime)) {
    trees[kRadioTimeKey].emplace(tick, Values{radio_ticks(p) / c.frequency});
  } else if (is_of(c.auxA) || is_of(c.auxB)) {
    return;
  } else if (is_of(c.event)) {
    trees[kEventKey].emplace(tick, Values{double(p[5])});
  }
}

void add_series(const kiv_Config& config, int key, std::size_t axes, const Tree& tree, SensorMap* sensors) {
  kiv_DataSensor series(axes, tree.size());
  std::size_t i = 0;
  for (const auto& [tick, values] : tree) {
    series.timestamps[i] = static_cast<double>(tick) / config.frequency;
    for (std::size_t axis = 0; axis < axes; ++axis) {
      series.values[axis * tree.size() + i] = values[axis];
    }
    ++i;
  }
  sensors->emplace(key, std::move(series));
}

/// A channel that is present has a series, if an empty one.
void add_all_series(const kiv_Config& c, const Trees& trees, SensorMap* sensors) {
  struct Channel {
    bool present;
    ChannelKey key;
    std::size_t axes;
  };
  for (const auto& [present, key, axes] : {Channel{c.accel.present, kAccelKey, 3},
                                           {c.gyro.present, kGyroKey, 3},
                                           {c.baro.present, kBaroKey, 2},
                                           {c.mag.present, kMagKey, 3},
                                           {c.radioByte.present, kRadioByteKey, 1},
                                           {c.radioTime.present, kRadioTimeKey, 1},
                                           {c.event.present, kEventKey, 1}}) {
    if (present) {
      add_series(c, key, axes, trees[static_cast<std::size_t>(key)], sensors);
    }
  }
}

std::unique_ptr<tracker_state> motionless_tracker(int rate, const NestedLoopFilter& like) {
  auto tracker = std::make_unique<tracker_state>();
  init_tracker(tracker.get(), rate, 0);
  set_motionless_thresh(tracker.get(), like.thresholds.data());
  return tracker;
}

/// The library's tracker finds the start, the nested loops do the rest.
class Orientation {
 public:
  explicit Orientation(int rate) : filter_(static_cast<float>(rate)), tracker_(motionless_tracker(rate, filter_)) {}

  std::array<float, 4> feed(const std::array<float, 3>& accel, const std::array<float, 3>& gyro) {
    if (started_) {
      filter_.feed(accel.data(), gyro.data());
      return filter_.q;
    }
    std::array<float, 7> output{};
    add_to_tracker_buffer(tracker_.get(), accel.data(), gyro.data(), nullptr);
    started_ = run_tracker(tracker_.get(), output.data()) == 3;
    if (!started_) {
      return {};
    }
    std::copy_n(tracker_->q, 4, filter_.q.begin());
    std::copy_n(tracker_->linear_accel, 3, filter_.linear_accel.begin());
    return filter_.q;
  }

 private:
  NestedLoopFilter filter_;
  std::unique_ptr<tracker_state> tracker_;
  bool started_ = false;
};

void add_orientation(const kiv_Config& config, SensorMap* sensors) {
  const auto accel = sensors->find(kAccelKey);
  const auto gyro = sensors->find(kGyroKey);
  if (accel == sensors->end() || gyro == sensors->end() || config.accel.frequency != config.gyro.frequency) {
    return;
  }
  const std::size_t n = std::min(accel->second.sampleCount, gyro->second.sampleCount);
  if (n == 0) {
    return;
  }
  // The common length is the stride of the longer series, too.
  const auto triple = [n](const kiv_DataSensor& s, std::size_t i) {
    return std::array{static_cast<float>(s.values[i]), static_cast<float>(s.values[n + i]),
                      static_cast<float>(s.values[2 * n + i])};
  };
  kiv_DataSensor quaternion(4, n);
  Orientation orientation(config.accel.frequency);
  for (std::size_t i = 0; i < n; ++i) {
    quaternion.timestamps[i] = accel->second.timestamps[i];
    if (i + 1 < n) {
      const std::array<float, 4> q = orientation.feed(triple(accel->second, i), triple(gyro->second, i));
      for (std::size_t k = 0; k < 4; ++k) {
        quaternion.values[k * n + i] = q[k];
      }
    }
  }
  sensors->emplace(kQuaternionKey, std::move(quaternion));
}

/// A channel on its way into rows.
struct Column {
  const kiv_DataSensor* series = nullptr;
  std::uint64_t ratio = 1;
  std::uint64_t next = 0;
};

Column column_of(const SensorMap& sensors, bool present, int key, int time_base, int frequency) {
  const auto entry = sensors.find(key);
  if (!present || entry == sensors.end() || entry->second.sampleCount == 0) {
    return {};
  }
  const int ratio = frequency == 0 ? 1 : time_base / frequency;
  return {&entry->second, static_cast<std::uint64_t>(std::max(ratio, 1))};
}

void write_cell(std::ostream& csv, double value, int decimals) {
  if (std::isnan(value)) {
    csv << "nan,";
  } else {
    csv << std::setprecision(decimals) << value << ',';
  }
}

void write_samples(std::ostream& csv, Column& column, std::uint64_t row, std::initializer_list<int> decimals) {
  if (column.series == nullptr) {
    return;
  }
  const bool due = row % column.ratio == 0 && column.next < column.series->sampleCount;
  std::uint64_t at = column.next;
  for (const int d : decimals) {
    if (due) {
      write_cell(csv, column.series->values[at], d);
    } else {
      csv << ',';
    }
    at += column.series->sampleCount;
  }
  column.next += due ? 1 : 0;
}

void write_event(std::ostream& csv, Column& column, double time) {
  if (column.series == nullptr) {
    return;
  }
  if (column.next < column.series->sampleCount && time >= column.series->timestamps[column.next]) {
    write_cell(csv, column.series->values[column.next++], 3);
  } else {
    csv << ',';
  }
}

void write_header(std::ostream& csv, const kiv_Config& c, bool event, bool quaternion) {
  const auto group = [&](bool shown, const char* name, int hz, const char* end) {
    if (shown) {
      csv << name << " [" << hz << " hz]" << end;
    }
  };
  group(true, "Time", c.frequency, ",");
  group(c.gyro.present, "Gyro", c.gyro.frequency, ",,,");
  group(c.accel.present, "Accel", c.accel.frequency, ",,,");
  group(c.baro.present, "Baro", c.baro.frequency, ",,");
  group(c.radioByte.present, "Event", c.frequency, ",");
  group(quaternion, "Quaternion", c.gyro.frequency, ",,,,");
  csv << "\nTime," << (c.gyro.present ? "Gyro X,Gyro Y,Gyro Z," : "")
      << (c.accel.present ? "Accel X,Accel Y,Accel Z," : "") << (c.baro.present ? "Pressure,Temperature," : "")
      << (event ? "Event," : "") << (quaternion ? "Quat W,Quat X,Quat Y,Quat Z," : "");
  csv << "\n[s]," << (c.gyro.present ? "[deg/s],[deg/s],[deg/s]," : "") << (c.accel.present ? "[g],[g],[g]," : "")
      << (c.baro.present ? "[mBar],[degree C]," : "") << (event ? "[]," : "") << (quaternion ? "[],[],[],[]," : "")
      << '\n';
}

}  // namespace

bool straightforward_decode(std::istream& file, kiv_Config* config, SensorMap* sensors) {
  Block block{};
  Trees trees;
  bool has_header = false;
  while (file.read(reinterpret_cast<char*>(block.data()), kBlockSize)) {
    if (!has_header && !_readConfig(config, block)) {
      return false;
    }
    has_header = true;
    const std::int64_t base_tick = std::int64_t{block[4]} * 16777216 + block[5] * 65536 + block[6] * 256 + block[7];
    for (std::size_t at = 8; at < kBlockSize; at += 8) {
      decode_record(*config, base_tick, &block[at], trees);
    }
  }
  if (has_header) {
    add_all_series(*config, trees, sensors);
    add_orientation(*config, sensors);
  }
  return has_header;
}

void straightforward_csv(std::ostream& csv, const kiv_Config& c, const SensorMap& sensors) {
  Column gyro = column_of(sensors, c.gyro.present, kGyroKey, c.frequency, c.gyro.frequency);
  Column accel = column_of(sensors, c.accel.present, kAccelKey, c.frequency, c.accel.frequency);
  Column baro = column_of(sensors, c.baro.present, kBaroKey, c.frequency, c.baro.frequency);
  Column event = column_of(sensors, c.event.present, kEventKey, 0, 0);
  if (event.series == nullptr) {
    event = column_of(sensors, c.radioByte.present, kRadioByteKey, 0, 0);
  }
  Column quaternion = column_of(sensors, true, kQuaternionKey, c.frequency, c.gyro.frequency);
  std::uint64_t rows = 0;
  for (const Column* column : {&gyro, &accel, &baro, &event, &quaternion}) {
    rows = std::max(rows, column->series != nullptr ? column->series->sampleCount : 0);
  }
  csv << "Tessaro - Vortena data export\nCreated on: " << _date_to_string(c.createdAt)
      << "\nTotal data points: " << rows << "\n\n";
  write_header(csv, c, event.series != nullptr, quaternion.series != nullptr);
  csv << std::fixed;
  double time = 1.0 / c.frequency;
  for (std::uint64_t row = 0; row < rows; ++row) {
    write_cell(csv, time, 5);
    write_samples(csv, gyro, row, {5, 5, 5});
    write_samples(csv, accel, row, {5, 5, 5});
    write_samples(csv, baro, row, {3, 1});
    write_event(csv, event, time);
    write_samples(csv, quaternion, row, {5, 5, 5, 5});
    csv << '\n';
    time += 1.0 / c.frequency;
  }
}

void straightforward_read(const char* path, const char* csv_path) {
  kiv_Config config;
  SensorMap sensors;
  std::ifstream file(path, std::ios::binary);
  straightforward_decode(file, &config, &sensors);
  std::ofstream csv(csv_path, std::ios::binary);
  straightforward_csv(csv, config, sensors);
}

}  // namespace oracle
