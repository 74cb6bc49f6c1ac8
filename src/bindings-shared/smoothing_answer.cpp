#include "bindings-shared/smoothing_answer.h"

#include <cstddef>
#include <utility>

#include "reader/texts/json_object.h"

namespace vortena::operations {
namespace {

constexpr std::size_t kAxes = 3;

using Memories = std::vector<std::unique_ptr<Memory>>;

/// The place of an array of `count` numbers, of which `value(k)` is the k-th.
template <typename Value>
std::size_t add_numbers(std::size_t count, Value value, Memories* memory) {
  const auto numbers = std::make_shared<std::vector<double>>(count);
  for (std::size_t k = 0; k < count; ++k) {
    (*numbers)[k] = value(k);
  }
  memory->push_back(std::make_unique<Memory>(Memory{numbers->data(), count * sizeof(double), numbers}));
  return memory->size() - 1;
}

std::string stretch_json(const smoother::Stretch& stretch) {
  JsonObject json;
  json.number("from", stretch.from_s);
  json.number("to", stretch.to_s);
  return json.close();
}

std::string gap_json(const smoother::Gap& gap) {
  JsonObject json;
  json.number("from", gap.stretch.from_s);
  json.number("to", gap.stretch.to_s);
  json.boolean("turned", gap.turned);
  return json.close();
}

template <typename List, typename ToJson>
std::string list_json(const List& list, ToJson to_json) {
  JsonArray json;
  for (const auto& element : list) {
    json.element(to_json(element));
  }
  return json.close();
}

}  // namespace

std::string smoothing_json(const smoother::Result& result, Memories* memory) {
  const auto& grid = result.grid;
  const std::size_t n = grid.size();
  JsonObject json;
  json.number("points", n);
  json.number("time", add_numbers(n, [&](std::size_t k) { return grid[k].time_s; }, memory));
  const auto offset = [&](std::size_t k) { return static_cast<double>(grid[k % n].gyro_offset_deg_s[k / n]); };
  json.number("offset", add_numbers(kAxes * n, offset, memory));
  const auto error = [&](std::size_t k) { return static_cast<double>(grid[k].inclination_error_deg); };
  json.number("inclinationError", add_numbers(n, error, memory));
  json.member("rest", list_json(result.rest, stretch_json));
  json.member("gaps", list_json(result.gaps, gap_json));
  json.member("gyroscopeErrors", list_json(result.gyro_scale_error, number_json));
  json.member("accelerometerOffset", list_json(result.accel_offset_g, number_json));
  return json.close();
}

}  // namespace vortena::operations
