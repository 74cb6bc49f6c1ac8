// A recording's CSV a piece at a time, in little memory: samples stay counts until their rows are written, and the
// orientation is filtered only as far as the rows need it.
#pragma once

#include <array>
#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

#include "operations/outcome.h"
#include "operations/recording_steps.h"
#include "reader/counted_recording.h"
#include "reader/quaternion_channel.h"
#include "reader/texts/csv_export.h"

namespace vortena {

class CsvStream {
 public:
  CsvStream();
  CsvStream(const CsvStream&) = delete;
  CsvStream& operator=(const CsvStream&) = delete;
  CsvStream(CsvStream&&) = delete;
  CsvStream& operator=(CsvStream&&) = delete;
  ~CsvStream();

  /// Decodes the recording at `path`, or the one in an open binary stream that can seek; the first call, once. The
  /// watch must live until this returns. With an offset of kRest, the samples of both sensors are values for a while.
  /// Throws when memory is refused (std::bad_alloc), as next() does.
  Outcome open(const char* path, const GyroscopeOffset& offset = {}, Watch* watch = nullptr);
  Outcome open(std::istream& stream, const GyroscopeOffset& offset = {}, Watch* watch = nullptr);

  /// The next piece of what convert_recording() writes, and without an offset BinReader2::read, a quarter of a megabyte
  /// or so, which stands until the next call; empty behind the end.
  std::string_view next();

  [[nodiscard]] std::uint64_t rows() const { return csv_->rows(); }
  [[nodiscard]] std::uint64_t rows_written() const { return csv_->rows_written(); }

 private:
  /// Samples of one channel as values, on their way to rows.
  struct Window {
    std::vector<double> values;
    std::vector<double> times;
  };

  class Piece final : public std::streambuf {
   public:
    std::string text;

   protected:
    std::streamsize xsputn(const char* from, std::streamsize size) override;
    int_type overflow(int_type character) override;
  };

  Outcome begin(const LoadReport& report, const GyroscopeOffset& offset);
  Outcome correct(GyroscopeOffset offset);
  [[nodiscard]] RestEstimate estimate_rest_of_counts();
  [[nodiscard]] CsvChannels count_channels();
  void drop_what_no_row_shows();
  void write_rows();
  template <std::size_t Axes>
  void fill(CsvChannel* channel, Window* window, SampleSeries<Axes>* series, std::uint64_t end,
            const std::array<double, Axes>& offset = {}) const;
  void fill_quaternions(std::uint64_t end);

  CountedRecording recording_;
  std::array<double, 3> gyro_offset_{};  ///< subtracted from the gyroscope, deg/s
  Piece piece_;
  std::ostream out_{&piece_};
  std::unique_ptr<CsvExport> csv_;
  std::unique_ptr<OrientationRun> orientation_;
  Window gyro_;
  Window accel_;
  Window baro_;
  Window event_;
  bool ended_ = false;
};

}  // namespace vortena
