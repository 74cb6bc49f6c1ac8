// What each channel is: one table, read by everything that goes by channels. A new one needs its key and its settings
// in recording_model.h, its line here, and the identifier and the layout of its records in data_packages.cpp.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string_view>
#include <type_traits>

#include "reader/decoding/recording_model.h"

namespace vortena {

struct ChannelAxis {
  std::string_view name;
  std::string_view unit;  ///< empty for raw counts and plain numbers
};

/// The axes of a channel, in the order of its series.
class ChannelAxes {
 public:
  constexpr ChannelAxes(std::initializer_list<ChannelAxis> axes) : count_(axes.size()) {
    std::copy(axes.begin(), axes.end(), axes_.begin());
  }

  [[nodiscard]] constexpr std::size_t size() const { return count_; }
  [[nodiscard]] constexpr const ChannelAxis* begin() const { return axes_.data(); }
  [[nodiscard]] constexpr const ChannelAxis* end() const { return axes_.data() + count_; }

  [[nodiscard]] constexpr bool have_one_unit() const {
    return std::all_of(begin(), end(), [this](const ChannelAxis& axis) { return axis.unit == axes_[0].unit; });
  }

 private:
  std::array<ChannelAxis, 4> axes_{};
  std::size_t count_;
};

/// What a viewer draws of a channel.
enum class Curves : std::uint8_t {
  kNone,
  kAxes,
  kAxesAndNorm,
  kAngles,  ///< roll, pitch and heading, in degrees
};

/// A channel's settings in the header.
struct ChannelSettings {
  bool (*present)(const kiv_Config& config);
  std::int32_t (*frequency)(const kiv_Config& config);  ///< Hz
  /// Null for channels that are not calibrated.
  const kiv_Config::SensorConfig* (*calibration)(const kiv_Config& config);
};

struct Channel {  // NOLINT(clang-analyzer-optin.performance.Padding): in the order in which the table reads
  ChannelKey key;
  std::string_view name;   ///< for programs
  std::string_view title;  ///< for people
  ChannelAxes axes;
  Curves curves;
  bool clocked;   ///< sampled at regular intervals: its rate and gaps mean something
  bool recorded;  ///< in the file; otherwise computed
  ChannelSettings settings;

  /// Decoded from 16-bit numbers, at whose ends the true value may lie beyond.
  [[nodiscard]] constexpr bool has_full_scale() const { return recorded && axes.size() == 3; }

  [[nodiscard]] constexpr std::size_t curve_count() const {
    constexpr std::size_t kAngles = 3;
    const std::size_t of_axes = axes.size() + (curves == Curves::kAxesAndNorm ? 1 : 0);
    return curves == Curves::kNone ? 0 : curves == Curves::kAngles ? kAngles : of_axes;
  }
};

namespace channel_table {

/// The settings that a member of the header holds.
template <auto Member>
constexpr ChannelSettings settings_in() {
  return {[](const kiv_Config& config) { return (config.*Member).present; },
          [](const kiv_Config& config) { return (config.*Member).frequency; },
          [](const kiv_Config& config) -> const kiv_Config::SensorConfig* {
            if constexpr (std::is_same_v<decltype(Member), kiv_Config::SensorConfig kiv_Config::*>) {
              return &(config.*Member);
            } else {
              return nullptr;
            }
          }};
}

constexpr ChannelAxes value_in(std::string_view unit) {
  return {{"value", unit}};
}

constexpr ChannelAxes x_y_z_in(std::string_view unit) {
  return {{"x", unit}, {"y", unit}, {"z", unit}};
}

}  // namespace channel_table

// clang-format off
inline constexpr Channel kChannels[] = {
    // key, name, title, axes, curves, clocked, recorded, settings
    {kAccelKey, "accel", "accelerometer", channel_table::x_y_z_in("g"), Curves::kAxesAndNorm,
     true, true, channel_table::settings_in<&kiv_Config::accel>()},
    {kGyroKey, "gyro", "gyroscope", channel_table::x_y_z_in("deg/s"), Curves::kAxesAndNorm,
     true, true, channel_table::settings_in<&kiv_Config::gyro>()},
    {kBaroKey, "baro", "barometer", {{"pressure", "mBar"}, {"temperature", "degree C"}}, Curves::kAxes,
     true, true, channel_table::settings_in<&kiv_Config::baro>()},
    {kMagKey, "mag", "three-axis raw channel", channel_table::x_y_z_in(""), Curves::kAxesAndNorm,
     true, true, channel_table::settings_in<&kiv_Config::mag>()},
    {kRadioByteKey, "radioByte", "one-byte channel", channel_table::value_in(""), Curves::kNone,
     false, true, channel_table::settings_in<&kiv_Config::radioByte>()},
    {kRadioTimeKey, "radioTime", "radio time channel", channel_table::value_in("s"), Curves::kNone,
     true, true, channel_table::settings_in<&kiv_Config::radioTime>()},
    // The orientation runs at the gyroscope's rate.
    {kQuaternionKey, "quaternion", "orientation", {{"w", ""}, {"x", ""}, {"y", ""}, {"z", ""}}, Curves::kAngles,
     true, false, channel_table::settings_in<&kiv_Config::gyro>()},
    {kEventKey, "event", "event channel", channel_table::value_in(""), Curves::kNone,
     false, true, channel_table::settings_in<&kiv_Config::event>()},
};
// clang-format on

static_assert(std::adjacent_find(std::begin(kChannels), std::end(kChannels), [](const Channel& a, const Channel& b) {
                return a.key >= b.key;
              }) == std::end(kChannels));
static_assert(std::all_of(std::begin(kChannels), std::end(kChannels), [](const Channel& channel) {
  constexpr int kMostKeys = 32;  // sets of channels are bits by key
  return channel.key < kMostKeys && channel.axes.size() > 0 && (!channel.recorded || channel.axes.size() <= 3) &&
         (channel.curves != Curves::kAxesAndNorm || channel.axes.size() == 3);
}));

/// Where a channel stands in the table. Throws std::out_of_range for a key that is none.
constexpr std::size_t channel_place(ChannelKey key) {
  for (std::size_t place = 0; place < std::size(kChannels); ++place) {
    if (kChannels[place].key == key) {
      return place;
    }
  }
  throw std::out_of_range("no channel has this key");
}

constexpr const Channel& channel_of(ChannelKey key) {
  return kChannels[channel_place(key)];
}

/// Null for what is no channel's name.
constexpr const Channel* find_channel(std::string_view name) {
  const Channel* const at = std::find_if(std::begin(kChannels), std::end(kChannels),
                                         [name](const Channel& channel) { return channel.name == name; });
  return at == std::end(kChannels) ? nullptr : at;
}

}  // namespace vortena
