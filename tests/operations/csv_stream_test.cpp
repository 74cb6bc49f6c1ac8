#include "operations/csv_stream.h"

#include <gtest/gtest.h>

#include <sstream>

#include "quality/rest.h"
#include "reader/quaternion_channel.h"
#include "reader/texts/csv_export.h"
#include "simulator/damage.h"
#include "simulator/simulated_recording.h"

namespace vortena::testing {
namespace {

using namespace simulator;

/// Nothing without the rest that the offset is to be taken from.
std::string whole_csv(const Bytes& bytes, const GyroscopeOffset& offset) {
  Recording recording;
  const LoadReport load = load_recording(&recording, std::span(bytes));
  const RestEstimate rest = estimate_rest(recording, load);
  const bool from_rest = offset.source == GyroscopeOffset::Source::kRest;
  if (from_rest && rest.problem != RestProblem::kNone) {
    return "";
  }
  if (const auto gyro = recording.sensors.find(kGyroKey); gyro != recording.sensors.end()) {
    subtract_gyroscope_offset(&gyro->second, from_rest ? rest.offset_deg_s : offset.deg_s);
  }
  kiv_computeQuaternion(&recording.config, &recording.sensors);
  std::ostringstream out;
  write_csv(out, recording.config, recording.sensors);
  return out.str();
}

Bytes simulated(int rate_hz, bool side_channels = true) {
  SimulationPlan plan;
  plan.rate_hz = rate_hz;
  plan.seconds = 40;
  plan.side_channels = side_channels;
  return simulate(plan);
}

/// Many windows of rows, with series of unequal lengths, gaps, events that have to wait for a row, and other clocks.
std::vector<Bytes> recordings() {
  std::vector<Bytes> list{simulated(200), simulated(256, false), simulated(50)};
  for (const auto damage : {+[](Bytes& bytes) { lose_records(bytes, kAccelId, {300, 4000}); },
                            +[](Bytes& bytes) { lose_records(bytes, kGyroId, {5000, 7990}); },
                            +[](Bytes& bytes) { rename_records(bytes, kAccelId, {100, 7000}, kEventId); },
                            +[](Bytes& bytes) { rename_records(bytes, kEventId, {0, 8000}, 7); },
                            +[](Bytes& bytes) { lose_records(bytes, kGyroId, {0, 8000}); },
                            +[](Bytes& bytes) { swap_blocks(bytes, 3, 200); },
                            +[](Bytes& bytes) { cut_off(bytes, bytes.size() - kBlockSize); }}) {
    damage(list.emplace_back(simulated(200)));
  }
  list.push_back(
      recording({header().accel(100).gyro(100).bytes(), block(7).accel(0, {1, 2, 3}).gyro(1, {4, 5, 6}).bytes()}));
  return list;
}

/// Empty when there is no estimate of rest.
std::string text_from_pieces(const Bytes& bytes, const GyroscopeOffset& offset) {
  std::istringstream file(std::string(bytes.begin(), bytes.end()));
  CsvStream csv;
  if (const Outcome outcome = csv.open(file, offset); !outcome.good()) {
    EXPECT_EQ(outcome.problem, Problem::kNoRest);
    EXPECT_NE(outcome.rest, RestProblem::kNone);
    return "";
  }
  std::string text;
  for (std::string_view piece = csv.next(); !piece.empty(); piece = csv.next()) {
    text += piece;
  }
  EXPECT_EQ(csv.rows_written(), csv.rows());
  return text;
}

TEST(CsvStream, PiecesFromCountsAreTheWholeTextWithEachOffset) {
  const GyroscopeOffset given{GyroscopeOffset::Source::kGiven, {0.5, -1, 3}};
  const GyroscopeOffset rest{GyroscopeOffset::Source::kRest};
  std::size_t rests = 0;
  for (const Bytes& bytes : recordings()) {
    for (const GyroscopeOffset& offset : {GyroscopeOffset(), given, rest}) {
      const std::string text = text_from_pieces(bytes, offset);
      EXPECT_TRUE(text == whole_csv(bytes, offset)) << bytes.size() << " bytes";
      rests += offset.source == rest.source && !text.empty() ? 1U : 0U;
    }
  }
  EXPECT_TRUE(rests > 2 && rests < recordings().size()) << rests;
}

TEST(CsvStream, TellsWhyThereIsNothing) {
  std::istringstream shorter(std::string(100, '\0'));
  std::istringstream blank(std::string(1024, '\0'));
  EXPECT_EQ(CsvStream().open(shorter).problem, Problem::kTooShort);
  EXPECT_EQ(CsvStream().open(blank).problem, Problem::kNoHeader);
  EXPECT_EQ(CsvStream().open("/nonexistent").problem, Problem::kUnreadable);
}

}  // namespace
}  // namespace vortena::testing
