// Creation, settings and resets of the tracker's record, and its first quaternion.
#include <cmath>

#include "tracker/fixed_matrix.h"
#include "tracker/tracker.h"

namespace {

namespace arrays = vortena::tracker::arrays;

constexpr float kInitialCovariance = 0.0001F;
constexpr float kResetCovariance = 0.001F;
constexpr float kPositionCovariance = 0.1F;
constexpr float kTuning[6] = {0.0F, 0.0F, 1.0F, 0.006F, 0.06F, 0.3F};
constexpr float kMotionlessThresholds[3] = {1.006F, 0.06F, 18.0F};
constexpr float kDegreesPerRadian = 57.2957763671875F;

void set_default_noise(tracker_state* state) {
  arrays::set_diagonal<4>(state->Q, 1e-5F);
  arrays::set_diagonal<3>(state->R_acc, 0.001F);
  arrays::set_diagonal<3>(state->R_mag, 0.004F);
  arrays::set_diagonal<6>(state->R_pos, 0.001F);
}

void set_default_layout(tracker_state* state) {
  state->buffer_capacity = TRACKER_BUFFER_SLOTS;
  state->buffer_free = TRACKER_BUFFER_SLOTS;
  for (int32_t axis = 0; axis < TRACKER_SENSOR_AXES; ++axis) {
    state->axis_map[axis] = axis;
    state->axis_sign[axis] = 1;
  }
}

void set_default_magnetometer(tracker_state* state) {
  state->mag_dip_tolerance = 10.0F;
  state->mag_norm_tolerance = 5.0F;
  state->mag_dip_reference = 75.4F;
  state->mag_norm_reference = 23.0F;
}

/// A rotation that takes the measured gravity onto earth z: the smallest one while z points up, the one without a y
/// component while it points down. Each branch stays well away from its singularity.
void quaternion_of_gravity(const float gravity_in_body[3], float q[4]) {
  const float ax = gravity_in_body[0], ay = gravity_in_body[1], az = gravity_in_body[2];
  if (az >= 0.0F) {
    const float divisor = std::sqrt(2.0F * (az + 1.0F));
    q[0] = std::sqrt((az + 1.0F) / 2.0F);
    q[1] = ay / divisor;
    q[2] = -ax / divisor;
    q[3] = 0.0F;
  } else {
    const float divisor = std::sqrt(2.0F * (1.0F - az));
    q[0] = ay / divisor;
    q[1] = std::sqrt((1.0F - az) / 2.0F);
    q[2] = 0.0F;
    q[3] = ax / divisor;
  }
}

/// Rotation about z by the horizontal direction (lx, ly) of the field.
void quaternion_of_field(float lx, float ly, float q[4]) {
  const float gamma = lx * lx + ly * ly;
  const float along = lx * std::sqrt(gamma);
  q[1] = 0.0F;
  q[2] = 0.0F;
  if (lx >= 0.0F) {
    q[0] = std::sqrt((gamma + along) / (2.0F * gamma));
    q[3] = ly / std::sqrt(2.0F * (gamma + along));
  } else {
    q[0] = ly / std::sqrt(2.0F * (gamma - along));
    q[3] = std::sqrt((gamma - along) / (2.0F * gamma));
  }
}

}  // namespace

uint64_t get_tracker_size(void) {
  return sizeof(tracker_state);
}

void init_tracker(tracker_state* state, int32_t rate, int32_t position_enabled) {
  *state = tracker_state{};
  state->q[0] = 1.0F;
  arrays::set_diagonal<4>(state->P, kInitialCovariance);
  arrays::copy<6>(kTuning, state->tuning);
  const auto samples_per_second = static_cast<float>(rate);
  state->half_dt = 0.5F / samples_per_second;
  state->dt = 1.0F / samples_per_second;
  arrays::copy<3>(kMotionlessThresholds, state->motionless_thresh);
  state->deg_per_rad = kDegreesPerRadian;
  state->position_enabled = position_enabled;
  state->init_samples_required = 5;
  set_default_layout(state);
  set_default_noise(state);
  set_default_magnetometer(state);
  if (position_enabled != 0) {
    arrays::set_diagonal<6>(state->P_pos, kPositionCovariance);
  }
}

void reset_tracker(tracker_state* state, int32_t rate, int32_t position_enabled) {
  init_tracker(state, rate, position_enabled);
}

void set_quaternion_process_noise_cov_matrix(tracker_state* state, const float Q[16]) {
  arrays::set_packed<4, 4>(state->Q, Q);
}

void set_imu_quaternion_observation_noise_cov_matrix(tracker_state* state, const float R_acc[9], const float R_mag[9]) {
  arrays::set_packed<3, 3>(state->R_acc, R_acc);
  arrays::set_packed<3, 3>(state->R_mag, R_mag);
}

void set_position_observation_noise_cov_matrix(tracker_state* state, const float R_pos[36]) {
  arrays::set_packed<6, 6>(state->R_pos, R_pos);
}

void set_motionless_thresh(tracker_state* state, const float thresholds[3]) {
  arrays::copy<3>(thresholds, state->motionless_thresh);
}

void set_initial_quaternion(tracker_state* state) {
  float gravity[3];
  for (int i = 0; i < 3; ++i) {
    gravity[i] = state->accel_sum[i] / static_cast<float>(state->init_samples_required);
  }
  const float norm = std::sqrt(arrays::squared_norm<3>(gravity));
  for (float& component : gravity) {
    component /= norm;
  }
  float q_acc[4];
  quaternion_of_gravity(gravity, q_acc);

  float q_mag[4] = {1.0F, 0.0F, 0.0F, 0.0F};
  if (state->mag_sum[0] != 0.0F || state->mag_sum[1] != 0.0F || state->mag_sum[2] != 0.0F) {
    // The field is taken as measured in the body frame, without levelling it by q_acc first: the first heading has the
    // opposite sign, and of a unit that is not level the tilt is wrong, until the filter has mended both.
    const auto count = static_cast<float>(state->mag_init_count);
    quaternion_of_field(state->mag_sum[0] / count, state->mag_sum[1] / count, q_mag);
  }
  normalize_quaternion(q_mag, 4);
  quaternion_product(q_acc, q_mag, state->q);
}

void reset_orientation(tracker_state* state, const float* quaternion) {
  if (quaternion == nullptr) {
    return;
  }
  arrays::copy<4>(quaternion, state->reset_quaternion);
  state->orientation_reset_pending = 1;
}

void reset_orientation_local(tracker_state* state) {
  arrays::copy<4>(state->reset_quaternion, state->q);
  arrays::set_diagonal<4>(state->P, kResetCovariance);
}

void reset_position(tracker_state* state, const float position[3], const float* velocity) {
  arrays::set_diagonal<6>(state->P_pos, kPositionCovariance);
  arrays::copy<3>(position, state->initial_position);
  if (velocity != nullptr) {
    arrays::copy<3>(velocity, state->initial_velocity);
  }
  state->position_reset_pending = 1;
}

float get_percent_disturb_magnetometer_data(const tracker_state* state) {
  return 100.0F * state->mag_disturbed_count / state->mag_total_count;
}
