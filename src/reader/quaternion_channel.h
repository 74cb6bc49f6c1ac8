// The orientation channel: accelerometer and gyroscope series through the orientation tracker.
#pragma once

#include "reader/recording_model.h"

namespace vortena {

/// Adds the orientation of every sample under kQuaternionKey: 4 axes, W X Y Z, body to earth with z up, and
/// the accelerometer's time stamps. Samples before the tracker found its motionless start, and always the
/// last one, are four zeros. An entry that already stands under the key with the same shape is overwritten in
/// place. Returns false, with the map unchanged, when an argument is null, a series is missing, empty or not
/// of 3 axes, the two sampling frequencies differ, or an entry of another shape stands under the key.
bool kiv_computeQuaternion(kiv_Config* config, SensorMap* sensors);

}  // namespace vortena
