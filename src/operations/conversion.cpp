// Filter and CSV take about as long as each other, and a row needs the orientation only up to its own time: with a
// second thread they run side by side.
#include "operations/conversion.h"

#include <atomic>
#include <chrono>
#include <optional>
#include <system_error>
#include <thread>

#include "reader/quaternion_channel.h"
#include "reader/texts/csv_export.h"
#include "system/whole_file.h"

namespace vortena {
namespace {

/// Writes rows while their orientation comes in. Its thread ends with this object at the latest.
class CsvFollower {
 public:
  CsvFollower(CsvExport* csv, const std::ostream* out) : csv_(csv), out_(out) {
    try {
      thread_.emplace([this] { follow(); });
    } catch (const std::system_error&) {
      thread_.reset();  // no thread to be had: the rows come later
    }
  }
  CsvFollower(const CsvFollower&) = delete;
  CsvFollower& operator=(const CsvFollower&) = delete;
  CsvFollower(CsvFollower&&) = delete;
  CsvFollower& operator=(CsvFollower&&) = delete;
  ~CsvFollower() { stop(); }

  /// Counts the samples whose orientation stands.
  [[nodiscard]] std::atomic<std::uint64_t>* ready() { return &ready_; }

  /// Leaves the rows that are still to be written to the caller.
  void stop() {
    filtered_.store(true, std::memory_order_relaxed);
    if (thread_) {
      thread_->join();
      thread_.reset();
    }
  }

 private:
  /// Rows at a time: the pieces of the filter come about as often.
  static constexpr std::uint64_t kPiece = 2048;
  static constexpr std::chrono::milliseconds kPause{1};

  void follow() {
    while (!filtered_.load(std::memory_order_relaxed) && out_->good()) {
      const std::uint64_t next = csv_->rows_written() + kPiece;
      if (csv_->rows_covered(ready_.load(std::memory_order_acquire)) >= next) {
        csv_->write_rows(next);
      } else {
        std::this_thread::sleep_for(kPause);
      }
    }
  }

  CsvExport* csv_;
  const std::ostream* out_;
  std::atomic<std::uint64_t> ready_{0};
  std::atomic<bool> filtered_{false};
  std::optional<std::thread> thread_;
};

/// What is to be written and where to.
struct Writing {
  LoadedRecording* loaded;
  WholeFile* file;
  const ConversionOptions& options;
};

/// The orientation first, then the rows.
Outcome write_afterwards(const Writing& w, Conversion* result) {
  if (Outcome outcome = orient(w.loaded, w.options.orientation, w.options.watch); !outcome.good()) {
    return outcome;
  }
  CsvExport csv(w.file->stream(), w.loaded->recording.config, w.loaded->recording.sensors);
  result->rows = csv.rows();
  return csv.write_rest(w.options.watch) ? Outcome() : stopped(Stage::kWriting);
}

Outcome write_side_by_side(const Writing& w, Conversion* result) {
  Recording& recording = w.loaded->recording;
  w.loaded->orientation = prepare_orientation(recording.config, &recording.sensors);
  if (w.loaded->orientation != OrientationProblem::kNone) {
    return write_afterwards(w, result);
  }
  CsvExport csv(w.file->stream(), recording.config, recording.sensors);
  result->rows = csv.rows();
  CsvFollower follower(&csv, &w.file->stream());
  w.loaded->orientation = fill_orientation(recording.config, &recording.sensors, w.options.watch, follower.ready());
  follower.stop();
  if (w.loaded->orientation == OrientationProblem::kStopped) {
    return stopped(Stage::kOrientation);
  }
  return csv.write_rest(w.options.watch) ? Outcome() : stopped(Stage::kWriting);
}

Outcome write_rows(const Writing& w, Conversion* result) {
  return w.options.second_thread && w.options.orientation == OrientationMethod::kFilter ? write_side_by_side(w, result)
                                                                                        : write_afterwards(w, result);
}

Outcome check_paths(const char* path, const char* csv_path) {
  return is_same_file(path, csv_path) ? Outcome{.problem = Problem::kOutputIsRecording, .stage = Stage::kWriting}
                                      : check_output(csv_path);
}

/// Recording and output are looked at once more: much may have happened since. Nothing may fail behind this.
Outcome appear(const char* path, const char* csv_path, const LoadedRecording& loaded, WholeFile* file, bool sync) {
  if (Outcome outcome = unwritable(file->finish(sync)); !outcome.good()) {
    return outcome;
  }
  if (Outcome outcome = require_unchanged(path, loaded); !outcome.good()) {
    return outcome;
  }
  if (Outcome outcome = check_output(csv_path); !outcome.good()) {
    return outcome;
  }
  return unwritable(file->appear(sync));
}

Outcome convert(const char* path, const char* csv_path, const ConversionOptions& options, Conversion* result) {
  if (Outcome outcome = check_paths(path, csv_path); !outcome.good()) {
    return outcome;
  }
  WholeFile file;
  if (Outcome outcome = unwritable(file.claim(csv_path, options.existing)); !outcome.good()) {
    return outcome;
  }
  LoadedRecording loaded;
  if (Outcome outcome = load(&loaded, path, {.watch = options.watch}, options.gyroscope_offset, options.keep_readable);
      !outcome.good()) {
    return outcome;
  }
  if (Outcome outcome = unwritable(file.create()); !outcome.good()) {
    return outcome;
  }
  if (Outcome outcome = write_rows({&loaded, &file, options}, result); !outcome.good()) {
    return outcome;
  }
  result->report = judge(loaded);
  result->config = std::move(loaded.recording.config);
  result->bytes = file.bytes_written();
  return appear(path, csv_path, loaded, &file, options.sync);
}

}  // namespace

Conversion convert_recording(const char* path, const char* csv_path, const ConversionOptions& options) {
  Conversion result;
  result.outcome = convert(path, csv_path, options, &result);
  return result;
}

}  // namespace vortena
