#include "reader/texts/json_answers.h"

#include <gtest/gtest.h>

#include "reader/texts/base64.h"
#include "reader/texts/date_text.h"
#include "simulator/recording_builder.h"

namespace vortena::testing {
namespace {

using namespace simulator;

TEST(JsonAnswers, AHeaderThatSaysNothing) {
  const kiv_Config config = header().frame(9, 9, {}).decoded();
  EXPECT_EQ(config_answer_json(config), R"({"unknownFrames":"S1YJCQD//g==","createdAt":"0000-00-00 00:00:00",)"
                                        R"("endDate":"0000-00-00 00:00:00","frequency":0,"measureId":-1})");
  EXPECT_EQ(device_id_answer_json(config), R"({"deviceId":-1})");
}

TEST(JsonAnswers, AHeaderThatSaysEverything) {
  HeaderBuilder builder = header().device(0x80000000, 2, 5).firmware(3, 1, 4).frame(1, 5, {1, 12}).time_base(400);
  builder.date(0, {0, 5, 9, 7, 3}, 2019).date(6, {59, 30, 23, 31, 12}, 9);
  builder.accel(200, 2, {-27000, 9900, 0}, {10000, 19999, -10000}).gyro(400, 9, {-5000, 129000, 30000});
  const kiv_Config config = builder.baro(25).frame(3, 7, {1, 0, 1, 0, 0}).frame(3, 21, {0, 77}).decoded();
  EXPECT_EQ(
      config_answer_json(config),
      R"({"unknownFrames":"",)"
      R"("gyro":{"frequency":400,"range":1000,"offsetX":0,"offsetY":12,"offsetZ":3,"gainX":1,"gainY":1,"gainZ":1},)"
      R"("accel":{"frequency":200,"range":4,"offsetX":-2,"offsetY":0,"offsetZ":0,"gainX":1,"gainY":1,"gainZ":-1},)"
      R"("baro":{"frequency":25},"gps":{"frequency":1},)"
      R"("deviceId":-2147483648,"deviceType":2,"bodyLocation":5,"version":3,"majorVersion":1,"minorVersion":4,)"
      R"("radioMode":1,"radioChannel":12,"createdAt":"2019-03-07 09:05:00","endDate":"9-12-31 23:30:59",)"
      R"("frequency":400,"measureId":77})");
  EXPECT_EQ(_generate_read_answer_JSON(config),
            R"({"createdAt":"2019-03-07 09:05:00","endDate":"9-12-31 23:30:59","frequency":400,)"
            R"("version":"3","minorVersion":"4","majorVersion":"1","measureId":77})");
}

TEST(DateText, NegativeAndSingleDigitFieldsGetAZeroInFront) {
  EXPECT_EQ(_date_to_string({9, 10, -1, 0, 12, 0}), "0000-12-00 0-1:10:09");
}

TEST(Base64, EncodesEveryGroupLength) {
  const Bytes bytes{0x00, 0xFF, 0xBE, 0xFB, 0xEF, 0xBE};
  const char* const texts[] = {"", "AA==", "AP8=", "AP++", "AP+++w==", "AP++++8=", "AP++++++"};
  for (unsigned int n = 0; n <= 6; ++n) {
    EXPECT_EQ(base64_encode(bytes.data(), n), texts[n]);
  }
  EXPECT_EQ(base64_encode(Bytes{0xFF, 0xFF, 0xFF}.data(), 3), "////");
}

}  // namespace
}  // namespace vortena::testing
