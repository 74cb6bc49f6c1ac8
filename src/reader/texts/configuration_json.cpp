#include "reader/texts/configuration_json.h"

#include "reader/texts/base64.h"
#include "reader/texts/json_object.h"

namespace vortena {
namespace {

std::string date_json(const kiv_Config::DateStruct& date) {
  JsonObject json;
  json.number("year", date.year);
  json.number("month", date.month);
  json.number("day", date.day);
  json.number("hour", date.hour);
  json.number("minute", date.minute);
  json.number("second", date.second);
  return json.close();
}

/// What all channels begin with.
template <typename Settings>
JsonObject channel_object(const Settings& settings) {
  JsonObject json;
  json.boolean("present", settings.present);
  json.number("id", settings.id);
  json.number("frequency", settings.frequency);
  return json;
}

std::string sensor_json(const kiv_Config::SensorConfig& sensor) {
  JsonObject json = channel_object(sensor);
  json.number("range", sensor.range);
  json.number("offsetX", sensor.offsetX);
  json.number("offsetY", sensor.offsetY);
  json.number("offsetZ", sensor.offsetZ);
  json.number("gainX", sensor.gainX);
  json.number("gainY", sensor.gainY);
  json.number("gainZ", sensor.gainZ);
  json.number("auxiliary", sensor.auxiliary);
  json.number("parameter", sensor.parameter);
  return json.close();
}

template <typename Settings>
std::string parameter_json(const Settings& settings) {
  JsonObject json = channel_object(settings);
  json.number("auxiliary", settings.auxiliary);
  json.number("parameter", settings.parameter);
  return json.close();
}

std::string receiver_json(const kiv_Config::GpsConfig& gps) {
  JsonObject json = channel_object(gps);
  json.number("mode", gps.mode);
  json.number("auxiliary", gps.auxiliary);
  json.number("parameter", gps.parameter);
  return json.close();
}

std::string radio_time_json(const kiv_Config::AuxConfig2& radio_time) {
  JsonObject json = channel_object(radio_time);
  json.number("option1", radio_time.option1);
  json.number("option2", radio_time.option2);
  return json.close();
}

std::string skipped_json(const kiv_Config::AuxConfig2w& skipped) {
  JsonObject json;
  json.boolean("present", skipped.present);
  json.number("id", skipped.id);
  json.number("value1", skipped.value1);
  json.number("value2", skipped.value2);
  return json.close();
}

std::string group_json(const kiv_Config::ScheduleConfig::Group& group) {
  JsonObject json;
  json.number("b1", group.b1);
  json.number("b2", group.b2);
  json.number("b3", group.b3);
  json.number("w", group.w);
  json.number("t", group.t);
  return json.close();
}

std::string schedule_json(const kiv_Config::ScheduleConfig& schedule) {
  JsonObject json;
  json.boolean("present", schedule.present);
  json.number("id", schedule.id);
  json.number("value", schedule.value);
  json.member("first", group_json(schedule.first));
  json.member("second", group_json(schedule.second));
  return json.close();
}

void add_unit(JsonObject& json, const kiv_Config& config) {
  json.number("deviceId", config.deviceId);
  json.number("deviceType", config.deviceType);
  json.number("bodyLocation", config.bodyLocation);
  json.boolean("hasDevice", config.hasDevice);
  json.number("version", config.version);
  json.number("majorVersion", config.majorVersion);
  json.number("minorVersion", config.minorVersion);
  json.number("radioMode", config.radioMode);
  json.number("radioChannel", config.radioChannel);
  json.number("radioParam1", config.radioParam1);
  json.number("radioParam2", config.radioParam2);
  json.number("extVersion", config.extVersion);
  json.number("extMajorVersion", config.extMajorVersion);
  json.number("extMinorVersion", config.extMinorVersion);
}

void add_channels(JsonObject& json, const kiv_Config& config) {
  json.member("accel", sensor_json(config.accel));
  json.member("gyro", sensor_json(config.gyro));
  json.member("baro", parameter_json(config.baro));
  json.member("gps", receiver_json(config.gps));
  json.member("mag", parameter_json(config.mag));
  json.member("radioByte", channel_object(config.radioByte).close());
  json.member("radioTime", radio_time_json(config.radioTime));
  json.member("event", channel_object(config.event).close());
  json.member("auxA", skipped_json(config.auxA));
  json.member("auxB", skipped_json(config.auxB));
}

}  // namespace

std::string configuration_json(const kiv_Config& config) {
  JsonObject json;
  json.boolean("headerError", config.headerError);
  json.text("unknownFrames",
            base64_encode(config.unknownFrames.data(), static_cast<unsigned int>(config.unknownFrames.size())));
  json.number("frequency", config.frequency);
  add_unit(json, config);
  json.member("createdAt", date_json(config.createdAt));
  json.member("endDate", date_json(config.endDate));
  add_channels(json, config);
  json.number("measureId", config.measureId);
  json.member("schedule", schedule_json(config.schedule));
  return json.close();
}

}  // namespace vortena
