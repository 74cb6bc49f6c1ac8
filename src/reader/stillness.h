// What the orientation filter takes for a unit at rest; the quality report judges stillness by the same limits.
#pragma once

namespace vortena {

inline constexpr double kStillAccelErrorG = 0.1;  ///< of the acceleration's magnitude, off 1 g
inline constexpr double kStillRateDegS = 15;

}  // namespace vortena
