#include "reader/csv_export.h"

#include <gmock/gmock.h>

#include <cmath>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>

#include "reader/bin_reader2.h"
#include "reader/csv_writer.h"
#include "support/recording_builder.h"

namespace vortena::testing {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// A recording in memory; series are given axis-major, timestamps only where they matter.
struct CsvCase {
  kiv_Config config;
  SensorMap sensors;

  explicit CsvCase(int frequency) { config.frequency = frequency; }

  CsvCase& series(ChannelKey key, std::uint64_t axes, const std::vector<double>& values,
                  const std::vector<double>& times = {}) {
    kiv_DataSensor sensor(axes, values.size() / axes);
    sensor.values = values;
    std::copy(times.begin(), times.end(), sensor.timestamps.begin());
    sensors.emplace(key, sensor);
    return *this;
  }

  [[nodiscard]] std::string text() const {
    std::ostringstream out;
    write_csv(out, config, sensors);
    return out.str();
  }

  /// The text from the third line on, which counts the rows.
  [[nodiscard]] std::string body() const { return text().substr(text().find("Total data points: ")); }
};

TEST(CsvExport, LaysEveryChannelOnTheRowClock) {
  CsvCase c(200);
  c.config.createdAt = {0, 5, 9, 7, 3, 2019};
  c.config.gyro = {.frequency = 200, .present = true};
  c.config.accel = {.frequency = 100, .present = true};
  c.config.baro = {.frequency = 50, .present = true};
  c.config.radioByte = {.present = true};
  c.config.event = {.present = true};
  c.series(kGyroKey, 3, {-0.125, 0, 0, 0, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2})
      .series(kAccelKey, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9})
      .series(kBaroKey, 2, {963.512, 963.5125, 23.4, -23.45})
      .series(kEventKey, 1, {7, 8, 9}, {0.011, 0.012, 0.0120001})
      .series(kRadioByteKey, 1, {99})
      .series(kQuaternionKey, 4, {1, 0.5, 0, 0, 0, 0.5, 0, 0});
  EXPECT_EQ(c.text(),
            "Tessaro - Vortena data export\n"
            "Created on: 2019-03-07 09:05:00\n"
            "Total data points: 5\n"
            "\n"
            "Time [200 hz],Gyro [200 hz],,,Accel [100 hz],,,Baro [50 hz],,Event [200 hz],Quaternion [200 hz],,,,\n"
            "Time,Gyro X,Gyro Y,Gyro Z,Accel X,Accel Y,Accel Z,Pressure,Temperature,Event,Quat W,Quat X,Quat "
            "Y,Quat Z,\n"
            "[s],[deg/s],[deg/s],[deg/s],[g],[g],[g],[mBar],[degree C],[],[],[],[],[],\n"
            "0.00500,-0.12500,1.00000,2.00000,1.00000,4.00000,7.00000,963.512,23.4,,1.00000,0.00000,0.00000,0."
            "00000,\n"
            "0.01000,0.00000,1.00000,2.00000,,,,,,,0.50000,0.00000,0.50000,0.00000,\n"
            "0.01500,0.00000,1.00000,2.00000,2.00000,5.00000,8.00000,,,7.000,,,,,\n"
            "0.02000,0.00000,1.00000,2.00000,,,,,,8.000,,,,,\n"
            "0.02500,1.00000,1.00000,2.00000,3.00000,6.00000,9.00000,963.513,-23.4,9.000,,,,,\n");
}

TEST(CsvExport, HeadersFollowSettingsAndCellsFollowSamples) {
  CsvCase settings_only(100);
  settings_only.config.gyro = {.frequency = 100, .present = true};
  settings_only.config.event = {.present = true};
  settings_only.series(kGyroKey, 3, {}).series(kEventKey, 1, {});
  EXPECT_EQ(settings_only.body(),
            "Total data points: 0\n\nTime [100 hz],Gyro [100 hz],,,\nTime,Gyro X,Gyro Y,Gyro Z,\n"
            "[s],[deg/s],[deg/s],[deg/s],\n");

  CsvCase event_without_group(1);
  event_without_group.config.event = {.present = true};
  event_without_group.series(kEventKey, 1, {5}, {1});
  EXPECT_EQ(event_without_group.body(), "Total data points: 1\n\nTime [1 hz],\nTime,Event,\n[s],[],\n1.00000,5.000,\n");

  CsvCase radio_byte_as_event(1);
  radio_byte_as_event.config.radioByte = {.present = true};
  radio_byte_as_event.series(kEventKey, 1, {5}, {1}).series(kRadioByteKey, 1, {6}, {1.5});
  EXPECT_EQ(radio_byte_as_event.body(),
            "Total data points: 1\n\nTime [1 hz],Event [1 hz],\nTime,Event,\n[s],[],\n1.00000,,\n");

  CsvCase samples_without_settings(1);
  samples_without_settings.series(kAccelKey, 3, {1, 2, 3}).series(kQuaternionKey, 4, {1, 0, 0, 0});
  EXPECT_EQ(samples_without_settings.body(),
            "Total data points: 1\n\nTime [1 hz],Quaternion [0 hz],,,,\nTime,Quat W,Quat X,Quat Y,Quat Z,\n"
            "[s],[],[],[],[],\n1.00000,1.00000,0.00000,0.00000,0.00000,\n");
}

TEST(CsvExport, RatioOfZeroCountsAsOneAndATimeBaseOfZeroGoesOn) {
  for (const int frequency : {0, 1, 7}) {
    CsvCase c(3);
    c.config.baro = {.frequency = frequency, .present = true};
    c.series(kBaroKey, 2, {1, 2, 3, 4, 5, 6});
    const bool decimated = frequency == 1;
    EXPECT_THAT(c.body(),
                ::testing::HasSubstr(decimated ? "0.33333,1.000,4.0,\n0.66667,,,\n1.00000,,,\n"
                                               : "0.33333,1.000,4.0,\n0.66667,2.000,5.0,\n1.00000,3.000,6.0,\n"));
  }
  CsvCase zero(0);
  zero.config.event = {.present = true};
  zero.series(kEventKey, 1, {1, -kNan, -kInfinity}, {kInfinity, 0, 0});
  EXPECT_THAT(zero.body(), ::testing::EndsWith("inf,1.000,\ninf,nan,\ninf,-inf,\n"));
}

TEST(CsvExport, SeriesOfAnotherShapeCountAsAbsent) {
  CsvCase c(1);
  c.config.gyro.present = c.config.accel.present = true;
  c.series(kGyroKey, 2, {1, 2}).series(kAccelKey, 3, {1, 2, 3});
  c.sensors.at(kAccelKey).sampleCount = 2;
  EXPECT_THAT(c.body(), ::testing::StartsWith("Total data points: 0\n"));
}

TEST(BinReader2, ExportNeedsAFileItCanCreate) {
  const ScratchFolder folder;
  const kiv_Config config;
  const SensorMap none;
  BinReader2 reader;
  EXPECT_FALSE(reader.exportCSV(folder.path("missing/out.csv").c_str(), &config, &none));
  EXPECT_FALSE(reader.exportCSV(folder.path("").c_str(), &config, &none));
  EXPECT_FALSE(reader.exportCSV("", &config, &none));
  folder.write("long.csv", Bytes(5000, 'x'));
  EXPECT_TRUE(reader.exportCSV(folder.path("long.csv").c_str(), &config, &none));
  EXPECT_LT(folder.read("long.csv").size(), 200U) << "the old content is gone";
}

}  // namespace
}  // namespace vortena::testing
