#include "reader/synchronisation.h"

#include <gmock/gmock.h>

#include "reader/bin_reader2.h"
#include "support/simulated_recording.h"

namespace vortena::testing {
namespace {

using ::testing::ElementsAre;

/// A set in memory. Samples of a channel count up from 0; a three-axis sample i is (i, i + 1000, i + 2000).
struct RecordingSet {
  std::vector<kiv_Config> configs;
  std::vector<SensorMap> inputs;
  SynchronisedMaps outputs;
  std::string message;

  /// Optionally with as many samples of a 100 Hz accelerometer in each recording.
  explicit RecordingSet(std::size_t count, std::uint64_t accel_samples = 0) : configs(count), inputs(count) {
    for (kiv_Config& config : configs) {
      config.frequency = 100;
      config.radioMode = 1;
    }
    configs[0].radioMode = 0;
    for (std::size_t unit = 0; accel_samples > 0 && unit < count; ++unit) {
      series(unit, kAccelKey, accel_samples, 100, 0);
    }
  }

  RecordingSet& series(std::size_t unit, ChannelKey key, std::uint64_t samples, double hz, double start) {
    kiv_DataSensor sensor(key == kRadioByteKey || key == kRadioTimeKey ? 1 : 3, samples);
    for (std::size_t i = 0; i < samples; ++i) {
      sensor.timestamps[i] = start + static_cast<double>(i) / hz;
      for (std::size_t axis = 0; axis < sensor.axisCount; ++axis) {
        sensor.values[axis * samples + i] = static_cast<double>(1000 * axis + i);
      }
    }
    inputs[unit].insert_or_assign(key, sensor);
    (key == kGyroKey ? configs[unit].gyro : configs[unit].accel).frequency = static_cast<std::int32_t>(hz);
    return *this;
  }

  bool sync() {
    std::vector<kiv_Config*> config_pointers;
    std::vector<SensorMap*> input_pointers;
    for (std::size_t i = 0; i < configs.size(); ++i) {
      config_pointers.push_back(&configs[i]);
      input_pointers.push_back(&inputs[i]);
    }
    ::testing::internal::CaptureStderr();
    const bool result = kiv_sync(outputs.maps, config_pointers, input_pointers);
    message = ::testing::internal::GetCapturedStderr();
    return result;
  }

  [[nodiscard]] const kiv_DataSensor& output(std::size_t unit, int key) const { return outputs.maps[unit]->at(key); }
  [[nodiscard]] double first_value(std::size_t unit) const { return output(unit, kAccelKey).values[0]; }
  [[nodiscard]] double first_time(std::size_t unit) const { return output(unit, kAccelKey).timestamps[0]; }
};

const std::string kRadioMessage(int masters) {
  return "Possibly no master or more than one used (" + std::to_string(masters) +
         "). Different radio channels are used.\n";
}

TEST(Synchronisation, CutsToTheLatestStartAndTheShortestDuration) {
  RecordingSet set(2);
  set.series(0, kAccelKey, 1200, 100, 0).series(1, kAccelKey, 1100, 100, 1.004);
  set.series(0, kGyroKey, 600, 50, 0).series(1, kGyroKey, 700, 50, 0);
  ASSERT_TRUE(set.sync());
  EXPECT_EQ(set.message, "");
  EXPECT_EQ(set.output(0, kAccelKey).sampleCount, 1100U);  // both from the second sample 100 on: 11 s
  EXPECT_EQ(set.output(1, kGyroKey).sampleCount, 550U);
  EXPECT_EQ(set.first_value(0), 100);
  EXPECT_EQ(set.output(0, kAccelKey).values[1100], 1100) << "axis y starts at its own sample 100";
  EXPECT_EQ(set.output(0, kAccelKey).timestamps.back(), 11.99);
  EXPECT_EQ(set.inputs[0].at(kAccelKey).sampleCount, 1200U) << "inputs stay";

  RecordingSet ties(2);
  ties.series(0, kAccelKey, 10, 1, 0).series(1, kAccelKey, 10, 1, 2.5);
  ASSERT_TRUE(ties.sync());
  EXPECT_EQ(ties.first_value(0), 2) << "of two equally close samples the earlier";
  RecordingSet negative(2);
  negative.series(0, kAccelKey, 10, 1, -5).series(1, kAccelKey, 10, 1, -6);
  ASSERT_TRUE(negative.sync());
  EXPECT_EQ(negative.first_time(0), 0) << "a start before 0 counts as 0";
}

TEST(Synchronisation, ShiftsByEachTimeSource) {
  RecordingSet schedule(3, 1000);
  schedule.configs[0].schedule.present = true;
  for (std::size_t unit = 0; unit < 3; ++unit) {
    auto& block = schedule.configs[unit].schedule;
    block.first = {9, 9, static_cast<int>(2 - unit), 500, 100};                              // 2.5 - u - 1
    block.second = {9, 9, static_cast<int>(2 - unit), 0, static_cast<std::uint32_t>(-150)};  // 2 - u + 1.5
  }
  ASSERT_TRUE(schedule.sync());
  EXPECT_EQ(schedule.first_time(2), 2.0) << "unit 0 is 2 s later than the earliest, unit 2";
  EXPECT_THAT((std::array{schedule.first_value(0), schedule.first_value(1), schedule.first_value(2)}),
              ElementsAre(0, 100, 200));

  RecordingSet parameters(3, 1000);
  parameters.configs[1].radioParam1 = 5;
  parameters.configs[1].radioParam2 = 2;  // the difference wraps: -3 ticks, times 100 Hz, over 100 Hz
  parameters.configs[2].radioParam2 = 4;
  ASSERT_TRUE(parameters.sync());
  EXPECT_EQ(parameters.first_time(0), 4.0);
  EXPECT_THAT((std::array{parameters.first_value(0), parameters.first_value(1), parameters.first_value(2)}),
              ElementsAre(400, 700, 0));

  RecordingSet times(3, 1000);
  times.series(1, kRadioTimeKey, 3, 100, 20).series(2, kRadioTimeKey, 3, 100, 20);
  for (std::size_t unit = 0; unit < 3; ++unit) {
    times.configs[unit].radioTime.option1 = unit == 1 ? 0 : 1;  // the second recording is the master
    times.configs[unit].radioTime.option2 = unit == 2 ? -1 : 17;
  }
  EXPECT_FALSE(times.sync()) << "recording 0 has no radio times";
  EXPECT_EQ(times.message, "No radio data.\n");
  EXPECT_EQ(times.first_time(2), 0) << "the copies are there, and recording 2 was not reached";
}

TEST(Synchronisation, RadioTimesMoveAllChannelsByTheirFirstOffset) {
  RecordingSet set(2);
  set.series(0, kAccelKey, 13000, 100, 0).series(1, kAccelKey, 1000, 100, 15).series(1, kRadioTimeKey, 2, 100, 20);
  set.inputs[1].at(kRadioTimeKey).values = {120, 999};
  set.configs[0].radioTime.option1 = 0;
  set.configs[1].radioTime.option1 = 1;
  ASSERT_TRUE(set.sync());
  EXPECT_EQ(set.first_time(1), 115.0);
  EXPECT_EQ(set.first_value(0), 11500);
  EXPECT_FALSE(set.outputs.maps[1]->contains(kRadioTimeKey));
}

TEST(Synchronisation, NeedsOneMasterAndOneChannel) {
  const struct {
    std::array<int, 3> roles, channels;
    int masters;  // -1: no message
  } cases[] = {{{0, 1, 1}, {5, -1, 5}, -1}, {{1, 1, 1}, {5, 5, 5}, 0},     {{0, 0, 1}, {5, 5, 5}, 2},
               {{0, 1, 1}, {5, 6, 5}, 1},   {{1, 1, 0}, {-1, -1, -1}, -1}, {{0, 1, 1}, {-1, 5, -1}, 1}};
  for (const auto& c : cases) {
    for (const bool radio_modes : {true, false}) {
      RecordingSet set(3);
      for (std::size_t i = 0; i < 3; ++i) {
        set.series(i, kAccelKey, 10, 10, 0).series(i, kRadioTimeKey, 1, 10, 0);
        (radio_modes ? set.configs[i].radioMode : set.configs[i].radioTime.option1) = c.roles[i];
        (radio_modes ? set.configs[i].radioChannel : set.configs[i].radioTime.option2) = c.channels[i];
      }
      EXPECT_EQ(set.sync(), c.masters < 0);
      EXPECT_EQ(set.message, c.masters < 0 ? "" : kRadioMessage(c.masters));
    }
  }
}

TEST(Synchronisation, FrequenciesPairByPositionWhereKeysDiffer) {
  RecordingSet set(2);
  for (std::size_t unit = 0; unit < 2; ++unit) {
    set.series(unit, kAccelKey, 100, 10, 0).series(unit, kBaroKey, 100, 10, 0);
    set.configs[unit].baro.frequency = 5;
  }
  set.series(0, kGyroKey, 100, 20, 0);
  set.configs[1].accel.frequency = set.configs[0].accel.frequency = 10;
  ASSERT_TRUE(set.sync());
  EXPECT_FALSE(set.outputs.maps[0]->contains(kGyroKey));
  // Recording 0 counts its barometer with the gyroscope's 20 Hz: 100 / 20 = 5 s is the shortest duration.
  EXPECT_EQ(set.output(0, kAccelKey).sampleCount, 50U);
  EXPECT_EQ(set.output(0, kBaroKey).sampleCount, 100U);
  EXPECT_EQ(set.output(1, kBaroKey).sampleCount, 25U);
}

TEST(Synchronisation, RefusesWhatHasNoCommonSpan) {
  std::vector<SensorMap*> outputs{nullptr};
  kiv_Config config;
  SensorMap map;
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(kiv_sync(outputs, {&config}, {&map}));
  EXPECT_FALSE(kiv_sync(outputs, {&config, &config}, {&map}));
  EXPECT_FALSE(kiv_sync(outputs, {&config, nullptr}, {&map, &map}));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Wrong number of sensors.\nWrong number of sensors.\nNull data detected.\n");
  EXPECT_EQ(outputs.size(), 1U) << "untouched";
  RecordingSet nothing_common(2);
  nothing_common.series(0, kAccelKey, 10, 10, 0).series(1, kGyroKey, 10, 10, 0);
  EXPECT_FALSE(nothing_common.sync());
  RecordingSet empty(2);
  empty.series(0, kAccelKey, 10, 10, 0).series(1, kAccelKey, 0, 10, 0);
  EXPECT_FALSE(empty.sync());
  EXPECT_EQ(empty.message, "");
}

TEST(Synchronisation, FrequenciesOfZeroTakeAllThereIs) {
  RecordingSet set(2);
  set.series(0, kAccelKey, 10, 10, 0).series(1, kAccelKey, 20, 10, 0);
  set.configs[0].accel.frequency = set.configs[1].accel.frequency = 0;
  ASSERT_TRUE(set.sync());
  EXPECT_EQ(set.output(0, kAccelKey).sampleCount, 10U);
  EXPECT_EQ(set.output(1, kAccelKey).sampleCount, 20U);
}

TEST(Synchronisation, RadioBytesAreCutByTheirOwnClock) {
  RecordingSet set(3);
  for (std::size_t unit = 0; unit < 3; ++unit) { set.series(unit, kAccelKey, 100, 10, 2); }
  set.series(0, kRadioByteKey, 20, 1, 0).series(1, kRadioByteKey, 20, 1, 12.5);
  for (kiv_Config& config : set.configs) { config.accel.frequency = 10; }
  ASSERT_TRUE(set.sync());
  EXPECT_THAT(set.output(0, kRadioByteKey).values, ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
  EXPECT_EQ(set.output(0, kRadioByteKey).timestamps.front(), 2.0);
  EXPECT_FALSE(set.outputs.maps[1]->contains(kRadioByteKey)) << "all of it lies behind the span";
  EXPECT_FALSE(set.outputs.maps[2]->contains(kRadioByteKey));
}

TEST(Synchronisation, ASimulatedSetComesTogetherWhateverUnitIsTheMaster) {
  const std::array<double, 3> starts{0.0, 1.37, 0.6};           // world time of each unit's first sample, s
  const std::array<std::uint32_t, 3> clocks{1000, 70000, 250};  // and its own clock's tick then
  for (std::size_t master = 0; master < 3; ++master) {
    const ScratchFolder folder;
    std::vector<std::string> paths;
    std::array<SimulationPlan, 3> plans;
    for (std::size_t i = 0; i < 3; ++i) {
      const auto ticks_at_world_zero = [&](std::size_t u) { return clocks[u] - std::lround(starts[u] * 200); };
      plans[i].start_seconds = starts[i];
      plans[i].first_tick = clocks[i];
      plans[i].radio_role = i == master ? 0 : 1;
      plans[i].radio_ticks_ahead = ticks_at_world_zero(master) - ticks_at_world_zero(i);
      paths.push_back(folder.write("unit" + std::to_string(i) + ".bin", simulate(plans[i])));
    }
    ASSERT_EQ(BinReader2().readAndSync(paths, folder.path("")), "OK");
    for (std::size_t i = 0; i < 3; ++i) {
      const std::string csv = folder.read("unit" + std::to_string(i) + ".csv");
      EXPECT_NE(csv.find("Total data points: " + std::to_string(6000 - 274)), std::string::npos) << csv.substr(0, 100);
      std::string row = csv.substr(csv.find("\n10.00000,") + 10);  // world time 1.37 + 10 s, less the first row's tick
      const TrueSample truth = true_sample(plans[0], 1.37 + 10.0 - 0.005);
      EXPECT_NEAR(std::stod(row), truth.gyro_deg_s[0], 2000.0 / 32768) << "unit " << i << ", master " << master;
    }
  }
}

}  // namespace
}  // namespace vortena::testing
