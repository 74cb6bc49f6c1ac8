#include "bindings-shared/levels_answer.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "bindings-shared/channel_json.h"
#include "quality/quality_report_json.h"
#include "reader/texts/configuration_json.h"
#include "reader/texts/json_object.h"

namespace vortena::operations {
namespace {

using Memories = std::vector<std::unique_ptr<Memory>>;

template <typename Array>
void add_memory(Memories* memories, Array array) {
  const auto owner = std::make_shared<Array>(std::move(array));
  memories->push_back(
      std::make_unique<Memory>(Memory{owner->data(), owner->size() * sizeof(typename Array::value_type), owner}));
}

std::string scales_json(const std::vector<PackedLevels::Scale>& scales) {
  JsonArray list;
  for (const auto& [base, step] : scales) {
    JsonObject json;
    json.number("base", base);
    json.number("step", step);
    list.element(json.close());
  }
  return list.close();
}

std::string bins_json(const std::vector<Bins>& levels) {
  JsonArray list;
  for (const Bins& bins : levels) {
    JsonObject json;
    json.number("start", bins.start);
    json.number("width", bins.width);
    json.number("count", bins.count);
    list.element(json.close());
  }
  return list.close();
}

void take_samples(SensorMap* sensors, ChannelKey key, JsonObject* json, Memories* memories) {
  const auto series = sensors->find(key);
  json->boolean("kept", series != sensors->end());
  if (series != sensors->end()) {
    add_memory(memories, std::move(series->second.values));
    add_memory(memories, std::move(series->second.timestamps));
  }
}

std::string take_channel(UnitLevels* unit, ChannelKey key, ChannelLevels* channel, Memories* memories) {
  JsonObject json;
  json.number("key", static_cast<int>(key));
  add_description(channel_of(key), &json);
  json.number("samples", channel->samples);
  json.number("gapCount", channel->gap_count);
  json.member("scales", scales_json(channel->levels.scales));
  json.member("levels", bins_json(channel->levels.levels));
  json.boolean("attitudes", channel->levels.attitudes);
  add_memory(memories, std::move(channel->levels.codes));
  add_memory(memories, std::move(channel->gaps));
  take_samples(&unit->sensors, key, &json, memories);
  return json.close();
}

std::string titles_json(const QualityReport& report) {
  JsonObject titles;
  for (const ChannelQuality& quality : report.channels) {
    const Channel& channel = channel_of(quality.key);
    titles.text(channel.name, channel.title);
  }
  return titles.close();
}

std::string take_unit(UnitLevels* unit, Memories* memories) {
  JsonArray channels;
  for (auto& [key, channel] : unit->channels) {
    channels.element(take_channel(unit, key, &channel, memories));
  }
  JsonObject json;
  json.member("config", configuration_json(unit->config));
  json.member("report", quality_report_json(unit->report));
  json.member("titles", titles_json(unit->report));
  json.number("start", unit->start);
  json.number("end", unit->end);
  json.number("shift", unit->shift);
  json.member("channels", channels.close());
  return json.close();
}

}  // namespace

Answer levels_answer(LevelSet set) {
  Answer answer;
  JsonArray units;
  for (UnitLevels& unit : set.units) {
    units.element(take_unit(&unit, &answer.memory));
  }
  JsonObject json;
  json.boolean("samplesKept", set.samples_kept);
  json.member("units", units.close());
  answer.json = json.close();
  return answer;
}

}  // namespace vortena::operations
