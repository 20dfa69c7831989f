#pragma once
// The commands of tolvane-probe. Player's thread, which is the process's main thread; each prints its lines and
// returns when it is done.

#include <span>
#include <string>

#include "engine/TrackPreparation.h"
#include "platform/AudioHardware.h"
#include "tools/ProbeArguments.h"
#include "tools/ProbeOutput.h"

namespace tolvane {

/// The location of a file named on the command line.
[[nodiscard]] FileURL fileURLFromArgument(const std::string& argument);

/// One line a file, or track of a playlist: the stream, its length and the SHA-256 of its block, or the error.
void prepareFiles(std::span<const std::string> files, AudioFileServices& services, ProbeOutput& output);

/// One line a file: its duration and the loudness that its picture shows, or the error.
void printWaveforms(std::span<const std::string> files, AudioFileServices& services, ProbeOutput& output);

/// One line a supported audio file among the paths and in their folders, in the order of a playlist; an error for a
/// path where there is nothing.
void discoverFiles(std::span<const std::string> paths, ProbeOutput& output);

/// One line a device.
void listDevices(const AudioHardware& hardware, ProbeOutput& output);

/// The device of this name, id or identity; kAudioObjectUnknown when there is none.
[[nodiscard]] AudioObjectID findDevice(const AudioHardware& hardware, const std::string& wanted);

}  // namespace tolvane
