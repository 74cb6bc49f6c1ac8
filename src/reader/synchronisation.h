// Several recordings onto one time line; docs/synchronisation.md tells what a user sees of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "reader/decoding/recording_model.h"
#include "reader/recording.h"
#include "system/watch.h"

namespace vortena {

enum class SyncProblem : std::uint8_t {
  kNone,
  kTooFewRecordings,  ///< fewer than two, or not as many maps as configurations
  kNullRecording,
  kRadioSettings,    ///< not exactly one master, or different radio channels
  kNoRadioTimes,     ///< a unit that is not the master, of a set on radio times, has none
  kNoCommonChannel,  ///< no synchronised channel that all recordings hold
  kNoSamples,        ///< a common channel without samples
  kStopped,          ///< its watch wanted it to stop
};

/// Where the recordings' clocks were compared; the first recording decides.
enum class TimeSource : std::uint8_t { kNone, kSchedule, kRadioParameters, kRadioTimes };

/// How a set came, or did not come, onto one clock.
struct SyncReport {
  SyncProblem problem = SyncProblem::kNone;
  std::size_t recording = 0;         ///< that the problem is about: of kNoRadioTimes and kNoSamples
  int masters = 0;                   ///< with a radio source
  bool radio_channels_agree = true;  ///< with a radio source
  TimeSource source = TimeSource::kNone;
  std::vector<ChannelKey> keys;             ///< of the synchronised channels that all recordings hold
  std::vector<std::vector<double>> shifts;  ///< s, added to the time stamps: per recording and key
  double start = 0;                         ///< of the common span, s on the common clock
  double duration = 0;                      ///< s
};

/// The diagnostic line of a problem, with its line feed; empty for those that have none.
std::string sync_message(const SyncReport& report);

/// Shifts the channels that all recordings share onto a common clock and cuts them to their common span, in place: no
/// series is copied. Afterwards each map holds these channels, and the one-byte channel where it has samples in the
/// span; after a problem, what had become of them. Prints nothing.
SyncReport synchronise(std::span<Recording> set, Watch* watch = nullptr);

/// Sensor maps that kiv_sync allocated, freed with this object whatever the result was.
struct SynchronisedMaps {
  std::vector<SensorMap*> maps;

  SynchronisedMaps() = default;
  ~SynchronisedMaps();
  SynchronisedMaps(const SynchronisedMaps&) = delete;
  SynchronisedMaps& operator=(const SynchronisedMaps&) = delete;
  SynchronisedMaps(SynchronisedMaps&&) = delete;
  SynchronisedMaps& operator=(SynchronisedMaps&&) = delete;
};

/// Copies the channels that all recordings share, shifts each recording's time stamps onto a common clock and
/// cuts all to their common span. Entry i of `configs` and of `inputs` describe recording i; the inputs are
/// never changed.
///
/// `outputs` gets one newly allocated map per recording once the arguments are found in order, also when the
/// result is false; its former pointers are overwritten, not freed. The caller owns the maps: let a
/// SynchronisedMaps hold them.
///
/// False, with a line on standard error: fewer than two recordings or unequal counts; a null entry;
/// disagreeing radio channels or not exactly one master; a recording without radio times where these are the
/// time source. False, without a line: no channel common to all, or a common channel without samples.
bool kiv_sync(std::vector<SensorMap*>& outputs, const std::vector<kiv_Config*>& configs,
              const std::vector<SensorMap*>& inputs);

}  // namespace vortena
