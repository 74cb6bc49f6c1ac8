#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "quality/assessment.h"
#include "quality/quality_report_json.h"
#include "reader/quaternion_channel.h"
#include "reader/texts/configuration_json.h"
#include "reader/texts/json_object.h"
#include "simulator/damage.h"
#include "simulator/simulated_recording.h"

namespace vortena::testing {
namespace {

using namespace simulator;

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::Not;

struct Assessed {
  QualityReport report;
  std::string json;
  std::vector<std::string> codes;
};

Assessed assess_bytes(const Bytes& bytes, bool keep_header_samples = true) {
  Recording recording;
  const LoadReport load = load_recording(&recording, std::span(bytes), {.header_samples = keep_header_samples});
  kiv_computeQuaternion(&recording.config, &recording.sensors);
  Assessed assessed;
  assessed.report = assess(recording, load, OrientationProblem::kNone);
  assessed.json = quality_report_json(assessed.report);
  for (const QualityNote& note : assessed.report.notes) {
    assessed.codes.emplace_back(note.code);
  }
  return assessed;
}

Bytes sound_recording() {
  return simulate({.seconds = 20});
}

TEST(QualityReport, TellsTheDamageThatWasDoneAndNoOther) {
  using Texts = std::vector<std::string>;
  const struct {
    const char* name;
    void (*damage)(Bytes&);
    Verdict verdict;
    Texts codes;
    Texts in_json;
  } cases[] = {
      {"none", [](Bytes&) {}, Verdict::kOk, {}, {R"("verdict":"ok","notes":[])"}},
      {"cut",
       [](Bytes& b) { cut_off(b, 100); },
       Verdict::kDamaged,
       {"cut-off", "unequal-counts"},
       {R"("cutOffBytes":412,)", "412 bytes are left over"}},
      {"blocks swapped",
       [](Bytes& b) { swap_blocks(b, 10, 11); },
       Verdict::kNotes,
       {"blocks-out-of-order"},
       {R"("blocksBackInTime":1,)"}},
      {"block twice",
       [](Bytes& b) { repeat_block(b, 10, 11); },
       Verdict::kNotes,
       {"repeated-ticks"},
       {R"("repeatedTicks":63,)"}},
      {"zeroed block",
       [](Bytes& b) { blank_blocks(b, 10, 1); },
       Verdict::kDamaged,
       {"blank-blocks", "gaps"},
       {R"("blankBlocks":1,)"}},
      {"erased at the end",
       [](Bytes& b) { b.insert(b.end(), 2 * kBlockSize, 0xFF); },
       Verdict::kNotes,
       {"blank-blocks"},
       {R"("blankBlocks":2,)"}},
      {"lost blocks", [](Bytes& b) { remove_blocks(b, 10, 8); }, Verdict::kDamaged, {"gaps", "unequal-counts"}, {}},
      {"lost records",
       [](Bytes& b) { lose_records(b, kGyroId, {1000, 1019}), lose_records(b, kGyroId, {600, 600}); },
       Verdict::kNotes,
       {"gaps", "unequal-counts"},
       {R"("gaps":{"count":2,"seconds":0.105)", R"("where":[{"after":4.995,"seconds":0.1)", R"({"after":2.995,)"}},
      {"lost barometer",
       [](Bytes& b) { lose_records(b, kBaroId, {0, 4000}); },
       Verdict::kNotes,
       {"empty-channel"},
       {R"("baro":{"samples":0,)"}},
      {"saturated",
       [](Bytes& b) { saturate(b, kAccelId, {2000, 2019}, 1, true), saturate(b, kAccelId, {2010, 2039}, 2, false); },
       Verdict::kNotes,
       {"full-scale"},
       {R"("fullScaleShare":0.01})", "accelerometer 40 samples (1.00 %)"}},
      {"foreign records",
       [](Bytes& b) {
         rename_records(b, kMagId, {800, 800}, 99);
         rename_records(b, kMagId, {808, 808}, 17);
         rename_records(b, kMagId, {816, 816}, 99);
       },
       Verdict::kNotes,
       {"gaps", "foreign-records"},
       {R"("foreign":{"17":1,"99":2}})"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes bytes = sound_recording();
    c.damage(bytes);
    const Assessed assessed = assess_bytes(bytes);
    EXPECT_EQ(assessed.report.verdict, c.verdict);
    EXPECT_THAT(assessed.codes, ElementsAreArray(c.codes));
    for (const std::string& text : c.in_json) {
      EXPECT_THAT(assessed.json, HasSubstr(text));
    }
  }
}

TEST(QualityReport, TellsWhatTheHeaderGetsWrong) {
  using Texts = std::vector<std::string>;
  const auto unit = [] { return header(1).time_base(100).accel(100); };
  const Bytes start{0, 5, 9, 17, 5};
  const struct {
    const char* name;
    HeaderBuilder header;
    Texts codes;
    const char* in_json;
  } cases[] = {
      {"sound", unit().date(0, start, 2024).date(6, {8, 5, 9, 17, 5}, 2024), {}, R"("headerSeconds":8})"},
      {"no dates", unit(), {}, R"("headerSeconds":null)"},
      {"over midnight of a leap day",
       unit().date(0, {55, 59, 23, 29, 2}, 2024).date(6, {3, 0, 0, 1, 3}, 2024),
       {},
       R"("headerSeconds":8})"},
      {"end before start",
       unit().date(0, start, 2024).date(6, {0, 5, 8, 17, 5}, 2024),
       {"dates-differ"},
       "dates span -1 h 0 min, the samples 7.990 s"},
      {"no date of the calendar", unit().date(0, {0, 0, 0, 30, 2}, 2024), {"date-invalid"}, R"("headerSeconds":null)"},
      {"short frame", unit().frame(3, 3, {1, 2}), {"header-error"}, R"("header":{"error":true,)"},
      {"no gain", unit().accel(100, 1, {}, {10000, 0, 10000}), {"no-gain"}, R"("seconds":7.99,)"},
      {"no time base", header(1).accel(100), {"no-time-base"}, R"("measuredRate":null,"gaps":null,)"},
      {"another rate", unit().accel(50), {"rate-differs"}, R"("nominalRate":50,"measuredRate":100,"gaps":{"count":0,)"},
      {"no rate", unit().accel(0), {"rate-differs"}, R"("nominalRate":0,"measuredRate":100,"gaps":{"count":0,)"},
      {"unknown frames", unit().frame(9, 9, {}).frame(3, 5, {1}), {}, R"("unknownFrames":{"count":2,"bytes":15})"},
  };
  for (const auto& c : cases) {
    std::vector<BlockArray> blocks{c.header.bytes()};
    for (std::uint32_t b = 0; b < 16; ++b) {
      BlockBuilder builder = block(b * 50);
      for (std::uint8_t delta = 0; delta < 50; ++delta) {
        builder.accel(delta, {0, 0, 2048});
      }
      blocks.push_back(builder.bytes());
    }
    const Assessed assessed = assess_bytes(recording(blocks));
    EXPECT_THAT(assessed.codes, ElementsAreArray(c.codes)) << c.name;
    EXPECT_THAT(assessed.json, HasSubstr(c.in_json)) << c.name;
    EXPECT_THAT(assessed.json, Not(AnyOf(HasSubstr("nan"), HasSubstr("inf")))) << c.name;
  }
}

TEST(QualityReport, AsksNothingOfRecordingsThatAreNone) {
  EXPECT_THAT(assess_bytes(Bytes(511)).codes, ElementsAre("too-short"));
  EXPECT_THAT(assess_bytes(Bytes(512)).codes, ElementsAre("no-header"));
  EXPECT_THAT(assess_bytes(recording({header(1).time_base(100).accel(100).gyro(100).bytes()})).codes,
              ElementsAre("no-samples", "empty-channel"));
  Recording empty;
  LoadReport load;
  load.failure = std::make_error_code(std::errc::is_a_directory);
  const QualityReport unreadable = assess(empty, load, OrientationProblem::kNone);
  EXPECT_EQ(unreadable.verdict, Verdict::kDamaged);
  EXPECT_THAT(unreadable.notes[0].text, HasSubstr(load.failure.message()));
  load.status = LoadStatus::kRead;
  load.blocks = 100;
  load.first_unreadable_block = 60;
  EXPECT_THAT(quality_report_json(assess(empty, load, OrientationProblem::kNone)),
              AllOf(HasSubstr("block 60 of 100"), HasSubstr("40 blocks are missing"),
                    HasSubstr(R"("firstUnreadableBlock":60,"failure":{"number":)" +
                              std::to_string(load.failure.value()) + R"(,"text":")")));
}

TEST(QualityReport, LeavesSamplesOfTheHeaderBlockOut) {
  Bytes bytes = sound_recording();
  const QualityReport sound = assess_bytes(bytes).report;
  const auto put = [&](std::size_t record, ChannelId id) {
    std::ranges::copy(Bytes{id, 7, 0x7F, 0xFF}, &bytes[record * kRecordSize]);
  };
  put(60, kAccelId);
  put(61, kGyroId);
  put(62, kEventId);
  for (const bool keep : {true, false}) {
    const Assessed stray = assess_bytes(bytes, keep);
    EXPECT_THAT(stray.codes, ElementsAre("header-samples"));
    EXPECT_EQ(stray.report.clock.last, sound.clock.last);
    EXPECT_EQ(stray.report.channels[0].sampling.samples, 4000U);
    EXPECT_EQ(stray.report.channels[0].sampling.rate_hz, 200);
    EXPECT_EQ(stray.report.channels[0].full_scale_share, 0);
    EXPECT_EQ(stray.report.orientation.still_share, sound.orientation.still_share);
    EXPECT_EQ(stray.report.rest.offset_deg_s, sound.rest.offset_deg_s);
    EXPECT_THAT(stray.json, HasSubstr(R"("fromHeaderBlock":1,)"));
  }
}

TEST(QualityReport, SaysHowTheOrientationBeginsAndEnds) {
  SimulationPlan plan{.seconds = 10, .still_seconds = 2};
  const QualityReport report = assess_bytes(simulate(plan)).report;
  const auto true_tilt = [&](double seconds) {
    return std::acos(true_sample(plan, seconds).accel_g[2]) * 180 / std::numbers::pi;
  };
  EXPECT_NEAR(report.orientation.starts_after.value(), 0.02, 1e-9);
  EXPECT_NEAR(report.orientation.first_tilt_deg.value(), 0, 0.01);
  EXPECT_NEAR(report.orientation.last_tilt_deg.value(), true_tilt(9.99), 0.5);
  EXPECT_GT(true_tilt(9.99), 10);
  EXPECT_GT(report.orientation.still_share.value(), 0.2);
  plan.still_seconds = 0;
  plan.accel_noise_g = 0.3;
  EXPECT_THAT(assess_bytes(simulate(plan)).codes, ElementsAre("never-still"));
}

kiv_DataSensor series_at(const std::vector<int>& ticks, int ticks_per_second) {
  kiv_DataSensor series(1, ticks.size());
  std::ranges::transform(ticks, series.timestamps.begin(), [&](int tick) { return double(tick) / ticks_per_second; });
  return series;
}

TEST(Sampling, ToleratesRoundingAndJitterAndFindsWhatIsLost) {
  for (const auto& [ticks_per_second, hz] : {std::pair{1000, 286}, {500, 400}, {32768, 100}, {100, 100}, {2000, 3}}) {
    std::vector<int> ticks;
    for (int i = 0; i < 3000; ++i) {
      const bool late = i % 7 == 0 && ticks_per_second > 2 * hz;
      ticks.push_back(1000 + static_cast<int>(std::floor(double(i) * ticks_per_second / hz)) + (late ? 1 : 0));
    }
    const Sampling sound = measure_sampling(series_at(ticks, ticks_per_second), {}, ticks_per_second, hz);
    EXPECT_EQ(sound.gaps.count, 0U) << hz;
    EXPECT_NEAR(sound.rate_hz.value(), hz, 0.001 * hz);
    ticks.erase(ticks.begin() + 100, ticks.begin() + 103);
    ticks.erase(ticks.begin() + 2000, ticks.begin() + 2002);
    const Sampling lossy = measure_sampling(series_at(ticks, ticks_per_second), {}, ticks_per_second, hz);
    ASSERT_EQ(lossy.gaps.count, 2U) << hz;
    EXPECT_NEAR(lossy.gaps.seconds, 5.0 / hz, 2.0 / ticks_per_second);
    EXPECT_NEAR(lossy.gaps.longest[0].after, 99.0 / hz + 1000.0 / ticks_per_second, 2.0 / ticks_per_second);
    EXPECT_NEAR(lossy.rate_hz.value(), hz, 0.001 * hz) << "gaps do not lower it";
  }
  EXPECT_FALSE(measure_sampling(series_at({5}, 10), {}, 10, 10).rate_hz);
  EXPECT_EQ(measure_sampling(series_at({5}, 10), {}, 10, 10).last, 0.5);
  EXPECT_EQ(measure_sampling(series_at({5, 6}, 10), {}, 0, 10).samples, 2U);
}

TEST(JsonObject, NumbersReadBackAndTextsAreEscaped) {
  const double infinity = std::numeric_limits<double>::infinity();
  JsonObject json;
  json.number("a", 0.1);
  json.number("b", 1.0 / 3);
  json.number("c", -0.30000000000000004);
  json.number("d", infinity);
  json.number("e", std::optional<double>());
  json.number("f", std::uint64_t{18446744073709551615U});
  json.text("g", "\"\\\n\x1f");
  EXPECT_EQ(json.close(), R"({"a":0.1,"b":0.3333333333333333,"c":-0.30000000000000004,"d":null,"e":null,)"
                          R"("f":18446744073709551615,"g":"\"\\\u000a\u001f"})");
}

TEST(ConfigurationJson, LeavesNothingOut) {
  HeaderBuilder builder = header().device(0x80000000, 2, 5).firmware(3, 1, 4).time_base(400);
  builder.date(0, {99, 5, 9, 7, 3}, 2019).accel(200, 2, {-27001, 0, 0}, {10000, 19999, -10000});
  builder.frame(3, 11, be(0xFFFFFFFF, 4)).frame(3, 9, join({{7}, be(0x90000000, 4), be(5, 4), {12}}));
  builder.frame(3, 18, join({{9}, be(8, 2), {1, 2, 3}, be(4, 4), be(0xF0000000, 4), Bytes(9)})).frame(3, 5, {1});
  const std::string json = configuration_json(builder.decoded());
  for (const char* const part :
       {R"({"headerError":false,"unknownFrames":"S1YDBQEB//4=","frequency":400,"deviceId":2147483648,"deviceType":2,)",
        R"("radioMode":7,"radioChannel":12,"radioParam1":2415919104,"radioParam2":5,)",
        R"("createdAt":{"year":2019,"month":3,"day":7,"hour":9,"minute":5,"second":99},"endDate":{"year":0,)",
        R"("accel":{"present":true,"id":200,"frequency":200,"range":4,"offsetX":-2.7001,"offsetY":0,"offsetZ":0,)"
        R"("gainX":1,"gainY":1.9999,"gainZ":-1,"auxiliary":0,"parameter":4294967295},"gyro":{"present":false,"id":0,)",
        R"("radioTime":{"present":false,"id":0,"frequency":0,"option1":2,"option2":0},"event":{"present":false,)",
        R"("auxB":{"present":false,"id":0,"value1":0,"value2":0},"measureId":-1,"schedule":{"present":true,"id":9,)",
        R"("value":8,"first":{"b1":1,"b2":2,"b3":3,"w":0,"t":)"}) {
    EXPECT_THAT(json, HasSubstr(part));
  }
}

}  // namespace
}  // namespace vortena::testing
