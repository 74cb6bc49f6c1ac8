// The answers of the five methods. Members and their order are fixed: callers may compare the texts.
#include "reader/texts/json_answers.h"

#include "reader/texts/base64.h"
#include "reader/texts/date_text.h"
#include "reader/texts/json_object.h"

namespace vortena {
namespace {

std::string sensor_json(const kiv_Config::SensorConfig& sensor) {
  JsonObject json;
  json.number("frequency", sensor.frequency);
  json.number("range", sensor.range);
  // This answer carries whole numbers only, on purpose: the fractions of calibration values are cut off. Headers hold
  // them as 32-bit numbers, whole or in ten-thousandths, so that all fit.
  json.number("offsetX", static_cast<std::int32_t>(sensor.offsetX));
  json.number("offsetY", static_cast<std::int32_t>(sensor.offsetY));
  json.number("offsetZ", static_cast<std::int32_t>(sensor.offsetZ));
  json.number("gainX", static_cast<std::int32_t>(sensor.gainX));
  json.number("gainY", static_cast<std::int32_t>(sensor.gainY));
  json.number("gainZ", static_cast<std::int32_t>(sensor.gainZ));
  return json.close();
}

std::string frequency_json(std::int32_t frequency) {
  JsonObject json;
  json.number("frequency", frequency);
  return json.close();
}

void add_sensors(JsonObject& json, const kiv_Config& config) {
  if (config.gyro.present) {
    json.member("gyro", sensor_json(config.gyro));
  }
  if (config.accel.present) {
    json.member("accel", sensor_json(config.accel));
  }
  if (config.baro.present) {
    json.member("baro", frequency_json(config.baro.frequency));
  }
  if (config.gps.present) {
    json.member("gps", frequency_json(config.gps.frequency));
  }
}

/// The identifier as a signed number: from 2147483648 on it is negative.
void add_device_id(JsonObject& json, const kiv_Config& config) {
  json.number("deviceId", static_cast<std::int32_t>(config.deviceId));
}

void add_device(JsonObject& json, const kiv_Config& config) {
  add_device_id(json, config);
  json.number("deviceType", config.deviceType);
  json.number("bodyLocation", config.bodyLocation);
  json.number("version", config.version);
  json.number("majorVersion", config.majorVersion);
  json.number("minorVersion", config.minorVersion);
  json.number("radioMode", config.radioMode);
  json.number("radioChannel", config.radioChannel);
}

void add_dates_and_time_base(JsonObject& json, const kiv_Config& config) {
  json.text("createdAt", _date_to_string(config.createdAt));
  json.text("endDate", _date_to_string(config.endDate));
  json.number("frequency", config.frequency);
}

}  // namespace

std::string _generate_read_answer_JSON(const kiv_Config& config) {
  JsonObject json;
  add_dates_and_time_base(json, config);
  // Unlike in the configuration answer, versions are strings here and the minor one comes first; callers rely
  // on both.
  json.text("version", std::to_string(config.version));
  json.text("minorVersion", std::to_string(config.minorVersion));
  json.text("majorVersion", std::to_string(config.majorVersion));
  json.number("measureId", config.measureId);
  return json.close();
}

std::string config_answer_json(const kiv_Config& config) {
  JsonObject json;
  json.text("unknownFrames",
            base64_encode(config.unknownFrames.data(), static_cast<unsigned int>(config.unknownFrames.size())));
  add_sensors(json, config);
  if (config.hasDevice) {
    add_device(json, config);
  }
  add_dates_and_time_base(json, config);
  json.number("measureId", config.measureId);
  return json.close();
}

std::string device_id_answer_json(const kiv_Config& config) {
  JsonObject json;
  add_device_id(json, config);
  return json.close();
}

}  // namespace vortena
