// Input: two to four recordings in a row. A block that opens with both magic bytes begins the next one.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "fuzz/properties.h"
#include "reader/synchronisation.h"

using namespace vortena;

namespace {

constexpr std::size_t kMostRecordings = 4;

bool opens_recording(fuzz::Bytes bytes) {
  return bytes[0] == kMagic0 && bytes[1] == kMagic1;
}

std::vector<fuzz::Bytes> split_recordings(fuzz::Bytes input) {
  std::vector<fuzz::Bytes> recordings;
  std::size_t begin = 0;
  for (std::size_t next = kBlockSize; next + kBlockSize <= input.size(); next += kBlockSize) {
    if (opens_recording(input.subspan(next)) && recordings.size() + 1 < kMostRecordings) {
      recordings.push_back(input.subspan(begin, next - begin));
      begin = next;
    }
  }
  recordings.push_back(input.subspan(begin));
  return recordings;
}

/// True when `cut` holds the samples of `whole` from `first` on, all moved by the same time but for rounding. Infinite
/// and undefined times, of recordings without a time base, are not compared.
bool is_cut_from(const kiv_DataSensor& cut, const kiv_DataSensor& whole, std::uint64_t first) {
  for (std::uint64_t axis = 0; axis < cut.axisCount; ++axis) {
    if (std::memcmp(&cut.values[axis * cut.sampleCount], &whole.values[axis * whole.sampleCount + first],
                    cut.sampleCount * sizeof(double)) != 0) {
      return false;
    }
  }
  const double shift = cut.timestamps[0] - whole.timestamps[first];
  for (std::uint64_t i = 0; i < cut.sampleCount; ++i) {
    const double error = cut.timestamps[i] - whole.timestamps[first + i] - shift;
    if (std::abs(error) > 1e-12 * (std::abs(shift) + std::abs(whole.timestamps[first + i]))) {
      return false;
    }
  }
  return true;
}

bool is_cut_of(const kiv_DataSensor& cut, const kiv_DataSensor& whole) {
  std::uint64_t first = 0;
  while (first + cut.sampleCount <= whole.sampleCount && !is_cut_from(cut, whole, first)) {
    ++first;
  }
  return first + cut.sampleCount <= whole.sampleCount;
}

/// Cut channels hold what was there before, at times that do not go back.
void require_cut_of(const SensorMap& output, const SensorMap& input) {
  for (const auto& [key, series] : output) {
    const auto source = input.find(key);
    fuzz::require(source != input.end(), "synchronising invents no channel");
    fuzz::require(series.axisCount == source->second.axisCount && series.sampleCount <= source->second.sampleCount &&
                      series.is_consistent(),
                  "synchronising only cuts");
    fuzz::require(series.sampleCount == 0 || is_cut_of(series, source->second), "a cut is a stretch of what there was");
    // Far from zero, neighbouring times may become equal; without a time base they are no numbers.
    fuzz::require(!std::ranges::all_of(series.timestamps, [](double t) { return t - t == 0; }) ||
                      std::ranges::is_sorted(series.timestamps),
                  "synchronised time stamps do not go back");
  }
}

void require_sound_result(const std::vector<fuzz::Decoded>& set, const std::vector<SensorMap*>& outputs) {
  fuzz::require(outputs.size() == set.size(), "every recording has its map");
  for (std::size_t i = 0; i < set.size(); ++i) {
    require_cut_of(*outputs[i], set[i].sensors);
  }
}

template <typename T, typename Member>
std::vector<T*> pointers(std::vector<fuzz::Decoded>& set, Member member) {
  std::vector<T*> all;
  for (fuzz::Decoded& decoded : set) {
    all.push_back(&(decoded.*member));
  }
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<fuzz::Decoded> set;
  for (const fuzz::Bytes recording : split_recordings({data, size})) {
    set.push_back(fuzz::decode(recording));
  }
  const std::vector<fuzz::Decoded> before = set;
  const auto configs = pointers<kiv_Config>(set, &fuzz::Decoded::config);
  const auto inputs = pointers<SensorMap>(set, &fuzz::Decoded::sensors);
  SynchronisedMaps first;
  SynchronisedMaps second;
  const bool synchronised = kiv_sync(first.maps, configs, inputs);
  fuzz::require(kiv_sync(second.maps, configs, inputs) == synchronised && first.maps.size() == second.maps.size(),
                "a set is synchronised the same way twice");
  for (std::size_t i = 0; i < first.maps.size(); ++i) {
    fuzz::require_equal(*first.maps[i], *second.maps[i]);
    fuzz::require_equal(set[i].sensors, before[i].sensors);
  }
  if (synchronised) {
    require_sound_result(set, first.maps);
  }
  std::vector<Recording> in_place(set.begin(), set.end());
  const SyncReport report = synchronise(in_place);
  fuzz::require((report.problem == SyncProblem::kNone) == synchronised, "copies and originals fare alike");
  for (std::size_t i = 0; synchronised && i < set.size(); ++i) {
    fuzz::require_equal(in_place[i].sensors, *first.maps[i]);
  }
  return 0;
}
