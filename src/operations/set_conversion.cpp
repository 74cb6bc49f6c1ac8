// Every stage runs over all recordings before the next one begins. CSVs are all written before the first is renamed.
#include "operations/set_conversion.h"

#include <algorithm>
#include <deque>
#include <utility>

#include "reader/texts/csv_export.h"
#include "system/file_access.h"
#include "system/whole_file.h"

namespace vortena {
namespace {

class SetConverter {
 public:
  SetConverter(std::span<const std::string> paths, const std::string& folder, const SetOptions& options,
               SetConversion* result)
      : paths_(paths), options_(options), result_(*result), loaded_(paths.size()), files_(paths.size()) {
    for (const std::string& path : paths) {
      result_.units.emplace_back().output = csv_path_in(folder, path);
    }
  }

  Outcome run() {
    for (const auto step : {&SetConverter::check_outputs, &SetConverter::load_all, &SetConverter::orient_all,
                            &SetConverter::synchronise_all, &SetConverter::write_all, &SetConverter::look_again,
                            &SetConverter::commit_all}) {
      if (Outcome outcome = (this->*step)(); !outcome.good()) {
        return outcome;
      }
    }
    return {};
  }

 private:
  /// `step(i)` for each recording, up to the first that fails.
  template <typename Step>
  Outcome for_each(Step step) {
    for (std::size_t i = 0; i < paths_.size(); ++i) {
      if (Outcome outcome = step(i); !outcome.good()) {
        outcome.recording = i;
        return outcome;
      }
    }
    return {};
  }

  Outcome check_outputs() {
    return for_each([this](std::size_t i) {
      const std::string& output = result_.units[i].output;
      for (std::size_t k = 0; k < i; ++k) {
        const std::string& other = result_.units[k].output;
        if (output == other || is_same_file(output.c_str(), other.c_str())) {
          return Outcome{.problem = Problem::kOutputClash, .stage = Stage::kWriting};
        }
      }
      const auto is_output = [&](const std::string& path) { return is_same_file(path.c_str(), output.c_str()); };
      if (std::any_of(paths_.begin(), paths_.end(), is_output)) {
        return Outcome{.problem = Problem::kOutputIsRecording, .stage = Stage::kWriting};
      }
      const Outcome outcome = check_output(output.c_str());
      return outcome.good() ? unwritable(files_[i].claim(output.c_str(), options_.existing)) : outcome;
    });
  }

  Outcome load_all() {
    return for_each([this](std::size_t i) {
      const GyroscopeOffset offset =
          options_.gyroscope_offsets.empty() ? GyroscopeOffset() : options_.gyroscope_offsets.at(i);
      return load(&loaded_[i], paths_[i].c_str(), {.watch = options_.watch}, offset);
    });
  }

  Outcome orient_all() {
    return for_each([this](std::size_t i) {
      Outcome outcome = orient(&loaded_[i], options_.orientation, options_.watch);
      if (outcome.good() && loaded_[i].orientation != OrientationProblem::kNone) {
        outcome = {
            .problem = Problem::kOrientation, .stage = Stage::kOrientation, .orientation = loaded_[i].orientation};
      }
      if (outcome.good()) {
        result_.units[i].report = judge(loaded_[i]);  // before the series are cut
      }
      return outcome;
    });
  }

  Outcome synchronise_all() {
    for (LoadedRecording& loaded : loaded_) {
      recordings_.push_back(std::move(loaded.recording));
    }
    result_.synchronisation = synchronise(recordings_, options_.watch);
    const SyncReport& report = result_.synchronisation;
    if (report.problem == SyncProblem::kNone) {
      return {};
    }
    return {.problem = report.problem == SyncProblem::kStopped ? Problem::kStopped : Problem::kSynchronisation,
            .stage = Stage::kSynchronising,
            .recording = report.recording,
            .synchronisation = report};
  }

  Outcome write_all() {
    return for_each([this](std::size_t i) {
      WholeFile& file = files_[i];
      if (const std::error_code failure = file.create()) {
        return unwritable(failure);
      }
      // Names that differ may lead to one file that is not there yet: through links, or by their case.
      const auto replaces_same = [&](const WholeFile& other) { return file.replaces_same(other); };
      if (std::any_of(files_.begin(), files_.begin() + static_cast<std::ptrdiff_t>(i), replaces_same)) {
        return Outcome{.problem = Problem::kOutputClash, .stage = Stage::kWriting};
      }
      return write(i, file);
    });
  }

  Outcome write(std::size_t i, WholeFile& file) {
    Recording recording = std::move(recordings_[i]);  // freed as soon as it is written
    CsvExport csv(file.stream(), recording.config, recording.sensors);
    if (!csv.write_rest(options_.watch)) {
      return stopped(Stage::kWriting);
    }
    ConvertedUnit& unit = result_.units[i];
    unit.rows = csv.rows();
    unit.bytes = file.bytes_written();
    unit.config = std::move(recording.config);
    return unwritable(file.finish(options_.sync));
  }

  Outcome look_again() {
    return for_each([this](std::size_t i) {
      const Outcome outcome = require_unchanged(paths_[i].c_str(), loaded_[i]);
      return outcome.good() ? check_output(result_.units[i].output.c_str()) : outcome;
    });
  }

  Outcome commit_all() {
    const TogetherFailure failure = appear_together(files_, options_.sync);
    Outcome outcome = unwritable(failure.failure);
    outcome.recording = failure.file;
    return outcome;
  }

  std::span<const std::string> paths_;
  const SetOptions& options_;
  SetConversion& result_;
  std::vector<LoadedRecording> loaded_;
  std::vector<Recording> recordings_;
  std::deque<WholeFile> files_;
};

}  // namespace

std::string csv_path_in(const std::string& folder, const std::string& recording) {
  return folder + "/" + _file_basename(recording) + ".csv";
}

SetConversion convert_set(std::span<const std::string> paths, const std::string& folder, const SetOptions& options) {
  SetConversion result;
  result.outcome = SetConverter(paths, folder, options, &result).run();
  return result;
}

}  // namespace vortena
