// The orientation channel: accelerometer and gyroscope series through the orientation tracker.
#pragma once

#include <atomic>
#include <cstdint>

#include "reader/orientation_problem.h"
#include "reader/recording_model.h"
#include "reader/watch.h"

namespace vortena {

/// Makes the entry under kQuaternionKey that fill_orientation() fills: 4 axes, W X Y Z, as many samples as the shorter
/// of the two inputs, and the accelerometer's time stamps. An entry that already stands there with the same shape is
/// taken. After a problem the map is unchanged.
OrientationProblem prepare_orientation(const kiv_Config& config, SensorMap* sensors);

/// Fills the entry that prepare_orientation() made: body to earth with z up. Samples before the tracker found its
/// motionless start, and always the last one, are four zeros. No other entry of the map is touched. `ready`, where
/// given, counts the samples that stand, so that another thread may use them while more are computed. kNone or
/// kStopped.
OrientationProblem fill_orientation(const kiv_Config& config, SensorMap* sensors, Watch* watch = nullptr,
                                    std::atomic<std::uint64_t>* ready = nullptr);

/// Both. False, with the map unchanged, for a null argument and for every problem.
bool kiv_computeQuaternion(kiv_Config* config, SensorMap* sensors);

}  // namespace vortena
