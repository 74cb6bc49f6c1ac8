// Outcomes of the core become answers here.
#include "bindings-shared/operations.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "bindings-shared/answer.h"
#include "bindings-shared/arguments.h"
#include "bindings-shared/channel_json.h"
#include "bindings-shared/failures.h"
#include "bindings-shared/levels_answer.h"
#include "bindings-shared/smoothing_answer.h"
#include "operations/conversion.h"
#include "operations/header_file.h"
#include "operations/inspection.h"
#include "operations/publication.h"
#include "operations/sample_set.h"
#include "operations/set_conversion.h"
#include "quality/quality_report_json.h"
#include "reader/texts/configuration_json.h"
#include "reader/texts/json_answers.h"
#include "reader/texts/json_object.h"

namespace vortena::operations {
namespace {

OrientationMethod take_method(Arguments& arguments) {
  return arguments.text() == "smoothed" ? OrientationMethod::kSmoothed : OrientationMethod::kFilter;
}

/// By name, as one bit for each key.
std::uint32_t take_channels(Arguments& arguments) {
  std::uint32_t channels = 0;
  for (const std::string& name : arguments.texts()) {
    if (const Channel* const channel = find_channel(name)) {
      channels |= 1U << static_cast<unsigned>(channel->key);
    }
  }
  return channels;
}

Existing take_existing(Arguments& arguments) {
  return arguments.truth() ? Existing::kReplace : Existing::kKeep;
}

Answer answer_of(const Outcome& outcome) {
  Answer answer;
  answer.json = "null";
  answer.failure = failure_of(outcome);
  return answer;
}

Answer answer_of(const Conversion& conversion) {
  Answer answer = answer_of(conversion.outcome);
  if (conversion.outcome.good()) {
    JsonObject json;
    json.number("rows", conversion.rows);
    json.number("bytes", conversion.bytes);
    json.member("summary", _generate_read_answer_JSON(conversion.config));
    json.member("report", quality_report_json(conversion.report));
    answer.json = json.close();
  }
  return answer;
}

template <typename Value>
std::unique_ptr<Memory> as_memory(const std::shared_ptr<std::vector<Value>>& array) {
  return std::make_unique<Memory>(Memory{array->data(), array->size() * sizeof(Value), array});
}

/// The place of `array` among the buffers. Arrays that channels share become one buffer: no memory may have two.
template <typename Value>
std::size_t place_of(const std::shared_ptr<std::vector<Value>>& array, std::vector<std::unique_ptr<Memory>>* memory) {
  const auto same = std::find_if(memory->begin(), memory->end(), [&](const auto& m) { return m->owner == array; });
  const auto place = static_cast<std::size_t>(same - memory->begin());
  if (same == memory->end()) {
    memory->push_back(as_memory(array));
  }
  return place;
}

std::string take_channels(SampleSet& set, std::vector<std::unique_ptr<Memory>>* memory) {
  JsonArray list;
  for (auto& [key, samples] : set.channels) {
    const auto place_of_values = [&](auto& values) {
      return place_of(std::make_shared<std::remove_reference_t<decltype(values)>>(std::move(values)), memory);
    };
    const Channel& channel = channel_of(static_cast<ChannelKey>(key));
    JsonObject json;
    add_description(channel, &json);
    json.number("rate", channel.settings.frequency(set.config));
    json.number("samples", samples.sample_count);
    json.number("values", std::visit(place_of_values, samples.values));
    json.number("times", place_of(samples.timestamps, memory));
    list.element(json.close());
  }
  return list.close();
}

Answer answer_of(SampleSet set) {
  Answer answer = answer_of(set.outcome);
  if (set.outcome.good()) {
    JsonObject json;
    json.member("config", configuration_json(set.config));
    json.member("report", quality_report_json(set.report));
    json.member("channels", take_channels(set, &answer.memory));
    json.member("smoothing", set.smoothing ? smoothing_json(*set.smoothing, &answer.memory) : "null");
    answer.json = json.close();
  }
  return answer;
}

std::string numbers_json(const std::vector<double>& numbers) {
  JsonArray list;
  for (const double number : numbers) {
    list.element(number_json(number));
  }
  return list.close();
}

std::string names_json(const std::vector<ChannelKey>& keys) {
  JsonArray list;
  for (const ChannelKey key : keys) {
    list.element(text_json(channel_of(key).name));
  }
  return list.close();
}

std::string unit_json(const ConvertedUnit& unit, const std::vector<double>& shifts) {
  JsonObject json;
  json.text("output", unit.output);
  json.number("rows", unit.rows);
  json.number("bytes", unit.bytes);
  json.member("shifts", numbers_json(shifts));
  json.member("summary", _generate_read_answer_JSON(unit.config));
  json.member("report", quality_report_json(unit.report));
  return json.close();
}

std::string_view source_name(TimeSource source) {
  switch (source) {
    case TimeSource::kSchedule:
      return "schedule";
    case TimeSource::kRadioParameters:
      return "radio-parameters";
    case TimeSource::kRadioTimes:
      return "radio-times";
    case TimeSource::kNone:
      break;
  }
  return "";
}

Answer answer_of(const SetConversion& set) {
  Answer answer = answer_of(set.outcome);
  if (!set.outcome.good()) {
    return answer;
  }
  JsonArray units;
  for (std::size_t i = 0; i < set.units.size(); ++i) {
    units.element(unit_json(set.units[i], set.synchronisation.shifts[i]));
  }
  JsonObject json;
  json.text("source", source_name(set.synchronisation.source));
  json.number("start", set.synchronisation.start);
  json.number("duration", set.synchronisation.duration);
  json.member("channels", names_json(set.synchronisation.keys));
  json.member("units", units.close());
  answer.json = json.close();
  return answer;
}

Work convert(Arguments& arguments) {
  const std::string path = arguments.text();
  const std::string csv_path = arguments.text();
  ConversionOptions options;
  options.sync = arguments.truth();
  options.existing = take_existing(arguments);
  options.keep_readable = arguments.truth();
  options.second_thread = arguments.truth();
  options.orientation = take_method(arguments);
  options.gyroscope_offset = take_offset(arguments);
  return [=](Watch* watch) {
    ConversionOptions watched = options;
    watched.watch = watch;
    return answer_of(convert_recording(path.c_str(), csv_path.c_str(), watched));
  };
}

Work read_samples(Arguments& arguments) {
  const std::string path = arguments.text();
  SampleOptions options;
  options.channels = take_channels(arguments);
  options.orientation = arguments.truth();
  options.orientation_required = arguments.truth();
  options.single_precision = arguments.truth();
  options.method = take_method(arguments);
  options.gyroscope_offset = take_offset(arguments);
  return [=](Watch* watch) {
    SampleOptions watched = options;
    watched.watch = watch;
    return answer_of(load_samples(path.c_str(), watched));
  };
}

Work inspect(Arguments& arguments) {
  return [path = arguments.text()](Watch* watch) {
    const Inspection inspection = inspect_recording(path.c_str(), watch);
    Answer answer = answer_of(inspection.outcome);
    if (inspection.outcome.good()) {
      answer.json = quality_report_json(inspection.report);
    }
    return answer;
  };
}

Work synchronise(Arguments& arguments) {
  const std::vector<std::string> paths = arguments.texts();
  const std::string folder = arguments.text();
  SetOptions options;
  options.sync = arguments.truth();
  options.existing = take_existing(arguments);
  options.orientation = take_method(arguments);
  while (arguments.good() && arguments.any_left() && options.gyroscope_offsets.size() < paths.size()) {
    options.gyroscope_offsets.push_back(take_offset(arguments));
  }
  return [=](Watch* watch) {
    SetOptions watched = options;
    watched.watch = watch;
    return answer_of(convert_set(paths, folder, watched));
  };
}

Work levels(Arguments& arguments) {
  const std::vector<std::string> paths = arguments.texts();
  LevelOptions options;
  options.synchronised = arguments.truth();
  options.most_bins = static_cast<std::uint64_t>(arguments.number());
  options.most_samples = static_cast<std::uint64_t>(arguments.number());
  options.orientation = take_method(arguments);
  options.gyroscope_offset = take_offset(arguments);
  return [=](Watch* watch) {
    LevelOptions watched = options;
    watched.watch = watch;
    LevelSet set = load_levels(paths, watched);
    return set.outcome.good() ? levels_answer(std::move(set)) : answer_of(set.outcome);
  };
}

Work read_config(Arguments& arguments) {
  return [path = arguments.text()](Watch*) {
    kiv_Config config;
    const Outcome outcome = read_header(&config, path.c_str());
    Answer answer = answer_of(outcome);
    if (outcome.good()) {
      answer.json = configuration_json(config);
    }
    return answer;
  };
}

Work write_config(Arguments& arguments) {
  const std::string path = arguments.text();
  const std::string text = arguments.text();
  const bool sync = arguments.truth();
  return [=](Watch*) { return answer_of(write_header(path.c_str(), text.c_str(), sync)); };
}

Work check_place_of_output(Arguments& arguments) {
  const std::string path = arguments.text();
  const OutputPlace::Kind kind = arguments.truth() ? OutputPlace::Kind::kFolder : OutputPlace::Kind::kFile;
  PublicationOptions options;
  options.existing = take_existing(arguments);
  options.may_begin_like_recording = arguments.truth();
  return [=](Watch*) { return answer_of(check_place(path.c_str(), kind, options)); };
}

Work publish_output(Arguments& arguments) {
  const std::string part = arguments.text();
  const std::string path = arguments.text();
  PublicationOptions options;
  options.sync = arguments.truth();
  options.existing = take_existing(arguments);
  options.may_begin_like_recording = arguments.truth();
  return [=](Watch*) {
    const Publication publication = publish(part.c_str(), path.c_str(), options);
    Answer answer = answer_of(publication.outcome);
    if (publication.outcome.good()) {
      JsonObject json;
      json.text("aside", publication.aside);
      answer.json = json.close();
    }
    return answer;
  };
}

constexpr Operation kOperations[] = {
    {"convert", convert},
    {"readSamples", read_samples},
    {"inspect", inspect},
    {"synchronise", synchronise},
    {"levels", levels},
    {"readConfig", read_config},
    {"writeConfig", write_config},
    {"checkPlace", check_place_of_output},
    {"publish", publish_output},
};

Answer failed(const char* code, const char* message) {
  Answer answer;
  answer.failure = {.code = code, .message = message};
  return answer;
}

}  // namespace

GyroscopeOffset take_offset(Arguments& arguments) {
  const std::string source = arguments.text();
  GyroscopeOffset offset;
  offset.source = source == "rest"    ? GyroscopeOffset::Source::kRest
                  : source == "given" ? GyroscopeOffset::Source::kGiven
                                      : GyroscopeOffset::Source::kNone;
  for (double& axis : offset.deg_s) {
    axis = arguments.number();
  }
  return offset;
}

std::span<const Operation> all_operations() {
  return kOperations;
}

Answer run_guarded(const Work& work, Watch* watch) noexcept {
  try {
    return work(watch);
  } catch (const std::bad_alloc&) {
    return failed("ERR_NO_MEMORY", "");
  } catch (const std::exception& error) {
    return failed("ERR_INTERNAL", error.what());
  } catch (...) {
    return failed("ERR_INTERNAL", "");
  }
}

}  // namespace vortena::operations
