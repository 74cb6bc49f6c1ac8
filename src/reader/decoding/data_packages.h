// Decoding of data packages into per-channel series. Works on bytes only.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <tuple>
#include <utility>
#include <variant>

#include "reader/decoding/channels.h"
#include "reader/decoding/header_frames.h"
#include "reader/decoding/load_report.h"
#include "reader/decoding/recording_model.h"
#include "reader/decoding/sample_series.h"

namespace vortena {

/// Decodes the blocks of one recording, in file order, into one accumulator per channel.
class PackageDecoder {
 public:
  /// `config` is copied where needed; it may go before the decoder does.
  explicit PackageDecoder(const kiv_Config& config);

  /// The first block, before all others. With `keep_samples` it counts as a data package like any other; without, its
  /// samples are counted only.
  void decode_header_block(BlockBytes block, bool keep_samples);
  void decode_block(BlockBytes block);

  /// Makes room for `total_blocks` blocks, on the evidence of the `decoded_blocks` decoded so far.
  void reserve(std::uint64_t total_blocks, std::uint64_t decoded_blocks);

  /// Moves the series of every present channel into `sensors`, tells their counts and empties the accumulators. Throws
  /// Stopped when the watch, which may be null, wants that.
  std::map<ChannelKey, ChannelCounts> transfer(const kiv_Config& config, SensorMap* sensors, Watch* watch = nullptr);

  /// Puts all samples into order. Throws Stopped as transfer() does.
  void order(Watch* watch);

  [[nodiscard]] const PackageCounts& packages() const { return packages_; }

  /// The accumulator of a recorded channel, for those who take the counts themselves.
  template <ChannelKey Key>
  [[nodiscard]] auto& series() {
    return std::get<channel_place(Key)>(series_);
  }

 private:
  // In the place of a key: of identifiers that are no decoded channel's.
  static constexpr std::int8_t kForeign = 0;
  static constexpr std::int8_t kSkipped = -1;

  template <std::size_t Place>
  using SeriesAt =
      std::conditional_t<kChannels[Place].recorded, SampleSeries<kChannels[Place].axes.size()>, std::monostate>;
  template <std::size_t... Place>
  static std::tuple<SeriesAt<Place>...> series_at(std::index_sequence<Place...>);
  using Places = std::make_index_sequence<std::size(kChannels)>;

  /// The entries that transfer() fills, of present channels.
  void make_room(const kiv_Config& config, SensorMap* sensors, Watch* watch);
  void decode_records(BlockBytes block);
  void decode_record(std::int64_t base_tick, const std::uint8_t* record);
  void count_undecoded(std::int8_t key, const std::uint8_t* record);
  void look_at_base_tick(std::int64_t base_tick);
  template <typename Visit>
  void for_each_series(Visit visit);

  std::array<std::int8_t, UINT8_MAX + 1> key_of_id_{};
  PackageCounts packages_;
  std::int64_t last_base_tick_ = 0;
  decltype(series_at(Places())) series_;  ///< in the order of kChannels
};

/// Moves an accumulator of one, two or three values per sample into the map under `key` and empties it. Time
/// stamps are ticks over `config.frequency`, whatever that is. An entry that already stands under the key is filled in
/// place. It keeps its counts: one that is too small gets the first samples and axes, and in one that is larger the
/// rest stays as it is. Returns how many samples are at full scale. Throws Stopped when `patience` ends.
template <std::size_t Axes>
std::uint64_t _transfertData(SensorMap* sensors, const kiv_Config& config, int key, SampleSeries<Axes>* series,
                             Patience patience = Patience(nullptr));

/// The samples of an accumulator, which keeps them, as _transfertData() makes them.
template <std::size_t Axes>
kiv_DataSensor decoded_samples(const kiv_Config& config, SampleSeries<Axes>* series);

extern template std::uint64_t _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<1>*, Patience);
extern template std::uint64_t _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<2>*, Patience);
extern template std::uint64_t _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<3>*, Patience);
extern template kiv_DataSensor decoded_samples(const kiv_Config&, SampleSeries<3>*);

}  // namespace vortena
