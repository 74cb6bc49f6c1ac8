// A decoded recording: its configuration header (kiv_Config) and one series per channel (kiv_DataSensor).
#pragma once

#include <cstdint>
#include <limits>
#include <unordered_map>
#include <vector>

namespace vortena {

/// The configuration header of one recording. A plain record: whoever creates it owns it; the header decoder
/// fills it. Fields without an initial value of their own start at 0 or false.
struct kiv_Config {
  /// Calendar date and time of day, as the unit's clock showed it. `year` has four digits.
  struct DateStruct {
    std::int32_t second = 0;
    std::int32_t minute = 0;
    std::int32_t hour = 0;
    std::int32_t day = 0;
    std::int32_t month = 0;
    std::int32_t year = 0;
  };

  /// Accelerometer or gyroscope. A sample is (count * range / 2^15 - offset) / gain, per axis.
  struct SensorConfig {
    std::int32_t id = 0;         ///< first byte of this channel's records
    std::int32_t frequency = 0;  ///< sampling frequency, Hz
    std::int32_t range = 0;      ///< full scale, g or deg/s
    double offsetX = 0;          ///< g or deg/s
    double offsetY = 0;
    double offsetZ = 0;
    double gainX = 0;  ///< dimensionless divisors
    double gainY = 0;
    double gainZ = 0;
    std::int32_t auxiliary = 0;   ///< carried, not used in decoding
    std::uint32_t parameter = 0;  ///< carried, not used in decoding
    bool present = false;         ///< the settings frame was read, so the channel exists
  };

  struct BaroConfig {
    std::int32_t id = 0;
    std::int32_t frequency = 0;  ///< Hz
    std::int32_t auxiliary = 0;
    std::uint32_t parameter = 0;
    bool present = false;
  };

  struct GpsConfig {
    std::int32_t id = 0;
    std::int32_t frequency = 0;  ///< Hz
    std::int32_t mode = 0;
    std::int32_t auxiliary = 0;
    std::uint32_t parameter = 0;
    bool present = false;
  };

  struct AuxConfig3 {
    std::int32_t id = 0;
    std::int32_t frequency = 0;  ///< Hz
    std::int32_t auxiliary = 0;
    std::uint32_t parameter = 0;
    bool present = false;
  };

  struct AuxConfig1 {
    std::int32_t id = 0;
    std::int32_t frequency = 0;  ///< Hz
    bool present = false;
  };

  struct AuxConfig2 {
    std::int32_t id = 0;
    std::int32_t frequency = 0;  ///< Hz
    std::int32_t option1 = 2;
    std::int32_t option2 = 0;
    bool present = false;
  };

  struct AuxConfig2w {
    std::int32_t id = 0;
    std::int32_t value1 = 0;
    std::int32_t value2 = 0;
    bool present = false;
  };

  struct ScheduleConfig {
    struct Group {
      std::int32_t b1 = 0;
      std::int32_t b2 = 0;
      std::int32_t b3 = 0;
      std::int32_t w = 0;
      std::uint32_t t = 0;
    };
    std::int32_t id = 0;
    std::int32_t value = -1;
    Group first;
    Group second;
    bool present = false;
  };

  bool headerError = false;                 ///< a known frame was too short for its layout
  std::vector<std::uint8_t> unknownFrames;  ///< whole frames that were not understood, in file order
  std::int32_t frequency = 0;               ///< time base, ticks per second
  std::uint32_t deviceId = std::numeric_limits<std::uint32_t>::max();
  std::int32_t deviceType = -1;
  std::int32_t bodyLocation = -1;
  bool hasDevice = false;  ///< a device or firmware frame was read
  std::int32_t version = 0;
  std::int32_t majorVersion = 0;
  std::int32_t minorVersion = 0;
  std::int32_t radioMode = 0;
  std::int32_t radioChannel = 0;
  std::uint32_t radioParam1 = 0;
  std::uint32_t radioParam2 = 0;
  std::int32_t extVersion = 0;  ///< second version number; carried, not reported
  std::int32_t extMajorVersion = 0;
  std::int32_t extMinorVersion = 0;
  DateStruct createdAt;  ///< start of the recording
  DateStruct endDate;    ///< end of the recording
  SensorConfig accel;    ///< g
  SensorConfig gyro;     ///< deg/s
  BaroConfig baro;
  GpsConfig gps;         ///< its records are skipped
  AuxConfig3 mag;        ///< three-axis raw channel
  AuxConfig1 radioByte;  ///< one-byte channel
  AuxConfig2 radioTime;  ///< 32-bit time channel
  std::int32_t measureId = -1;
  ScheduleConfig schedule;  ///< time references of the unit's schedule
  AuxConfig2w auxA;         ///< its records are skipped
  AuxConfig2w auxB;         ///< its records are skipped
  AuxConfig1 event;
};

/// The samples of one channel. Owns its vectors; copies are deep.
struct kiv_DataSensor {
  std::uint64_t axisCount;
  std::uint64_t sampleCount;
  /// Axis-major, axisCount x sampleCount: axis a of sample i is values[a * sampleCount + i].
  std::vector<double> values;
  /// sampleCount entries in seconds since the recording's tick zero, strictly increasing.
  std::vector<double> timestamps;

  /// All values and time stamps zero.
  kiv_DataSensor(std::uint64_t axis_count, std::uint64_t sample_count);

  /// True when the vectors are at least as large as the counts say.
  [[nodiscard]] bool is_consistent() const;

  /// True when the record has exactly these counts and its vectors are as large as they say.
  [[nodiscard]] bool has_shape(std::uint64_t axes, std::uint64_t samples) const {
    return axisCount == axes && sampleCount == samples && is_consistent();
  }
};

/// Keys of the sensor map. 4, 8 and 9 are never used.
enum ChannelKey : int {
  kAccelKey = 1,        ///< 3 axes, X Y Z, g
  kGyroKey = 2,         ///< 3 axes, X Y Z, deg/s
  kBaroKey = 3,         ///< 2 axes, pressure in mBar, temperature in degrees C
  kMagKey = 5,          ///< 3 axes, X Y Z, raw counts
  kRadioByteKey = 6,    ///< 1 axis, 0..255
  kRadioTimeKey = 7,    ///< 1 axis, seconds
  kQuaternionKey = 10,  ///< 4 axes, W X Y Z
  kEventKey = 11,       ///< 1 axis, 0..255
};

using SensorMap = std::unordered_map<int, kiv_DataSensor>;

/// The series under `key` if it is there, consistent, not empty and has at least `axes` axes; otherwise null.
const kiv_DataSensor* find_series(const SensorMap& sensors, ChannelKey key, std::uint64_t axes);

}  // namespace vortena
