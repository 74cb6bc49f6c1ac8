// A job's thread never calls into JavaScript: it leaves its answer, and a thread-safe function brings it to the
// environment's thread, where its finalizer joins the thread.
#include "bindings-napi/job.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bindings-napi/values.h"

namespace vortena::napi {
namespace {

using operations::Answer;
using operations::Failure;
using operations::Memory;
using operations::Work;

class Job;

/// One for each environment: the main thread's and each worker's.
struct Environment {
  std::vector<Job*> running;
};

class Job {
 public:
  Job(Environment* environment, Watch* watch, Work work)
      : environment_(environment), watch_(watch), work_(std::move(work)) {
    environment_->running.push_back(this);
  }
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;
  Job(Job&&) = delete;
  Job& operator=(Job&&) = delete;
  ~Job() {
    stop();
    wait();
    std::erase(environment_->running, this);
  }

  /// Takes over a reference to the memory of the watch.
  bool open(napi_env env, napi_value control, napi_value callback);
  void start() {
    thread_ = std::thread([this] { run(); });
  }
  void stop() { watch_->stop.store(1, std::memory_order_relaxed); }
  void wait() {
    if (thread_.joinable()) {
      thread_.join();
    }
  }

  static void deliver(napi_env env, napi_value callback, void* context, void* data);
  static void finalize(napi_env env, void* data, void* hint);

  napi_threadsafe_function done() { return done_; }

 private:
  void run() noexcept {
    answer_ = operations::run_guarded(work_, watch_);
    work_ = nullptr;
    // An environment that closes has taken the function back already.
    if (napi_call_threadsafe_function(done_, nullptr, napi_tsfn_nonblocking) != napi_closing) {
      napi_release_threadsafe_function(done_, napi_tsfn_release);
    }
  }

  Environment* environment_;
  Watch* watch_;
  Work work_;
  Answer answer_;
  napi_ref control_ = nullptr;
  napi_threadsafe_function done_ = nullptr;
  std::thread thread_;
};

bool Job::open(napi_env env, napi_value control, napi_value callback) {
  const napi_value name = make_text(env, "vortena job");
  // Referred to by the finalizer, which also runs when the environment ends.
  return napi_create_reference(env, control, 1, &control_) == napi_ok &&
         napi_create_threadsafe_function(env, callback, nullptr, name, 0, 1, this, Job::finalize, this, Job::deliver,
                                         &done_) == napi_ok;
}

void Job::finalize(napi_env env, void* data, void* /*hint*/) {
  const std::unique_ptr<Job> job(static_cast<Job*>(data));
  job->wait();
  if (job->control_ != nullptr) {
    napi_delete_reference(env, job->control_);
  }
}

napi_value make_number(napi_env env, int number) {
  napi_value value = nullptr;
  return napi_create_int32(env, number, &value) == napi_ok ? value : nullptr;
}

napi_value make_undefined(napi_env env) {
  napi_value value = nullptr;
  return napi_get_undefined(env, &value) == napi_ok ? value : nullptr;
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
  set_member(env, object, "systemError", make_number(env, failure.system_error));
  set_member(env, object, "recording", make_number(env, failure.recording));
  return object;
}

void release_memory(napi_env /*env*/, void* /*data*/, void* hint) {
  const std::unique_ptr<Memory> memory(static_cast<Memory*>(hint));
}

napi_value copy_memory(napi_env env, const Memory& memory) {
  napi_value buffer = nullptr;
  void* to = nullptr;
  if (napi_create_arraybuffer(env, memory.bytes, &to, &buffer) != napi_ok) {
    return nullptr;
  }
  std::copy_n(static_cast<const char*>(memory.data), memory.bytes, static_cast<char*>(to));
  return buffer;
}

/// The memory itself, or a copy where the runtime takes none from outside.
napi_value make_buffer(napi_env env, std::unique_ptr<Memory> memory) {
  napi_value buffer = nullptr;
  if (memory->bytes == 0) {
    return copy_memory(env, *memory);
  }
  Memory* const lent = memory.release();  // the finalizer's, which also runs where the memory is too large for a buffer
  const napi_status status =
      napi_create_external_arraybuffer(env, lent->data, lent->bytes, release_memory, lent, &buffer);
  if (status == napi_no_external_buffers_allowed) {
    memory.reset(lent);
    return copy_memory(env, *memory);
  }
  return status == napi_ok ? buffer : nullptr;
}

napi_value make_buffers(napi_env env, std::vector<std::unique_ptr<Memory>>& memory) {
  napi_value list = nullptr;
  if (napi_create_array_with_length(env, memory.size(), &list) != napi_ok) {
    return nullptr;
  }
  for (std::uint32_t i = 0; i < memory.size(); ++i) {
    const napi_value buffer = make_buffer(env, std::move(memory[i]));
    if (buffer == nullptr || napi_set_element(env, list, i, buffer) != napi_ok) {
      return nullptr;
    }
  }
  return list;
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
  const napi_value json = make_text(env, answer.json);
  const napi_value buffers = make_buffers(env, answer.memory);
  if (json == nullptr || buffers == nullptr) {
    clear_exception(env);
    answer.failure = {.code = "ERR_NO_MEMORY"};
  }
  const napi_value undefined = make_undefined(env);
  const napi_value arguments[] = {make_failure(env, answer.failure), json == nullptr ? undefined : json,
                                  buffers == nullptr ? undefined : buffers};
  napi_call_function(env, undefined, callback, std::size(arguments), arguments, nullptr);
}

/// The control's memory as a watch; null when it is none.
Watch* watch_in(napi_env env, napi_value control) {
  napi_typedarray_type type = napi_int8_array;
  std::size_t length = 0;
  void* data = nullptr;
  const bool is_control = napi_get_typedarray_info(env, control, &type, &length, &data, nullptr, nullptr) == napi_ok &&
                          type == napi_int32_array && length * sizeof(std::int32_t) == sizeof(Watch);
  return is_control ? new (data) Watch : nullptr;
}

void end_all(void* data) {
  auto* const environment = static_cast<Environment*>(data);
  for (Job* job : environment->running) {
    job->stop();
  }
  for (Job* job : environment->running) {
    job->wait();
  }
}

Environment* environment_of(napi_env env) {
  void* environment = nullptr;
  return napi_get_instance_data(env, &environment) == napi_ok ? static_cast<Environment*>(environment) : nullptr;
}

void delete_environment(napi_env /*env*/, void* data, void* /*hint*/) {
  delete static_cast<Environment*>(data);
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

bool start_job(napi_env env, napi_value control, napi_value callback, Work work) {
  Environment* const environment = environment_of(env);
  Watch* const watch = watch_in(env, control);
  if (watch == nullptr || environment == nullptr) {
    napi_throw_type_error(env, nullptr, "Wrong arguments");
    return false;
  }
  auto job = std::make_unique<Job>(environment, watch, std::move(work));
  if (!job->open(env, control, callback)) {
    napi_throw_type_error(env, nullptr, "Wrong arguments");
    return false;
  }
  Job* const opened = job.release();  // its finalizer's from here on
  try {
    opened->start();
  } catch (const std::exception&) {
    napi_release_threadsafe_function(opened->done(), napi_tsfn_abort);
    napi_throw_error(env, "ERR_NO_MEMORY", "No thread could be started");
    return false;
  }
  return true;
}

}  // namespace vortena::napi
