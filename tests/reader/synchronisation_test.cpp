// What sets through JavaScript do not reach: exact shifts, ties, odd frequencies, and a simulated set.
#include "reader/synchronisation.h"

#include <gmock/gmock.h>

#include "reader/bin_reader2.h"
#include "simulator/simulated_recording.h"
#include "tests/support/scratch_folder.h"

namespace vortena::testing {
namespace {

using namespace simulator;

using ::testing::ElementsAre;

/// A set in memory, its first recording the master. Channels have one axis whose samples count up from 0.
struct RecordingSet {
  std::vector<Recording> recordings;
  std::vector<Recording> outputs;
  SyncReport report;

  /// Each recording with as many samples of a 100 Hz accelerometer as named, from time 0 on.
  explicit RecordingSet(const std::vector<std::uint64_t>& accel_samples) : recordings(accel_samples.size()) {
    for (std::size_t unit = 0; unit < recordings.size(); ++unit) {
      config(unit).frequency = config(unit).accel.frequency = 100;
      config(unit).radioMode = unit == 0 ? 0 : 1;
      series(unit, kAccelKey, accel_samples[unit], 100, 0);
    }
  }

  kiv_Config& config(std::size_t unit) { return recordings[unit].config; }
  SensorMap& input(std::size_t unit) { return recordings[unit].sensors; }

  RecordingSet& series(std::size_t unit, ChannelKey key, std::uint64_t samples, double hz, double start) {
    kiv_DataSensor sensor(1, samples);
    for (std::size_t i = 0; i < samples; ++i) {
      sensor.timestamps[i] = start + static_cast<double>(i) / hz;
      sensor.values[i] = static_cast<double>(i);
    }
    input(unit).insert_or_assign(key, sensor);
    return *this;
  }

  /// In place and by copies, which must come to the same.
  bool sync() {
    std::vector<kiv_Config*> configs;
    std::vector<SensorMap*> inputs;
    for (Recording& recording : recordings) {
      configs.push_back(&recording.config);
      inputs.push_back(&recording.sensors);
    }
    SynchronisedMaps copies;
    ::testing::internal::CaptureStderr();
    const bool done = kiv_sync(copies.maps, configs, inputs);
    const std::string printed = ::testing::internal::GetCapturedStderr();
    outputs = recordings;
    report = synchronise(outputs);
    EXPECT_EQ(report.problem == SyncProblem::kNone, done);
    EXPECT_EQ(sync_message(report), printed);
    for (std::size_t unit = 0; done && unit < outputs.size(); ++unit) {
      expect_equal(outputs[unit].sensors, *copies.maps[unit]);
    }
    return done;
  }

  static void expect_equal(const SensorMap& a, const SensorMap& b) {
    EXPECT_EQ(a.size(), b.size());
    for (const auto& [key, series] : a) {
      EXPECT_EQ(series.sampleCount, b.at(key).sampleCount);
      EXPECT_EQ(series.values, b.at(key).values);
      EXPECT_EQ(series.timestamps, b.at(key).timestamps);
    }
  }

  [[nodiscard]] const kiv_DataSensor& output(std::size_t unit, int key = kAccelKey) const {
    return outputs[unit].sensors.at(key);
  }
  /// The first sample kept of every recording's accelerometer.
  [[nodiscard]] std::vector<double> first_samples() const {
    std::vector<double> firsts;
    for (const Recording& recording : outputs) {
      firsts.push_back(recording.sensors.at(kAccelKey).values.at(0));
    }
    return firsts;
  }
};

TEST(Synchronisation, CutsToTheLatestStartAndTheShortestDuration) {
  RecordingSet set({1200, 0});
  set.series(1, kAccelKey, 1100, 100, 1.005).series(0, kGyroKey, 600, 50, 0).series(1, kGyroKey, 700, 50, 0);
  set.config(0).gyro.frequency = set.config(1).gyro.frequency = 50;
  ASSERT_TRUE(set.sync());
  EXPECT_THAT(set.first_samples(), ElementsAre(100, 0)) << "of two equally close samples the earlier";
  EXPECT_EQ(set.output(0).sampleCount, 1100U);
  EXPECT_EQ(set.output(0).timestamps.back(), 11.99);
  EXPECT_EQ(set.output(1, kGyroKey).sampleCount, 550U);
  EXPECT_EQ(set.input(0).at(kAccelKey).sampleCount, 1200U) << "inputs stay";

  RecordingSet negative({0, 0});
  negative.series(0, kAccelKey, 1000, 100, -5).series(1, kAccelKey, 1000, 100, -6);
  ASSERT_TRUE(negative.sync());
  EXPECT_EQ(negative.output(0).timestamps.at(0), 0) << "a start before 0 counts as 0";

  RecordingSet shortest({2, 0});
  shortest.series(1, kAccelKey, 1, 100, 0.01);
  ASSERT_TRUE(shortest.sync());
  EXPECT_THAT(shortest.first_samples(), ElementsAre(1, 0));
}

TEST(Synchronisation, ShiftsByTheExactFormulas) {
  RecordingSet schedule({1000, 1000, 1000});
  schedule.config(0).schedule.present = true;
  for (std::size_t unit = 0; unit < 3; ++unit) {
    auto& block = schedule.config(unit).schedule;
    block.first = {9, 9, static_cast<int>(2 - unit), 500, 100};                              // 2.5 - unit - 1
    block.second = {9, 9, static_cast<int>(2 - unit), 0, static_cast<std::uint32_t>(-150)};  // 2 - unit + 1.5
  }
  ASSERT_TRUE(schedule.sync());
  EXPECT_THAT(schedule.first_samples(), ElementsAre(0, 100, 200));
  EXPECT_EQ(schedule.output(2).timestamps[0], 2.0);
  EXPECT_THAT(schedule.report.shifts, ElementsAre(ElementsAre(2), ElementsAre(1), ElementsAre(0)));
  EXPECT_EQ(schedule.report.source, TimeSource::kSchedule);
  EXPECT_EQ(schedule.report.start, 2.0);
  EXPECT_EQ(schedule.report.duration, 8.0F);

  RecordingSet parameters({1000, 1000, 1000});
  parameters.config(1).radioParam1 = 5;
  parameters.config(1).radioParam2 = 2;  // wraps to -3 ticks; times 100 Hz, over 100 ticks a second
  parameters.config(2).radioParam2 = 4;
  ASSERT_TRUE(parameters.sync());
  EXPECT_THAT(parameters.first_samples(), ElementsAre(400, 700, 0));

  RecordingSet times({13000, 1000});
  times.series(1, kAccelKey, 1000, 100, 15).series(1, kRadioTimeKey, 2, 100, 20);
  times.input(1).at(kRadioTimeKey).values = {120, 999};
  times.config(0).radioTime.option1 = 0;
  times.config(1).radioTime.option1 = 1;
  ASSERT_TRUE(times.sync());
  EXPECT_THAT(times.first_samples(), ElementsAre(11500, 0));
  EXPECT_FALSE(times.outputs[1].sensors.contains(kRadioTimeKey));
}

TEST(Synchronisation, NeedsOneMasterAndOneChannel) {
  const struct {
    std::array<int, 3> roles, channels;
    bool sound;
  } cases[] = {{{0, 1, 1}, {5, -1, 5}, true}, {{1, 1, 0}, {-1, -1, -1}, true}, {{1, 1, 1}, {5, 5, 5}, false},
               {{0, 0, 1}, {5, 5, 5}, false}, {{0, 1, 1}, {5, 6, 5}, false},   {{0, 1, 1}, {-1, 5, -1}, false}};
  for (const auto& c : cases) {
    RecordingSet modes({10, 10, 10}), options({10, 10, 10});
    for (std::size_t i = 0; i < 3; ++i) {
      modes.config(i).radioMode = options.config(i).radioTime.option1 = c.roles[i];
      modes.config(i).radioChannel = options.config(i).radioTime.option2 = c.channels[i];
      options.series(i, kRadioTimeKey, 1, 10, 0);
    }
    EXPECT_EQ(modes.sync(), c.sound);
    EXPECT_EQ(options.sync(), c.sound);
  }
}

TEST(Synchronisation, OddFrequencies) {
  RecordingSet pairing({200, 200});
  pairing.series(0, kBaroKey, 100, 10, 0).series(1, kBaroKey, 100, 10, 0).series(0, kGyroKey, 100, 20, 0);
  pairing.config(0).gyro.frequency = 80;
  pairing.config(0).baro.frequency = pairing.config(1).baro.frequency = 10;
  ASSERT_TRUE(pairing.sync());
  // Recording 0 counts its barometer with the gyroscope's 80 Hz: 100 / 80 = 1.25 s is the shortest duration.
  EXPECT_EQ(pairing.output(0, kAccelKey).sampleCount, 125U);
  EXPECT_EQ(pairing.output(0, kBaroKey).sampleCount, 100U);
  EXPECT_EQ(pairing.output(1, kBaroKey).sampleCount, 12U);
  EXPECT_FALSE(pairing.outputs[0].sensors.contains(kGyroKey));

  RecordingSet brief({10, 10});  // 0.1 s holds no whole sample of 5 Hz
  brief.series(0, kBaroKey, 1, 5, 0).series(1, kBaroKey, 1, 5, 0);
  brief.config(0).baro.frequency = brief.config(1).baro.frequency = 5;
  ASSERT_TRUE(brief.sync());
  EXPECT_EQ(brief.output(0, kBaroKey).sampleCount, 0U);
  EXPECT_TRUE(brief.output(0, kBaroKey).is_consistent());

  RecordingSet zero({10, 20});
  zero.series(1, kAccelKey, 20, 100, 0.03);
  zero.config(0).accel.frequency = zero.config(1).accel.frequency = 0;
  ASSERT_TRUE(zero.sync());
  EXPECT_EQ(zero.output(0).sampleCount, 7U) << "all from the start on";
  EXPECT_EQ(zero.output(1).sampleCount, 20U);
}

TEST(Synchronisation, RefusesWhatHasNoCommonSpan) {
  RecordingSet nothing_common({10, 10});
  nothing_common.input(0).erase(kAccelKey);
  EXPECT_FALSE(nothing_common.sync());
  EXPECT_EQ(nothing_common.report.problem, SyncProblem::kNoCommonChannel);
  RecordingSet empty({10, 0});
  EXPECT_FALSE(empty.sync());
  EXPECT_EQ(empty.report.problem, SyncProblem::kNoSamples);
  EXPECT_EQ(empty.report.recording, 1U);
  RecordingSet silent({10, 10, 10});
  for (std::size_t unit = 0; unit < 3; ++unit) {
    silent.config(unit).radioTime.option1 = unit == 0 ? 0 : 1;
  }
  silent.series(1, kRadioTimeKey, 1, 10, 0);
  EXPECT_FALSE(silent.sync());
  EXPECT_EQ(silent.report.problem, SyncProblem::kNoRadioTimes);
  EXPECT_EQ(silent.report.recording, 2U);
  RecordingSet stopped({10, 10});
  Watch watch;
  watch.stop = 1;
  EXPECT_EQ(synchronise(stopped.recordings, &watch).problem, SyncProblem::kStopped);
  Recording null;
  std::vector<SensorMap*> untouched{nullptr};
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(kiv_sync(untouched, {&null.config, nullptr}, {&null.sensors, &null.sensors}));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Null data detected.\n");
  EXPECT_EQ(untouched.size(), 1U);
}

TEST(Synchronisation, RadioBytesAreCutByTheirOwnClock) {
  RecordingSet set({1000, 1000});
  set.series(0, kRadioByteKey, 20, 1, -2).series(1, kRadioByteKey, 20, 1, 10.5);
  ASSERT_TRUE(set.sync());
  EXPECT_THAT(set.output(0, kRadioByteKey).values, ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
  EXPECT_FALSE(set.outputs[1].sensors.contains(kRadioByteKey)) << "all of it lies behind the span";
}

TEST(Synchronisation, ASimulatedSetComesTogetherWhateverUnitIsTheMaster) {
  const std::array<double, 3> starts{0.0, 1.37, 0.6};           // world time of each unit's first sample, s
  const std::array<std::uint32_t, 3> clocks{1000, 70000, 250};  // and its own clock's tick then
  const auto ticks_at_world_zero = [&](std::size_t unit) { return clocks[unit] - std::lround(starts[unit] * 200); };
  for (std::size_t master = 0; master < 3; ++master) {
    const ScratchFolder folder;
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < 3; ++i) {
      SimulationPlan plan;
      plan.start_seconds = starts[i];
      plan.first_tick = clocks[i];
      plan.radio_role = i == master ? 0 : 1;
      plan.radio_ticks_ahead = ticks_at_world_zero(master) - ticks_at_world_zero(i);
      paths.push_back(folder.write("unit" + std::to_string(i) + ".bin", simulate(plan)));
    }
    ASSERT_EQ(BinReader2().readAndSync(paths, folder.path("")), "OK");
    for (std::size_t i = 0; i < 3; ++i) {
      const std::string csv = folder.read("unit" + std::to_string(i) + ".csv");
      EXPECT_NE(csv.find("Total data points: 5726\n"), std::string::npos) << "6000 less the latest start";
      const std::string row = csv.substr(csv.find("\n10.00000,") + 10);
      const TrueSample truth = true_sample(SimulationPlan(), 1.37 + 10.0 - 0.005);  // the first row is a tick late
      EXPECT_NEAR(std::stod(row), truth.gyro_deg_s[0], 2000.0 / 32768) << "unit " << i << ", master " << master;
    }
  }
}

}  // namespace
}  // namespace vortena::testing
