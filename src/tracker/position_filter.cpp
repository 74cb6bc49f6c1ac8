// Kalman filter of position and velocity in the earth frame, with velocity forced to zero while the unit is
// motionless.
#include <cmath>

#include "tracker/fixed_matrix.h"
#include "tracker/tracker.h"

namespace {

namespace arrays = vortena::tracker::arrays;

constexpr float kGravity = 9.806F;  // m/s^2 per g
constexpr float kProcessNoise = 4e-6F;
constexpr float kVelocityRetention = 0.98F;  // per sample, while moving
constexpr float kPositionBound = 1e9F;
constexpr float kVelocityLimit = 100.0F;
constexpr float kVelocityReplacement = 90.0F;  // below the limit: what ran past it comes back

/// Position takes in velocity times dt; the velocity rows are zero while motionless (zero-velocity update).
void set_transition(const tracker_state* state, float (&F)[6][6]) {
  arrays::set_diagonal<6>(F, 1.0F);
  for (int i = 0; i < 3; ++i) {
    F[i][3 + i] = state->dt;
    F[3 + i][3 + i] = state->moving != 0 ? 1.0F : 0.0F;
  }
}

/// Moving, the velocity decays a little; motionless, it is zero.
void retain_velocity(tracker_state* state) {
  for (int i = 3; i < 6; ++i) {
    state->position_state[i] = state->moving != 0 ? state->position_state[i] * kVelocityRetention : 0.0F;
  }
}

void predict_state(tracker_state* state, const float acceleration[3]) {
  const float dt = state->dt;
  for (int i = 0; i < 3; ++i) {
    const float u = state->moving != 0 ? kGravity * acceleration[i] : 0.0F;
    const float position = state->position_state[i];
    const float velocity = state->position_state[3 + i];
    state->filter_work.position_predicted[i] = position + dt * velocity + 0.5F * dt * dt * u;
    state->filter_work.position_predicted[3 + i] = velocity + dt * u;
  }
}

void predict_covariance(tracker_state* state) {
  tracker_filter_work& w = state->filter_work;
  float FP[6][6];
  float Q[6][6];
  set_transition(state, w.F_pos);
  matrix_mult_6_6_6_6(w.F_pos[0], state->P_pos[0], FP[0]);
  arrays::multiply_transposed<6, 6, 6>(FP, w.F_pos, w.P_pos_predicted);
  arrays::set_diagonal<6>(Q, kProcessNoise);
  arrays::add<6, 6>(w.P_pos_predicted, Q);
}

/// One update with H = I. The measurement is the state as it entered the prediction, velocity already
/// retained, so it pulls the prediction back; the values given to reset_position stay the caller's record.
void measure_previous_state(tracker_state* state) {
  tracker_filter_work& w = state->filter_work;
  float S[6][6];
  arrays::copy(w.P_pos_predicted, S);
  arrays::add<6, 6>(S, state->R_pos);
  inverseM_magneto(S[0], w.S_pos_inverse[0]);
  matrix_mult_6_6_6_6(w.P_pos_predicted[0], w.S_pos_inverse[0], w.K_pos[0]);
  float innovation[6];
  float correction[6];
  for (int i = 0; i < 6; ++i) {
    innovation[i] = state->position_state[i] - w.position_predicted[i];
  }
  arrays::multiply<6, 6, 1, 6, 1, 1>(w.K_pos[0], innovation, correction);
  float I_K[6][6];
  arrays::set_diagonal<6>(I_K, 1.0F);
  for (int r = 0; r < 6; ++r) {
    state->position_state[r] = w.position_predicted[r] + correction[r];
    for (int c = 0; c < 6; ++c) {
      I_K[r][c] -= w.K_pos[r][c];
    }
  }
  matrix_mult_6_6_6_6(I_K[0], w.P_pos_predicted[0], state->P_pos[0]);
  state->position_reset_pending = 0;
}

/// Keeps runaway integration finite; non-numbers pass.
void bound_state(float state[6]) {
  for (int i = 0; i < 3; ++i) {
    if (std::fabs(state[i]) > kPositionBound) {
      state[i] = std::copysign(kPositionBound, state[i]);
    }
    if (std::fabs(state[3 + i]) > kVelocityLimit) {
      state[3 + i] = std::copysign(kVelocityReplacement, state[3 + i]);
    }
  }
}

}  // namespace

void run_position_Kalman_filter(tracker_state* state, const float acceleration[3]) {
  retain_velocity(state);
  predict_state(state, acceleration);
  predict_covariance(state);
  if (state->position_reset_pending == 1) {
    measure_previous_state(state);
  } else {
    arrays::copy<6>(state->filter_work.position_predicted, state->position_state);
    arrays::copy(state->filter_work.P_pos_predicted, state->P_pos);
  }
  bound_state(state->position_state);
}

void apply_localization(tracker_state* state, float output[7]) {
  if (state->position_enabled == 1) {
    run_position_Kalman_filter(state, state->linear_accel);
    arrays::copy<3>(state->position_state, output + 4);
  }
}
