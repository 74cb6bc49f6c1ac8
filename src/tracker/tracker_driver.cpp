// Sample interface of the tracker: ring buffer, axis table, collection of still samples, and the road of one
// sample.
#include <cmath>

#include "tracker/fixed_matrix.h"
#include "tracker/tracker.h"

namespace {

namespace arrays = vortena::tracker::arrays;

enum Channel { kAccel = 0, kGyro = 3, kMag = 6, kMagPresent = 9 };

struct Sample {
  float accelerometer[3];  // g
  float gyroscope[3];      // deg/s
  float magnetometer[3];
  bool has_magnetometer;

  [[nodiscard]] const float* magnetometer_or_null() const { return has_magnetometer ? magnetometer : nullptr; }
};

bool channel_exists(int32_t channel) {
  return channel >= 0 && channel < TRACKER_BUFFER_CHANNELS;
}

/// A channel of the sample at `slot`. The axis table is the caller's to change: a channel that does not exist reads 0.
float channel_value(const tracker_state* state, int32_t channel, int32_t slot) {
  return channel_exists(channel) ? state->buffer[channel][slot] : 0.0F;
}

/// Three axes through the axis table.
void read_axes(const tracker_state* state, int first_axis, int32_t slot, float out[3]) {
  for (int i = 0; i < 3; ++i) {
    const int axis = first_axis + i;
    out[i] = static_cast<float>(state->axis_sign[axis]) * channel_value(state, state->axis_map[axis], slot);
  }
}

Sample read_sample(const tracker_state* state, int32_t slot) {
  Sample sample{};
  read_axes(state, kAccel, slot, sample.accelerometer);
  read_axes(state, kGyro, slot, sample.gyroscope);
  // The flag stands behind whatever channel the last magnetometer axis is read from; its integer part counts.
  const int32_t last_channel = state->axis_map[TRACKER_SENSOR_AXES - 1];
  const float flag = channel_exists(last_channel) ? channel_value(state, last_channel + 1, slot) : 0.0F;
  sample.has_magnetometer = std::fabs(flag) >= 1.0F;
  if (sample.has_magnetometer) {
    read_axes(state, kMag, slot, sample.magnetometer);
  }
  return sample;
}

int32_t next_slot(const tracker_state* state, int32_t slot) {
  const int32_t next = slot + 1;
  return next % state->buffer_capacity == 0 ? 0 : next;
}

void filter_sample(tracker_state* state, Sample& sample, float output[7]) {
  call_ekf_quaternion(state, sample.gyroscope, sample.accelerometer, sample.magnetometer_or_null());
  apply_localization(state, output);
}

int32_t collect_sample(tracker_state* state, const Sample& sample) {
  if (!is_ready_to_initialize(state, sample.accelerometer, sample.gyroscope, sample.magnetometer_or_null())) {
    return TRACKER_WAITING;
  }
  set_initial_quaternion(state);
  for (int i = 0; i < 3; ++i) {
    state->linear_accel[i] = state->accel_sum[i] / static_cast<float>(state->init_samples_required);
  }
  state->initialised = 1;
  return TRACKER_FILTERED;
}

int32_t process_sample(tracker_state* state, Sample& sample, float output[7]) {
  if (state->orientation_reset_pending == 1) {
    reset_orientation_local(state);  // the sample is discarded: the output is the quaternion that was given
    state->orientation_reset_pending = 0;
    state->initialised = 1;
    return TRACKER_RESET;
  }
  if (state->initialised != 0) {
    filter_sample(state, sample, output);
    return TRACKER_FILTERED;
  }
  return collect_sample(state, sample);
}

void add_to(float sum[3], const float value[3]) {
  for (int i = 0; i < 3; ++i) {
    sum[i] += value[i];
  }
}

/// Starts the collection anew, but only if it had begun: magnetometer samples of a unit that has not been
/// still yet stay in the sum, and the first heading is the mean over them, too.
void abandon_collection(tracker_state* state) {
  constexpr float kZero[3] = {};
  if (state->still_count > 0) {
    state->still_count = 0;
    state->mag_init_count = 0;
    arrays::copy<3>(kZero, state->accel_sum);
    arrays::copy<3>(kZero, state->mag_sum);
  }
}

}  // namespace

int32_t add_to_tracker_buffer(tracker_state* state, const float accelerometer[3], const float gyroscope[3],
                              const float* magnetometer) {
  if (state->buffer_free < 1) {
    return 0;
  }
  const int32_t slot = state->buffer_write_index;
  for (int i = 0; i < 3; ++i) {
    state->buffer[kAccel + i][slot] = accelerometer[i];
    state->buffer[kGyro + i][slot] = gyroscope[i];
    state->buffer[kMag + i][slot] = magnetometer != nullptr ? magnetometer[i] : 0.0F;
  }
  state->buffer[kMagPresent][slot] = magnetometer != nullptr ? 1.0F : 0.0F;
  state->buffer_write_index = next_slot(state, slot);
  state->buffer_free -= 1;
  return 1;
}

int32_t run_tracker(tracker_state* state, float output[7]) {
  if (state->buffer_free >= state->buffer_capacity) {
    return TRACKER_NO_SAMPLE;
  }
  Sample sample = read_sample(state, state->buffer_read_index);
  state->buffer_read_index = next_slot(state, state->buffer_read_index);
  state->buffer_free += 1;
  const int32_t status = process_sample(state, sample, output);
  arrays::copy<4>(state->q, output);
  return status;
}

bool is_ready_to_initialize(tracker_state* state, const float accelerometer[3], const float gyroscope[3],
                            const float* magnetometer) {
  if (magnetometer != nullptr) {
    add_to(state->mag_sum, magnetometer);
    state->mag_init_count += 1;
  }
  const float accel_norm = std::sqrt(arrays::squared_norm<3>(accelerometer));
  const float gyro_norm = std::sqrt(arrays::squared_norm<3>(gyroscope));
  if (state->motionless_thresh[1] > std::fabs(accel_norm - 1.0F) && state->motionless_thresh[2] > gyro_norm) {
    add_to(state->accel_sum, accelerometer);
    state->still_count += 1;
  } else {
    abandon_collection(state);
  }
  return state->still_count == state->init_samples_required;
}
