#include "smoother/grid_smoother.h"

#include <algorithm>
#include <cmath>

namespace vortena::smoother {
namespace {

constexpr std::size_t kBlock = 64;  // nodes between checkpoints
constexpr double kUpSeconds = 8;    // that the first direction of gravity is taken from

/// Rows of a block plus the transpose of M times the rows of another, in a symmetric matrix.
void add_transposed(const Mat3& M, std::size_t from, std::size_t to, StateMatrix* L) {
  for (std::size_t r = 0; r < 3; ++r) {
    for (std::size_t k = 0; k < 3; ++k) {
      for (std::size_t c = 0; c < kStates; ++c) {
        (*L)[to + r][c] += M.row[k][r] * (*L)[from + k][c];
      }
    }
  }
  for (std::size_t row = 0; row < kStates; ++row) {
    for (std::size_t r = 0; r < 3; ++r) {
      for (std::size_t k = 0; k < 3; ++k) {
        (*L)[row][to + r] += M.row[k][r] * (*L)[row][from + k];
      }
    }
  }
}

void add_transposed(const Mat3& M, std::size_t from, std::size_t to, StateVector* l) {
  for (std::size_t r = 0; r < 3; ++r) {
    for (std::size_t k = 0; k < 3; ++k) {
      (*l)[to + r] += M.row[k][r] * (*l)[from + k];
    }
  }
}

void clear(std::size_t element, StateVector* l, StateMatrix* L) {
  (*l)[element] = 0;
  (*L)[element].fill(0);
  for (StateVector& row : *L) {
    row[element] = 0;
  }
}

/// a L a, of a symmetric L.
double quadratic(const StateVector& a, const StateMatrix& L) {
  double sum = 0;
  for (std::size_t r = 0; r < kStates; ++r) {
    double row = 0;
    for (std::size_t c = 0; c < kStates; ++c) {
      row += L[r][c] * a[c];
    }
    sum += a[r] * row;
  }
  return sum;
}

double dot(const StateVector& a, const StateVector& b) {
  double sum = 0;
  for (std::size_t k = 0; k < kStates; ++k) {
    sum += a[k] * b[k];
  }
  return sum;
}

Quaternion widened(const std::array<float, 4>& q) {
  return {q[0], q[1], q[2], q[3]};
}

}  // namespace

/// Mean direction of the specific force over the next seconds, in the frame of the interval's start.
Vec3 GridSmoother::find_up(std::size_t interval) const {
  Quaternion q;
  Vec3 sum{};
  double seconds = 0;
  for (std::size_t i = interval; i < intervals_.size() && seconds < kUpSeconds; ++i) {
    const Interval& at = intervals_[i];
    if (i > interval && at.after_gap) {
      break;
    }
    sum += matrix(q) * Vec3{at.velocity[0], at.velocity[1], at.velocity[2]};
    q = q * widened(at.turn);
    seconds += at.seconds;
  }
  const double length = norm(sum);
  return length > 0 ? (1 / length) * sum : Vec3{0, 0, 1};
}

/// At the start and behind gaps: the attitude before, turned least to make gravity vertical.
Quaternion GridSmoother::first_attitude(std::size_t interval) const {
  const Vec3 up = find_up(interval);
  Quaternion before;
  if (interval > 0) {
    before = end_attitude(intervals_[interval - 1], nodes_[interval - 1]) * widened(intervals_[interval].gap_turn);
  }
  return normalised(smallest_turn(matrix(before) * up, {0, 0, 1}) * before);
}

/// Takes the estimated error into the nominal attitude, and goes on from there.
void GridSmoother::filter_first_round(std::size_t i, Estimate* estimate) {
  Corrections corrections;
  correct(intervals_[i], estimate, &corrections);
  const Vec3 own_error = block_of(estimate->x, kAttitude);
  nodes_[i].nominal = normalised(exponential(own_error) * nodes_[i].nominal);
  add_to_block(-1 * own_error, kAttitude, &estimate->x);
  if (i % kBlock == 0) {
    add_to_block(-1 * own_error, kAttitude, &checkpoints_.back().x);
  }
  if (i + 1 == intervals_.size()) {
    return;
  }
  Node next;
  next.nominal = intervals_[i + 1].after_gap ? first_attitude(i + 1) : end_attitude(intervals_[i], nodes_[i]);
  Transition F = transition(intervals_[i], nodes_[i], intervals_[i + 1], next, integrated_scale_);
  if (!F.after_gap) {
    const Vec3 error = attitude_error(F, estimate->x);
    next.nominal = normalised(exponential(error) * next.nominal);
    shift_next_nominal(error, intervals_[i], nodes_[i], &F);
  }
  predict(F, estimate);
  nodes_.push_back(next);
}

bool GridSmoother::filter(const std::function<bool(double)>& goes_on) {
  Estimate estimate = first_estimate();
  Corrections corrections;
  checkpoints_.clear();
  if (first_round_) {
    nodes_.assign(1, Node{});
    nodes_[0].nominal = first_attitude(0);
  }
  for (std::size_t i = 0; i < intervals_.size(); ++i) {
    if (i % kBlock == 0) {
      checkpoints_.push_back(estimate);
      if (!goes_on(static_cast<double>(i) / static_cast<double>(2 * intervals_.size()))) {
        return false;
      }
    }
    if (first_round_) {
      filter_first_round(i, &estimate);
      continue;
    }
    correct(intervals_[i], &estimate, &corrections);
    if (i + 1 < intervals_.size()) {
      predict(transition(intervals_[i], nodes_[i], intervals_[i + 1], nodes_[i + 1], integrated_scale_), &estimate);
    }
  }
  return true;
}

void GridSmoother::filter_block(std::size_t first, std::size_t end) {
  Estimate estimate = checkpoints_[first / kBlock];
  for (std::size_t i = first; i < end; ++i) {
    Step& step = block_[i - first];
    correct(intervals_[i], &estimate, &step.corrections);
    step.estimate = estimate;
    if (i + 1 < intervals_.size()) {
      const Node& next = i + 1 < end ? nodes_[i + 1] : behind_block_;
      step.to_next = transition(intervals_[i], nodes_[i], intervals_[i + 1], next, integrated_scale_);
      predict(step.to_next, &estimate);
    }
  }
}

void GridSmoother::through_transition(const Transition& F, bool with_uncertainty, Adjoint* adjoint) {
  StateVector& lambda = adjoint->lambda;
  StateMatrix& Lambda = adjoint->Lambda;
  if (F.after_gap) {
    for (const std::size_t element : {kAttitude, kAttitude + 1, kVelocity, kVelocity + 1, kVelocity + 2}) {
      clear(element, &lambda, &Lambda);
    }
    return;
  }
  const auto add = [&](const Mat3& M, std::size_t from, std::size_t to) {
    add_transposed(M, from, to, &lambda);
    if (with_uncertainty) {
      add_transposed(M, from, to, &Lambda);
    }
  };
  add(-1 * cross_matrix(F.force), kVelocity, kAttitude);
  add(-1 * F.by_accel_offset, kVelocity, kAccelOffset);
  add(F.by_usual, kVelocity, kUsualVelocity);
  add(F.by_offset, kAttitude, kGyroOffset);
  for (std::size_t j = 0; j < 3; ++j) {
    add(F.by_scale[j], kAttitude, kGyroScale + 3 * j);
  }
}

void GridSmoother::through_correction(const Correction& correction, bool with_uncertainty, Adjoint* adjoint) {
  const std::size_t e = correction.element;
  adjoint->lambda[e] += correction.scaled_innovation - dot(correction.K, adjoint->lambda);
  if (!with_uncertainty) {
    return;
  }
  StateMatrix& Lambda = adjoint->Lambda;
  StateVector Lambda_K{};
  for (std::size_t r = 0; r < kStates; ++r) {
    Lambda_K[r] = dot(Lambda[r], correction.K);
  }
  for (std::size_t r = 0; r < kStates; ++r) {
    Lambda[r][e] -= Lambda_K[r];
    Lambda[e][r] -= Lambda_K[r];
  }
  Lambda[e][e] += dot(Lambda_K, correction.K) + 1 / correction.S;
}

void GridSmoother::smooth_node(std::size_t i, const Step& step, bool with_uncertainty) {
  const Estimate& estimate = step.estimate;
  StateVector x = estimate.x;
  for (std::size_t r = 0; r < kStates; ++r) {
    x[r] += dot(estimate.P[r], adjoint_.lambda);
  }
  Node& node = nodes_[i];
  node.nominal = normalised(exponential(block_of(x, kAttitude)) * node.nominal);
  node.offset = block_of(x, kGyroOffset);
  const auto variance = [&](std::size_t element) {
    return std::max(0.0, estimate.P[element][element] - quadratic(estimate.P[element], adjoint_.Lambda));
  };
  if (with_uncertainty) {
    node.inclination_error = static_cast<float>(std::sqrt(variance(kAttitude) + variance(kAttitude + 1)));
  }
  if (i > 0) {
    return;
  }
  for (std::size_t k = 0; k < 3; ++k) {
    constants_.accel_offset[k] = x[kAccelOffset + k];
    constants_.accel_offset_sigma[k] = std::sqrt(variance(kAccelOffset + k));
    for (std::size_t j = 0; j < 3; ++j) {
      constants_.gyro_scale.row[k][j] = x[kGyroScale + 3 * j + k];
      constants_.gyro_scale_sigma.row[k][j] = std::sqrt(variance(kGyroScale + 3 * j + k));
    }
  }
}

double GridSmoother::largest_correction() const {
  double largest = 0;
  for (std::size_t i = 0; i + 1 < intervals_.size(); ++i) {
    if (!intervals_[i + 1].after_gap) {
      const Quaternion end = end_attitude(intervals_[i], nodes_[i]);
      largest = std::max(largest, norm(rotation_vector(end * conjugate(nodes_[i + 1].nominal))));
    }
  }
  return largest;
}

Vec3 GridSmoother::closing_error(std::size_t i) const {
  const Transition F = transition(intervals_[i], nodes_[i], intervals_[i + 1], nodes_[i + 1], integrated_scale_);
  StateVector x{};
  add_to_block(nodes_[i].offset, kGyroOffset, &x);
  for (std::size_t j = 0; j < 3; ++j) {
    const Mat3& scale = constants_.gyro_scale;
    add_to_block({scale.row[0][j], scale.row[1][j], scale.row[2][j]}, kGyroScale + 3 * j, &x);
  }
  return -1 * attitude_error(F, x);
}

bool GridSmoother::run(bool with_uncertainty, const std::function<bool(double)>& goes_on) {
  if (!filter(goes_on)) {
    return false;
  }
  block_.resize(std::min(kBlock, intervals_.size()));
  adjoint_ = {};
  for (std::size_t end = intervals_.size(); end > 0;) {
    const std::size_t first = (end - 1) / kBlock * kBlock;
    filter_block(first, end);
    behind_block_ = nodes_[first];
    for (std::size_t i = end; i-- > first;) {
      const Step& step = block_[i - first];
      if (i + 1 < intervals_.size()) {
        through_transition(step.to_next, with_uncertainty, &adjoint_);
      }
      smooth_node(i, step, with_uncertainty);
      for (std::size_t k = step.corrections.count; k-- > 0;) {
        through_correction(step.corrections.at[k], with_uncertainty, &adjoint_);
      }
    }
    end = first;
    if (!goes_on(1 - static_cast<double>(end) / static_cast<double>(2 * intervals_.size()))) {
      return false;
    }
  }
  first_round_ = false;
  checkpoints_.clear();
  return true;
}

}  // namespace vortena::smoother
