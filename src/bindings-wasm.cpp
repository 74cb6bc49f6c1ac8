// The boundary with WebAssembly: operations and the five methods by name, for a loader in JavaScript. Texts and arrays
// stay in the memory of the instance until they are released; files are what the loader makes of the system's calls.
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bindings-shared/answer.h"
#include "bindings-shared/arguments.h"
#include "bindings-shared/failures.h"
#include "bindings-shared/methods.h"
#include "bindings-shared/operations.h"
#include "operations/csv_stream.h"
#include "reader/texts/json_object.h"
#include "system/watch.h"

namespace {

using vortena::operations::Answer;
using vortena::operations::Arguments;
using vortena::operations::Failure;
using vortena::operations::Operation;
using vortena::operations::Work;

/// Texts, each with a zero byte behind it. Numbers and truths are texts, too; a list is its length and its elements.
class TextArguments final : public vortena::operations::Arguments {
 public:
  explicit TextArguments(std::string_view texts) : left_(texts) {}

  std::string text() override {
    const std::size_t end = left_.find('\0');
    good_ = good_ && end != std::string_view::npos;
    if (!good_) {
      return {};
    }
    const std::string_view text = left_.substr(0, end);
    left_.remove_prefix(end + 1);
    return std::string(text);
  }

  std::vector<std::string> texts() override {
    std::vector<std::string> list;
    for (double count = number(); good_ && count > 0; --count) {
      list.push_back(text());
    }
    return list;
  }

  double number() override { return std::strtod(text().c_str(), nullptr); }
  bool truth() override { return text() == "true"; }

  [[nodiscard]] bool any_left() const override { return !left_.empty(); }
  [[nodiscard]] bool good() const override { return good_; }

 private:
  std::string_view left_;
  bool good_ = true;
};

const Operation* find_operation(std::string_view name) {
  for (const Operation& operation : vortena::operations::all_operations()) {
    if (operation.name == name) {
      return &operation;
    }
  }
  return nullptr;
}

Answer run(std::string_view texts) {
  TextArguments arguments(texts);
  const std::string name = arguments.text();
  if (name == "method") {
    return vortena::operations::call_method(arguments.text(), arguments);
  }
  const Operation* const operation = find_operation(name);
  const Work work = operation == nullptr ? Work() : operation->prepare(arguments);
  Answer answer;
  answer.failure = {.code = "ERR_INTERNAL", .message = "Wrong arguments"};
  if (work && arguments.good()) {
    vortena::Watch watch;
    answer = vortena::operations::run_guarded(work, &watch);
  }
  return answer;
}

std::string failure_json(const Failure& failure) {
  vortena::JsonObject json;
  json.text("code", failure.code);
  json.text("reason", failure.reason);
  json.text("stage", failure.stage);
  json.text("message", failure.message);
  json.text("systemName", failure.system_name);
  json.number("recording", failure.recording);
  return json.close();
}

/// What a call answers, as the loader reads it: three pairs of address and length, or count.
struct Reply {
  struct Bytes {
    const void* data;
    std::size_t size;
  };
  Bytes json{};
  Bytes failure{};  ///< of length 0: none
  const Bytes* arrays = nullptr;
  std::size_t array_count = 0;

  explicit Reply(Answer answer) : answer_(std::move(answer)) {
    json = {answer_.json.data(), answer_.json.size()};
    if (!answer_.failure.code.empty()) {
      failure_ = failure_json(answer_.failure);
      failure = {failure_.data(), failure_.size()};
    }
    for (const auto& memory : answer_.memory) {
      list_.push_back({memory->data, memory->bytes});
    }
    arrays = list_.data();
    array_count = list_.size();
  }

  void release_array(std::size_t index) { answer_.memory.at(index).reset(); }

 private:
  Answer answer_;
  std::string failure_;
  std::vector<Bytes> list_;
};

Reply* make_reply(Answer answer) noexcept {
  try {
    return new Reply(std::move(answer));
  } catch (const std::exception&) {
    return nullptr;
  }
}

/// The reply of what `make` answers; what it throws becomes a failure.
template <typename Make>
Reply* guarded(Make make) noexcept {
  return make_reply(vortena::operations::run_guarded([&](vortena::Watch*) { return make(); }, nullptr));
}

}  // namespace

#define VORTENA_EXPORT extern "C" __attribute__((used, visibility("default")))

/// Runs the operation whose name is the first of `texts` with the others as its arguments; behind "method", one of the
/// five methods, as two of them have the names of operations. Null without memory for the reply, which stands until it
/// is released.
VORTENA_EXPORT Reply* vortena_run(const char* texts, std::size_t size) {
  return guarded([=] { return run({texts, size}); });
}

/// Frees an array that was taken; the others, and the texts, stay.
VORTENA_EXPORT void vortena_release_array(Reply* reply, std::size_t index) {
  reply->release_array(index);
}

VORTENA_EXPORT void vortena_release(Reply* reply) {
  delete reply;
}

/// The CSV of (path, offset) in pieces: `*stream` stands until it is ended, whatever the reply says.
VORTENA_EXPORT Reply* vortena_begin_csv(const char* texts, std::size_t size, vortena::CsvStream** stream) {
  return guarded([=] {
    TextArguments arguments({texts, size});
    const std::string path = arguments.text();
    const vortena::GyroscopeOffset offset = vortena::operations::take_offset(arguments);
    *stream = new vortena::CsvStream;
    vortena::Watch watch;
    Answer answer;
    answer.failure = vortena::operations::failure_of((*stream)->open(path.c_str(), offset, &watch));
    return answer;
  });
}

/// The next piece as the reply's text; of length 0 behind the end.
VORTENA_EXPORT Reply* vortena_next_csv(vortena::CsvStream* stream) {
  return guarded([=] {
    Answer answer;
    answer.json = stream->next();
    return answer;
  });
}

VORTENA_EXPORT void vortena_end_csv(vortena::CsvStream* stream) {
  delete stream;
}

/// How much of the rows of a CSV was handed out, 0 to 1.
VORTENA_EXPORT double vortena_csv_fraction(const vortena::CsvStream* stream) {
  const auto rows = static_cast<double>(stream->rows());
  return rows > 0 ? static_cast<double>(stream->rows_written()) / rows : 1;
}

/// Where the members of a file's status are, which differ between releases of the C library: size of the record, then
/// the offsets of device, file number, mode, links, user, group, size, and seconds and
/// nanoseconds of the time of change.
VORTENA_EXPORT const std::uint32_t* vortena_status_layout() {
  using Status = struct stat;
  static constexpr std::uint32_t kLayout[] = {sizeof(Status),
                                              offsetof(Status, st_dev),
                                              offsetof(Status, st_ino),
                                              offsetof(Status, st_mode),
                                              offsetof(Status, st_nlink),
                                              offsetof(Status, st_uid),
                                              offsetof(Status, st_gid),
                                              offsetof(Status, st_size),
                                              offsetof(Status, st_mtim),
                                              offsetof(Status, st_mtim) + offsetof(struct timespec, tv_nsec)};
  return kLayout;
}
