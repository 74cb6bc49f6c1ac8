#include "reader/texts/csv_export.h"

#include <gmock/gmock.h>

#include <cmath>
#include <sstream>

namespace vortena::testing {
namespace {

using ::testing::EndsWith;

/// A recording in memory; series are given axis-major, timestamps only where they matter.
struct CsvCase {
  kiv_Config config;
  SensorMap sensors;

  explicit CsvCase(int frequency) { config.frequency = frequency; }

  CsvCase& series(ChannelKey key, std::uint64_t axes, const std::vector<double>& values,
                  const std::vector<double>& times = {}) {
    kiv_DataSensor& sensor = sensors.try_emplace(key, axes, values.size() / axes).first->second;
    sensor.values.assign(values.begin(), values.end());
    std::ranges::copy(times, sensor.timestamps.begin());
    return *this;
  }

  [[nodiscard]] std::string text() const {
    std::ostringstream out;
    write_csv(out, config, sensors);
    return out.str();
  }
};

TEST(CsvExport, LaysEveryChannelOnTheRowClock) {
  CsvCase c(200);
  c.config.createdAt = {0, 5, 9, 7, 3, 2019};
  c.config.gyro = {.frequency = 100, .present = true};
  c.config.accel = {.frequency = 150, .present = true};  // no whole ratio: a sample a row
  c.config.baro = {.frequency = 50, .present = true};
  c.config.radioByte.present = c.config.event.present = true;
  c.series(kGyroKey, 3, {-0.125, 0, 1, 1, 2, 2}).series(kAccelKey, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  c.series(kBaroKey, 2, {963.512, 963.5125, 23.4, -23.45}).series(kRadioByteKey, 1, {99});
  c.series(kEventKey, 1, {7, 8, 9}, {0.005, 0.012, 0.0120001});
  c.series(kQuaternionKey, 4, {1, 0.5, 0.25, 0.25, 0, 0, 0, 0, 0, 0.5, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(c.text(), R"(Tessaro - Vortena data export
Created on: 2019-03-07 09:05:00
Total data points: 4

Time [200 hz],Gyro [100 hz],,,Accel [150 hz],,,Baro [50 hz],,Event [200 hz],Quaternion [100 hz],,,,
Time,Gyro X,Gyro Y,Gyro Z,Accel X,Accel Y,Accel Z,Pressure,Temperature,Event,Quat W,Quat X,Quat Y,Quat Z,
[s],[deg/s],[deg/s],[deg/s],[g],[g],[g],[mBar],[degree C],[],[],[],[],[],
0.00500,-0.12500,1.00000,2.00000,1.00000,4.00000,7.00000,963.512,23.4,7.000,1.00000,0.00000,0.00000,0.00000,
0.01000,,,,2.00000,5.00000,8.00000,,,,,,,,
0.01500,0.00000,1.00000,2.00000,3.00000,6.00000,9.00000,,,8.000,0.50000,0.00000,0.50000,0.00000,
0.02000,,,,,,,,,9.000,,,,,
)");
}

TEST(CsvExport, HeadersFollowSettingsAndCellsFollowSamples) {
  CsvCase settings(1);  // without samples, or with samples of another shape
  settings.config.gyro.present = settings.config.accel.present = true;
  settings.config.event.present = settings.config.radioByte.present = true;
  settings.series(kGyroKey, 2, {1, 2}).series(kAccelKey, 3, {1, 2, 3}).sensors.at(kAccelKey).sampleCount = 2;
  EXPECT_THAT(settings.text(), EndsWith("points: 0\n\nTime [1 hz],Gyro [0 hz],,,Accel [0 hz],,,Event [1 hz],\n"
                                        "Time,Gyro X,Gyro Y,Gyro Z,Accel X,Accel Y,Accel Z,\n"
                                        "[s],[deg/s],[deg/s],[deg/s],[g],[g],[g],\n"));
  CsvCase samples(1);  // the event has no group, and without settings only the quaternion is taken
  samples.config.event.present = true;
  samples.series(kEventKey, 1, {5}, {1}).series(kAccelKey, 3, {1, 2, 3}).series(kQuaternionKey, 4, {1, 0, 0, 0});
  EXPECT_THAT(samples.text(), EndsWith("points: 1\n\nTime [1 hz],Quaternion [0 hz],,,,\n"
                                       "Time,Event,Quat W,Quat X,Quat Y,Quat Z,\n[s],[],[],[],[],[],\n"
                                       "1.00000,5.000,1.00000,0.00000,0.00000,0.00000,\n"));
  std::swap(samples.config.event.present, samples.config.radioByte.present);
  EXPECT_THAT(samples.series(kRadioByteKey, 1, {6, 7}, {1, 1}).text(), EndsWith(",\n2.00000,7.000,,,,,\n"));
}

TEST(CsvExport, OddRatesAndTimes) {
  for (const int frequency : {0, 7}) {
    CsvCase slow(3);
    slow.config.baro = {.frequency = frequency, .present = true};
    slow.series(kBaroKey, 2, {1, 2, 3, 4, 5, 6});
    EXPECT_THAT(slow.text(), EndsWith("\n0.33333,1.000,4.0,\n0.66667,2.000,5.0,\n1.00000,3.000,6.0,\n"));
  }
  CsvCase zero(0), tenths(10);
  zero.config.event.present = tenths.config.event.present = true;
  zero.series(kEventKey, 1, {1, -std::nan(""), -HUGE_VAL, 4}, {HUGE_VAL, 0, 0, std::nan("")});
  EXPECT_THAT(zero.text(), EndsWith("\ninf,1.000,\ninf,nan,\ninf,-inf,\ninf,,\n"));
  tenths.series(kEventKey, 1, std::vector<double>(9, 5), std::vector<double>(9, 0.8));
  EXPECT_THAT(tenths.text(), EndsWith("\n0.80000,,\n0.90000,5.000,\n")) << "eight added tenths are less than 0.8";
}

/// A disk that is full after some bytes.
struct FullDisk : std::stringbuf {
  std::streamsize room;

  explicit FullDisk(std::streamsize bytes) : room(bytes) {}
  std::streamsize xsputn(const char* from, std::streamsize size) override {
    room -= size;
    return room < 0 ? throw std::ios_base::failure("full") : std::stringbuf::xsputn(from, size);
  }
};

TEST(CsvExport, PiecesMakeTheWholeAndAFullDiskOrAWatchEndsIt) {
  CsvCase c(100);
  c.config.gyro = {.frequency = 50, .present = true};
  c.config.event.present = true;
  c.series(kGyroKey, 3, std::vector<double>(3 * 20000, 1.5)).series(kEventKey, 1, {4, 5, 6}, {0.5, 0.5, 300});
  c.series(kQuaternionKey, 4, std::vector<double>(4 * 20000, 0.25));
  std::ostringstream pieces;
  CsvExport csv(pieces, c.config, c.sensors);
  EXPECT_EQ(csv.rows_covered(3), 6U);
  EXPECT_EQ(csv.rows_covered(20000), csv.rows());
  for (std::uint64_t step = 1; csv.rows_written() < csv.rows(); step = step * 7 % 1013) {
    csv.write_rows(csv.rows_written() + step);
  }
  EXPECT_TRUE(csv.write_rest(nullptr));
  EXPECT_EQ(pieces.str(), c.text());

  FullDisk disk(300000);
  std::ostream out(&disk);
  Watch watch;
  EXPECT_TRUE(write_csv(out, c.config, c.sensors, &watch));
  EXPECT_TRUE(out.bad());
  EXPECT_LT(watch.done, 20000) << "nobody needs rows that are written nowhere";
  watch.stop = 1;
  EXPECT_FALSE(write_csv(pieces, c.config, c.sensors, &watch));
  EXPECT_LT(watch.done, 20000);
  EXPECT_EQ(watch.total, 20000);
}

}  // namespace
}  // namespace vortena::testing
