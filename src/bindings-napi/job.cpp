// A job's thread never calls into JavaScript: it leaves its answer, and a thread-safe function brings it to the
// environment's thread, where its finalizer joins the thread.
#include "bindings-napi/job.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bindings-napi/values.h"
#include "system/large_pages.h"

namespace vortena::napi {
namespace {

using operations::Answer;
using operations::Failure;
using operations::Memory;
using operations::Work;
using Arrays = std::vector<std::unique_ptr<Memory>>;

/// Jobs notice their wish to stop within some milliseconds. Only the system can hold one longer, as a network drive
/// may.
constexpr std::chrono::milliseconds kLongestEnd{250};
constexpr std::chrono::milliseconds kPause{1};

class Job;

/// One for each environment: the main thread's and each worker's.
struct Environment {
  std::vector<Job*> running;
};

/// Belongs to its thread and to the environment; whoever lets go last deletes it.
class Job : public std::enable_shared_from_this<Job> {
 public:
  Job(Environment* environment, Work work) : environment_(environment), work_(std::move(work)) {
    environment_->running.push_back(this);
  }
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;
  Job(Job&&) = delete;
  Job& operator=(Job&&) = delete;
  ~Job() = default;

  bool open(napi_env env, napi_value callback, napi_value kept);
  void start() {
    thread_ = std::thread([job = shared_from_this()] { job->run(); });
  }
  void stop() { watch_.stop.store(1, std::memory_order_relaxed); }

  /// From here on a thread that is still at work meets nothing of the environment. A condition that waits until a time
  /// would ask for glibc 2.34, which not all systems have that are served.
  void end_by(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    while (!ended_ && std::chrono::steady_clock::now() < deadline) {
      lock.unlock();
      std::this_thread::sleep_for(kPause);
      lock.lock();
    }
    alone_ = !ended_;
  }

  [[nodiscard]] const Watch& watch() const { return watch_; }
  [[nodiscard]] napi_threadsafe_function done() const { return done_; }

  static void deliver(napi_env env, napi_value callback, void* context, void* data);
  static void finalize(napi_env env, void* data, void* hint);

 private:
  void run() noexcept;
  void leave_environment(napi_env env);

  Environment* environment_;
  Watch watch_;
  Work work_;
  Answer answer_;
  napi_ref kept_ = nullptr;
  napi_threadsafe_function done_ = nullptr;
  std::thread thread_;
  std::mutex mutex_;
  bool ended_ = false;
  bool alone_ = false;  ///< left behind by an environment that has ended
};

using JobHandle = std::shared_ptr<Job>;

/// A value of JavaScript that owns an object of ours.
template <typename T>
napi_value make_external(napi_env env, std::unique_ptr<T> object) {
  napi_value value = nullptr;
  const napi_finalize finalize = [](napi_env, void* data, void*) { delete static_cast<T*>(data); };
  if (napi_create_external(env, object.get(), finalize, nullptr, &value) != napi_ok) {
    return nullptr;
  }
  static_cast<void>(object.release());  // the finalizer's
  return value;
}

/// What such a value owns; null for another value. Only this module's JavaScript calls with one.
template <typename T>
T* external(napi_env env, napi_value value) {
  void* data = nullptr;
  napi_valuetype type = napi_undefined;
  const bool is_external = value != nullptr && napi_typeof(env, value, &type) == napi_ok && type == napi_external;
  return is_external && napi_get_value_external(env, value, &data) == napi_ok ? static_cast<T*>(data) : nullptr;
}

/// `kept` lives as long as the job.
bool Job::open(napi_env env, napi_value callback, napi_value kept) {
  const napi_value name = make_text(env, "vortena job");
  // The finalizer's share: it also runs when the environment ends.
  auto share = std::make_unique<JobHandle>(shared_from_this());
  if ((kept != nullptr && napi_create_reference(env, kept, 1, &kept_) != napi_ok) ||
      napi_create_threadsafe_function(env, callback, nullptr, name, 0, 1, share.get(), Job::finalize, this,
                                      Job::deliver, &done_) != napi_ok) {
    leave_environment(env);
    return false;
  }
  [[maybe_unused]] const JobHandle* handed_over = share.release();
  return true;
}

void Job::run() noexcept {
  answer_ = operations::run_guarded(work_, &watch_);
  work_ = nullptr;
  const std::lock_guard lock(mutex_);
  ended_ = true;
  // An environment that closes has taken the function back already.
  if (!alone_ && napi_call_threadsafe_function(done_, nullptr, napi_tsfn_nonblocking) != napi_closing) {
    napi_release_threadsafe_function(done_, napi_tsfn_release);
  }
}

void Job::leave_environment(napi_env env) {
  std::erase(environment_->running, this);
  if (kept_ != nullptr) {
    napi_delete_reference(env, kept_);
    kept_ = nullptr;
  }
}

void Job::finalize(napi_env env, void* data, void* /*hint*/) {
  const std::unique_ptr<JobHandle> share(static_cast<JobHandle*>(data));
  Job& job = **share;
  if (job.thread_.joinable()) {
    job.alone_ ? job.thread_.detach() : job.thread_.join();
  }
  job.leave_environment(env);
}

napi_value make_number(napi_env env, double number) {
  napi_value value = nullptr;
  return napi_create_double(env, number, &value) == napi_ok ? value : nullptr;
}

napi_value make_undefined(napi_env env) {
  napi_value value = nullptr;
  return napi_get_undefined(env, &value) == napi_ok ? value : nullptr;
}

napi_value make_list(napi_env env, const std::vector<double>& numbers) {
  napi_value list = nullptr;
  if (napi_create_array_with_length(env, numbers.size(), &list) != napi_ok) {
    return nullptr;
  }
  for (std::uint32_t i = 0; i < numbers.size(); ++i) {
    napi_set_element(env, list, i, make_number(env, numbers[i]));
  }
  return list;
}

void set_text(napi_env env, napi_value object, const char* name, const std::string& text) {
  if (!text.empty()) {
    set_member(env, object, name, make_text(env, text));
  }
}

napi_value make_failure(napi_env env, const Failure& failure) {
  napi_value object = nullptr;
  if (failure.code.empty() || napi_create_object(env, &object) != napi_ok) {
    return make_undefined(env);
  }
  set_member(env, object, "code", make_text(env, failure.code));
  set_text(env, object, "reason", failure.reason);
  set_text(env, object, "stage", failure.stage);
  set_text(env, object, "message", failure.message);
  set_text(env, object, "systemName", failure.system_name);
  set_member(env, object, "recording", make_number(env, failure.recording));
  return object;
}

/// Whatever goes wrong on the way becomes the one failure that is left.
void clear_exception(napi_env env) {
  napi_value ignored = nullptr;
  napi_get_and_clear_last_exception(env, &ignored);
}

void Job::deliver(napi_env env, napi_value callback, void* context, void* /*data*/) {
  Answer& answer = static_cast<Job*>(context)->answer_;
  if (env == nullptr || callback == nullptr) {
    return;  // the environment ends, and nobody waits any more
  }
  const napi_value undefined = make_undefined(env);
  const napi_value json = make_text(env, answer.json);
  const napi_value arrays =
      answer.memory.empty() ? undefined : make_external(env, std::make_unique<Arrays>(std::move(answer.memory)));
  if (json == nullptr || arrays == nullptr) {
    clear_exception(env);
    answer.failure = {.code = "ERR_NO_MEMORY"};
  }
  const napi_value arguments[] = {make_failure(env, answer.failure), json == nullptr ? undefined : json,
                                  arrays == nullptr ? undefined : arrays};
  napi_call_function(env, undefined, callback, std::size(arguments), arguments, nullptr);
}

void end_all(void* data) {
  auto* const environment = static_cast<Environment*>(data);
  for (Job* job : environment->running) {
    job->stop();
  }
  const auto deadline = std::chrono::steady_clock::now() + kLongestEnd;
  for (Job* job : environment->running) {
    job->end_by(deadline);
  }
}

Environment* environment_of(napi_env env) {
  void* environment = nullptr;
  return napi_get_instance_data(env, &environment) == napi_ok ? static_cast<Environment*>(environment) : nullptr;
}

void delete_environment(napi_env /*env*/, void* data, void* /*hint*/) {
  delete static_cast<Environment*>(data);
}

napi_value throw_wrong_arguments(napi_env env) {
  napi_throw_type_error(env, nullptr, "Wrong arguments");
  return nullptr;
}

/// `kept` may be null.
napi_value start(napi_env env, napi_value callback, napi_value kept, Work work) {
  Environment* const environment = environment_of(env);
  if (environment == nullptr) {
    return throw_wrong_arguments(env);
  }
  const auto job = std::make_shared<Job>(environment, std::move(work));
  if (!job->open(env, callback, kept)) {
    return throw_wrong_arguments(env);
  }
  try {
    job->start();
  } catch (const std::exception&) {
    napi_release_threadsafe_function(job->done(), napi_tsfn_abort);
    napi_throw_error(env, "ERR_NO_MEMORY", "No thread could be started");
    return nullptr;
  }
  return make_external(env, std::make_unique<JobHandle>(job));
}

struct Place {
  void* data = nullptr;
  std::size_t bytes = 0;
};

/// The memory of ArrayBuffers, or nothing where one of them does not fit its array.
std::vector<Place> places_in(napi_env env, napi_value buffers, const Arrays& arrays) {
  std::vector<Place> places;
  for (std::uint32_t i = 0; i < arrays.size(); ++i) {
    napi_value buffer = nullptr;
    Place place;
    if (napi_get_element(env, buffers, i, &buffer) != napi_ok ||
        napi_get_arraybuffer_info(env, buffer, &place.data, &place.bytes) != napi_ok ||
        place.bytes != arrays[i]->bytes) {
      return {};
    }
    places.push_back(place);
  }
  return places;
}

/// Gives the source back page by page, so that no two copies are in memory. False when the watch wants to stop.
bool move_array(Memory& from, const Place& to, Watch* watch) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  auto* const source = static_cast<std::byte*>(from.data);
  for (std::size_t at = 0; at < from.bytes; at += kPiece) {
    const std::size_t size = std::min(kPiece, from.bytes - at);
    std::copy_n(source + at, size, static_cast<std::byte*>(to.data) + at);
    give_back_pages(source + at, size);
    if (!goes_on(watch, at)) {
      return false;
    }
  }
  return true;
}

Work moving(std::shared_ptr<Arrays> arrays, std::vector<Place> places) {
  return [arrays = std::move(arrays), places = std::move(places)](Watch* watch) {
    Answer answer;
    answer.json = "null";
    for (std::size_t i = 0; i < arrays->size(); ++i) {
      if (!move_array(*(*arrays)[i], places[i], watch)) {
        answer.failure = {.code = "ABORT"};
        break;
      }
      (*arrays)[i].reset();
    }
    return answer;
  };
}

}  // namespace

void prepare_environment(napi_env env) {
  auto environment = std::make_unique<Environment>();
  if (napi_set_instance_data(env, environment.get(), delete_environment, nullptr) == napi_ok) {
    napi_add_env_cleanup_hook(env, end_all, environment.release());
  }
}

napi_value end_jobs(napi_env env, napi_callback_info /*call*/) {
  if (Environment* const environment = environment_of(env); environment != nullptr) {
    end_all(environment);
  }
  return nullptr;
}

napi_value start_job(napi_env env, napi_value callback, Work work) {
  return start(env, callback, nullptr, std::move(work));
}

napi_value stop_job(napi_env env, napi_callback_info call) {
  NapiArguments arguments(env, call);
  if (auto* const job = external<JobHandle>(env, arguments.value())) {
    (*job)->stop();
  }
  return nullptr;
}

napi_value job_progress(napi_env env, napi_callback_info call) {
  NapiArguments arguments(env, call);
  const auto* const job = external<JobHandle>(env, arguments.value());
  if (job == nullptr) {
    return throw_wrong_arguments(env);
  }
  const Watch& watch = (*job)->watch();
  return make_list(env, {static_cast<double>(watch.stage.load(std::memory_order_relaxed)),
                         static_cast<double>(watch.done.load(std::memory_order_relaxed)),
                         static_cast<double>(watch.total.load(std::memory_order_relaxed))});
}

napi_value array_sizes(napi_env env, napi_callback_info call) {
  NapiArguments arguments(env, call);
  const auto* const arrays = external<Arrays>(env, arguments.value());
  if (arrays == nullptr) {
    return throw_wrong_arguments(env);
  }
  std::vector<double> sizes;
  for (const auto& memory : *arrays) {
    sizes.push_back(static_cast<double>(memory->bytes));
  }
  return make_list(env, sizes);
}

napi_value take_arrays(napi_env env, napi_callback_info call) {
  NapiArguments arguments(env, call);
  auto* const arrays = external<Arrays>(env, arguments.value());
  const napi_value buffers = arguments.value();
  const napi_value callback = arguments.value();
  if (!arguments.good() || arrays == nullptr) {
    return throw_wrong_arguments(env);
  }
  std::vector<Place> places = places_in(env, buffers, *arrays);
  if (places.size() != arrays->size()) {
    return throw_wrong_arguments(env);
  }
  auto taken = std::make_shared<Arrays>(std::move(*arrays));
  arrays->clear();
  return start(env, callback, buffers, moving(std::move(taken), std::move(places)));
}

}  // namespace vortena::napi
