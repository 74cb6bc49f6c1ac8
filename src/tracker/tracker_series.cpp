// A whole series through the tracker: one loop that keeps the filter's state out of the record.
#include "tracker/orientation_step.h"
#include "tracker/tracker.h"

namespace {

using namespace vortena::tracker;

/// Sample i of three axes that stand `stride` values apart, narrowed.
Row sample(const double* axes, std::size_t stride, std::size_t i) {
  return Row{static_cast<float>(axes[i]), static_cast<float>(axes[stride + i]),
             static_cast<float>(axes[2 * stride + i]), 0.0F};
}

void store_sample(Row q, const tracker_series& series, std::size_t i) {
  for (std::size_t k = 0; k < kLanes; ++k) {
    series.quaternion[k * series.stride + i] = static_cast<double>(q[k]);
  }
}

bool has_unchanged_axes(const tracker_state* state) {
  for (int32_t axis = 0; axis < TRACKER_SENSOR_AXES; ++axis) {
    if (state->axis_map[axis] != axis || state->axis_sign[axis] != 1) {
      return false;
    }
  }
  return true;
}

/// True when the next sample goes as it is into the orientation filter, and nowhere else.
bool only_filters(const tracker_state* state) {
  return state->initialised != 0 && state->orientation_reset_pending != 1 && state->position_enabled != 1 &&
         has_unchanged_axes(state);
}

void track_sample(tracker_state* state, const tracker_series& series, std::size_t i) {
  float output[7];
  float accelerometer[kLanes];
  float gyroscope[kLanes];
  store(sample(series.accelerometer, series.stride, i), accelerometer);
  store(sample(series.gyroscope, series.stride, i), gyroscope);
  add_to_tracker_buffer(state, accelerometer, gyroscope, nullptr);
  const bool has_orientation = run_tracker(state, output) != TRACKER_WAITING;
  store_sample(has_orientation ? load(output) : Row{}, series, i);
}

/// What filtering reads of the record and does not change.
struct Settings {
  Noise still, moving;
  Row thresholds;
  float half_dt, deg_per_rad;
};

Settings settings_of(const tracker_state* state) {
  return {{load_rows<4>(state->Q), load_3x3(state->R_acc)},
          noise_of_motion(),
          vector3(state->motionless_thresh),
          state->half_dt,
          state->deg_per_rad};
}

/// A filtered sample: what the next one needs, without the gravity-free acceleration, which follows from it.
struct Filtered {
  Estimate estimate;
  Row accel;
  float accel_norm;
  bool still;
};

/// True when the sample is steady in whatever attitude the previous one was: the gravity-free acceleration lies between
/// 0 and one more than the acceleration measured, if q has unit length.
bool is_steady_in_any_attitude(float threshold, float accel_norm, const Filtered& previous) {
  constexpr float kRoundingMargin = 1.0001F;
  const float largest = kRoundingMargin * (previous.accel_norm + 1.0F);
  return threshold > accel_norm && threshold > largest - accel_norm &&
         std::fabs(squared_norm<kLanes>(previous.estimate.q) - 1.0F) < 0.1F;
}

bool is_still(const Settings& settings, float accel_norm, Row rates_deg_s, const Filtered& previous) {
  const float threshold = settings.thresholds[0];
  return is_near_rest(settings.thresholds, accel_norm, rates_deg_s) &&
         (is_steady_in_any_attitude(threshold, accel_norm, previous) ||
          is_steady(threshold, accel_norm, norm<3>(gravity_free(previous.estimate.q, previous.accel))));
}

Filtered filtered(const Settings& settings, Row accel, Row rates_deg_s, const Filtered& previous) {
  const float accel_norm = norm<3>(accel);
  const bool still = is_still(settings, accel_norm, rates_deg_s, previous);
  const Noise& noise = still ? settings.still : settings.moving;
  const Transition F = transition(rates_deg_s / settings.deg_per_rad, settings.half_dt);
  const Estimate prediction = predicted(previous.estimate, F, noise.Q);
  const Prediction gravity = predict_gravity(prediction.q);
  return {corrected(prediction, gravity.H, accel - gravity.h, noise.R), accel, accel_norm, still};
}

void store_in_record(const Filtered& last, tracker_state* state) {
  store(last.estimate.q, state->q);
  store_rows(last.estimate.P, state->P);
  store3(gravity_free(last.estimate.q, last.accel), state->linear_accel);
  state->accel_norm = last.accel_norm;
  state->moving = last.still ? 0 : 1;
}

/// Samples first to end; the one before has been filtered, too. Flattened: what one sample hands to the next then stays
/// in registers.
[[gnu::flatten]] void filter_samples(tracker_state* state, const tracker_series& series, std::size_t first,
                                     std::size_t end) {
  const Settings settings = settings_of(state);
  Filtered last{{load(state->q), load_rows<4>(state->P)},
                sample(series.accelerometer, series.stride, first - 1),
                state->accel_norm,
                state->moving == 0};
  for (std::size_t i = first; i < end; ++i) {
    const Row accel = sample(series.accelerometer, series.stride, i);
    last = filtered(settings, accel, sample(series.gyroscope, series.stride, i), last);
    store_sample(last.estimate.q, series, i);
  }
  store_in_record(last, state);
}

}  // namespace

void run_tracker_series(tracker_state* state, const tracker_series* series, std::size_t first, std::size_t count) {
  float discarded[7];
  while (run_tracker(state, discarded) != TRACKER_NO_SAMPLE) {
  }
  const std::size_t end = first + count;
  std::size_t i = first;
  for (bool filtered = false; i < end && !filtered; ++i) {
    filtered = only_filters(state);
    track_sample(state, *series, i);
  }
  if (i < end) {
    filter_samples(state, *series, i, end);
  }
}
