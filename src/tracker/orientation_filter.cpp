// The orientation filter on the tracker's record: what the formulas need is read from its fields, and every
// intermediate quantity is left in filter_work.
#include <cmath>

#include "tracker/orientation_step.h"
#include "tracker/tracker.h"

namespace {

using namespace vortena::tracker;

/// Disturbed when the magnitude is off, else when the dip angle is.
bool is_disturbed(const tracker_state* state, float field_norm, Row e) {
  const float dip = std::atan(e[2] / std::sqrt(e[0] * e[0] + e[1] * e[1]));
  return std::fabs(field_norm - state->mag_norm_reference) > state->mag_norm_tolerance ||
         std::fabs(state->deg_per_rad * std::fabs(dip) - state->mag_dip_reference) > state->mag_dip_tolerance;
}

/// Corrects the record by a measured direction; P is that before the correction.
template <typename Jacobian>
[[gnu::always_inline]] inline void correct(tracker_state* state, const Prediction<Jacobian>& prediction, Row innovation,
                                           const Rows<4>& P, const Rows<3>& R) {
  tracker_filter_work& w = state->filter_work;
  const Estimate estimate = corrected(Estimate{load(w.q_predicted), P}, prediction.H, innovation, R);
  store_rows(estimate.P, state->P);
  store(estimate.q, state->q);
  store(estimate.q, w.q_predicted);  // a further correction continues from here
  store_rows(prediction.H.rows(), w.H);
  store3(prediction.h, w.h);
  store3(innovation, w.innovation);
}

}  // namespace

// Flattened: what one step hands to the next then stays in registers.
[[gnu::flatten]] void call_ekf_quaternion(tracker_state* state, float gyroscope[3], const float accelerometer[3],
                                          const float* magnetometer) {
  const Row rates_deg_s = vector3(gyroscope);
  state->accel_norm = norm<3>(vector3(accelerometer));
  const Row thresholds = vector3(state->motionless_thresh);
  const bool still = is_near_rest(thresholds, state->accel_norm, rates_deg_s) &&
                     is_steady(thresholds[0], state->accel_norm, norm<3>(vector3(state->linear_accel)));
  state->moving = still ? 0 : 1;
  store3(rates_deg_s / state->deg_per_rad, gyroscope);
  imu_ekf_quaternion_tracker(state, gyroscope, accelerometer, magnetometer);
}

void imu_ekf_quaternion_tracker(tracker_state* state, const float gyroscope[3], const float* accelerometer,
                                const float* magnetometer) {
  predict(state, gyroscope);
  if (accelerometer != nullptr) {
    run_accelerometer(state, accelerometer);
  }
  if (magnetometer != nullptr) {
    run_magnetometer_update(state, magnetometer);
  }
  if (accelerometer != nullptr) {
    store3(gravity_free(load(state->q), vector3(accelerometer)), state->linear_accel);
  }
}

void predict(tracker_state* state, const float gyroscope[3]) {
  tracker_filter_work& w = state->filter_work;
  const Estimate previous{load(state->q), load_rows<4>(state->P)};
  const Rows<4> Q = state->moving == 1 ? noise_of_motion().Q : load_rows<4>(state->Q);
  const Estimate estimate = predicted(previous, transition(vector3(gyroscope), state->half_dt), Q);
  store_rows(estimate.P, w.P_predicted);
  store(previous.q, w.q_previous);
  store(estimate.q, w.q_predicted);
  store(estimate.q, state->q);
  store3(vector3(gyroscope), w.rates);
}

void run_accelerometer(tracker_state* state, const float accelerometer[3]) {
  const tracker_filter_work& w = state->filter_work;
  const Prediction gravity = predict_gravity(load(w.q_predicted));
  const Rows<3> R = state->moving == 1 ? noise_of_motion().R : load_3x3(state->R_acc);
  // As measured, not normalised: what its length is off 1 g pulls almost along q, and goes with the normalisation.
  const Row innovation = vector3(accelerometer) - gravity.h;
  correct(state, gravity, innovation, load_rows<4>(w.P_predicted), R);
}

void run_magnetometer_update(tracker_state* state, const float magnetometer[3]) {
  const Row q = load(state->filter_work.q_predicted);
  const Row measured = vector3(magnetometer);
  const float magnitude = norm<3>(measured);
  const Row m = measured / magnitude;
  const Prediction field = predict_field(q, reference_field(q, m));
  const bool disturbed = is_disturbed(state, magnitude, turned(q, m));
  state->mag_disturbed_count += disturbed ? 1.0F : 0.0F;
  state->mag_total_count += 1.0F;
  // A disturbed sample measures what was predicted: q stays, P still shrinks.
  const Row innovation = (disturbed ? field.h : m) - field.h;
  correct(state, field, innovation, load_rows<4>(state->P), load_3x3(state->R_mag));
}
