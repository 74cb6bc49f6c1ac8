// The orientation channel: accelerometer and gyroscope series through the orientation tracker.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "reader/decoding/recording_model.h"
#include "reader/orientation_problem.h"
#include "system/large_array.h"
#include "system/watch.h"
#include "tracker/tracker.h"

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

/// A tracker with the settings for recordings of worn units.
std::unique_ptr<tracker_state> make_tracker(std::int32_t rate_hz);

/// Why a map allows no orientation; kNone when it does.
OrientationProblem find_orientation_problem(const kiv_Config& config, const SensorMap& sensors);

/// The values that fill_orientation() would fill in, in single precision, which is what they are computed in. Of the
/// two inputs, which find_orientation_problem() found nothing about, only the values count. kNone or kStopped.
OrientationProblem fill_narrow_orientation(std::int32_t rate_hz, const kiv_DataSensor& accel,
                                           const kiv_DataSensor& gyro, LargeArray<float>* quaternion,
                                           Watch* watch = nullptr);

/// Both. False, with the map unchanged, for a null argument and for every problem.
bool kiv_computeQuaternion(kiv_Config* config, SensorMap* sensors);

}  // namespace vortena
