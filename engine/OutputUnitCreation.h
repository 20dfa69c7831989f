#pragma once
// Builds the output unit for a track, in a fixed order of steps. Player's thread.

#include <memory>

#include "engine/AudioPlayerError.h"
#include "engine/PreparedAudio.h"
#include "platform/AudioHardware.h"
#include "platform/AudioOutputUnit.h"

namespace tolvane {

/// An initialized unit on this device that pulls `source` in the track's own format; after a failure no unit is left.
/// `deliveries`, which may be null, records what the unit hands to the device. REQUIRES: the object behind `source`
/// outlives the unit.
[[nodiscard]] Result<std::unique_ptr<AudioOutputUnit>> createOutputUnit(AudioHardware& hardware, AudioObjectID deviceID,
                                                                        const PreparedAudio& track,
                                                                        AURenderCallback source,
                                                                        std::shared_ptr<DeliveryRecord> deliveries,
                                                                        bool prefersHighQualityConversion);

}  // namespace tolvane
