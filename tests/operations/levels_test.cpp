#include "operations/levels.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <random>

#include "operations/level_set.h"
#include "simulator/simulated_recording.h"
#include "tests/support/scratch_folder.h"

namespace vortena::testing {
namespace {

using namespace simulator;

using ::testing::DoubleNear;
using ::testing::ElementsAre;
using ::testing::NanSensitiveDoubleEq;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

kiv_DataSensor series(std::uint64_t axes, const std::vector<double>& times) {
  kiv_DataSensor made(axes, times.size());
  std::copy(times.begin(), times.end(), made.timestamps.begin());
  return made;
}

/// The bounds that a level, from codes, gives for the bin of a time.
std::array<double, 2> unpacked(const PackedLevels& packed, std::size_t level, std::size_t curve, double time) {
  std::size_t at = 0;
  for (std::size_t k = 0; k < level; ++k) {
    at += packed.levels[k].count * (2 * packed.scales.size() + (packed.attitudes ? 4 : 0));
  }
  const Bins& bins = packed.levels[level];
  at += 2 * curve * bins.count + bins.of(time).value();
  const auto value = [&](std::uint16_t code) {
    return code == PackedLevels::kNone ? kNan : packed.scales[curve].base + code * packed.scales[curve].step;
  };
  return {value(packed.codes[at]), value(packed.codes[at + bins.count])};
}

TEST(Levels, NoSpikeIsLostAtAnyLevel) {
  std::mt19937 random(5);
  std::vector<double> times;
  for (double time = 100; times.size() < 20000; time += random() % 400 == 0 ? 7.0 : 0.01) {
    times.push_back(time);
  }
  kiv_DataSensor accel = series(3, times);
  for (std::size_t i = 0; i < times.size(); ++i) {
    const double spike = random() % 500 == 0 ? 8.0 : 0.1;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      accel.values[axis * times.size() + i] = spike * (static_cast<double>(random() % 2001) / 1000 - 1);
    }
  }
  const Bins finest{times.front(), 0.16, 4000};  // the last bin takes what lies behind
  const PackedLevels packed = pack_levels(kAccelKey, make_levels(kAccelKey, accel, finest, 10));
  ASSERT_EQ(packed.levels.size(), 10U);
  for (std::size_t level = 0; level < packed.levels.size(); ++level) {
    for (std::size_t curve = 0; curve < 4; ++curve) {
      std::vector<std::array<double, 2>> expected(packed.levels[level].count, {kNan, kNan});
      for (std::size_t i = 0; i < times.size(); ++i) {
        const double* v = &accel.values[i];
        const std::size_t n = times.size();
        const double value = curve < 3 ? v[curve * n] : std::hypot(v[0], v[n], v[2 * n]);
        auto& [low, high] = expected[packed.levels[level].of(times[i]).value()];
        low = std::fmin(low, value);
        high = std::fmax(high, value);
      }
      for (std::size_t bin = 0; bin < expected.size(); ++bin) {
        const Bins& bins = packed.levels[level];
        const double middle = bins.start + (static_cast<double>(bin) + 0.5) * bins.width;
        const auto [low, high] = unpacked(packed, level, curve, middle);
        const double step = packed.scales[curve].step;
        ASSERT_EQ(std::isnan(low), std::isnan(expected[bin][0])) << level << ' ' << curve << ' ' << bin;
        ASSERT_FALSE(low > expected[bin][0] + 1e-5 * step || low < expected[bin][0] - 1.001 * step);
        ASSERT_FALSE(high < expected[bin][1] - 1e-5 * step || high > expected[bin][1] + 1.001 * step);
      }
    }
  }
}

TEST(Levels, LeaveOutWhatIsNoNumberOrOutside) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  kiv_DataSensor baro = series(2, {-1, 0, 0.5, kNan, 1.5, 9});
  std::ranges::copy(std::array{7.0, 1.0, kInfinity, 7.0, kNan, 3.0, 7.0, -2.0, 5.0, 7.0, kNan, 4.0},
                    baro.values.begin());
  const std::vector<Level> levels = make_levels(kBaroKey, baro, {0, 1, 3}, 2);
  EXPECT_THAT(levels[0].curves[0].low, ElementsAre(1, NanSensitiveDoubleEq(kNan), 3));
  EXPECT_THAT(levels[0].curves[0].high, ElementsAre(1, NanSensitiveDoubleEq(kNan), 3));
  EXPECT_THAT(levels[0].curves[1].high, ElementsAre(5, NanSensitiveDoubleEq(kNan), 4));
  EXPECT_THAT(levels[1].curves[1].low, ElementsAre(-2, 4));
  Watch watch;
  watch.stop = 1;
  EXPECT_TRUE(make_levels(kBaroKey, baro, {0, 1, 3}, 2, &watch).empty());
}

/// Turns about the vertical by `step` degrees a sample.
kiv_DataSensor turning(std::size_t samples, double step) {
  std::vector<double> times;
  for (std::size_t i = 0; i < samples; ++i) {
    times.push_back(static_cast<double>(i));
  }
  kiv_DataSensor made = series(4, times);
  for (std::size_t i = 1; i + 1 < samples; ++i) {  // the first and the last have no orientation
    const double half = step * static_cast<double>(i) * 0.00872664625997164788;
    made.values[i] = std::cos(half);
    made.values[3 * samples + i] = std::sin(half);
  }
  return made;
}

TEST(Levels, AnglesAreMadeBeforeAndGoOnBehindAHalfTurn) {
  const std::vector<Level> levels = make_levels(kQuaternionKey, turning(102, 10), {0, 10, 11}, 2);
  const PackedLevels packed = pack_levels(kQuaternionKey, levels);
  constexpr std::size_t kHeading = 2;
  EXPECT_THAT(unpacked(packed, 0, kHeading, 0), ElementsAre(DoubleNear(10, 0.02), DoubleNear(90, 0.02)));
  EXPECT_THAT(unpacked(packed, 0, kHeading, 10), ElementsAre(DoubleNear(100, 0.02), DoubleNear(190, 0.02)));
  EXPECT_THAT(unpacked(packed, 0, kHeading, 20), ElementsAre(DoubleNear(-160, 0.02), DoubleNear(-70, 0.02)));
  EXPECT_THAT(unpacked(packed, 3, kHeading, 0), ElementsAre(DoubleNear(10, 0.02), DoubleNear(370, 0.02)));
  EXPECT_NEAR(levels[0].attitudes[0][3], std::sin(5 / 57.29577951), 1e-9);
  EXPECT_EQ(levels[0].curves[1].high[3], 0);
}

TEST(LevelSets, ShowARecordingWholeWithItsGaps) {
  SimulationPlan plan;
  plan.seconds = 60;
  Bytes bytes = simulate(plan);
  constexpr std::size_t kFirst = 100;
  constexpr std::size_t kLost = 20;
  bytes.erase(bytes.begin() + kFirst * kBlockSize, bytes.begin() + (kFirst + kLost) * kBlockSize);
  const ScratchFolder folder;
  const std::vector<std::string> paths{folder.write("gap.bin", bytes)};
  const LevelSet set = load_levels(paths, {.most_bins = 500, .most_samples = 1});
  ASSERT_TRUE(set.outcome.good());
  const UnitLevels& unit = set.units[0];
  EXPECT_NEAR(unit.end, plan.seconds, 0.1);
  const ChannelLevels& accel = unit.channels.at(kAccelKey);
  ASSERT_EQ(accel.gap_count, 1U);
  EXPECT_GT(accel.gaps[1] - accel.gaps[0], 1);
  EXPECT_TRUE(std::isnan(unpacked(accel.levels, 0, 0, (accel.gaps[0] + accel.gaps[1]) / 2)[0]));
  EXPECT_NEAR(accel.levels.levels[0].width, 60.0 / 500, 0.001);
  EXPECT_EQ(unit.sensors.size(), 1U);  // the events
  EXPECT_EQ(load_levels(paths, {.most_samples = 100000}).units[0].sensors.at(kAccelKey).sampleCount, accel.samples);
  const std::vector<std::string> missing{folder.path("none.bin")};
  EXPECT_EQ(load_levels(missing).outcome.problem, Problem::kUnreadable);
}

}  // namespace
}  // namespace vortena::testing
