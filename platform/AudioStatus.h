#pragma once
// Statuses of the device layer: signed 32-bit, 0 is success. The numbers are the ones that Core Audio gives to the
// same failures, because that is how the engine prints them ("… failed (Core Audio -50).").

#include <cstdint>

#include "platform/FourCharCode.h"

namespace tolvane {

using OSStatus = std::int32_t;

constexpr OSStatus noErr = 0;
constexpr OSStatus kAudio_ParamError = -50;

constexpr OSStatus statusFromCode(FourCharCode code) { return static_cast<OSStatus>(code); }

// Device objects (AudioHardware).
constexpr OSStatus kAudioHardwareNotRunningError = statusFromCode(fourCharCode("stop"));
constexpr OSStatus kAudioHardwareNotReadyError = statusFromCode(fourCharCode("nrdy"));  // its driver does not return
constexpr OSStatus kAudioHardwareUnspecifiedError = statusFromCode(fourCharCode("what"));
constexpr OSStatus kAudioHardwareUnknownPropertyError = statusFromCode(fourCharCode("who?"));
constexpr OSStatus kAudioHardwareBadPropertySizeError = statusFromCode(fourCharCode("!siz"));
constexpr OSStatus kAudioHardwareIllegalOperationError = statusFromCode(fourCharCode("nope"));
constexpr OSStatus kAudioHardwareBadObjectError = statusFromCode(fourCharCode("!obj"));
constexpr OSStatus kAudioHardwareBadDeviceError = statusFromCode(fourCharCode("!dev"));
constexpr OSStatus kAudioDeviceUnsupportedFormatError = statusFromCode(fourCharCode("!dat"));
constexpr OSStatus kAudioDevicePermissionsError = statusFromCode(fourCharCode("!hog"));

// Output units (AudioOutputUnit).
constexpr OSStatus kAudioUnitErr_Initialized = -10849;
constexpr OSStatus kAudioUnitErr_InvalidPropertyValue = -10851;
constexpr OSStatus kAudioUnitErr_CannotDoInCurrentContext = -10863;
constexpr OSStatus kAudioUnitErr_InvalidScope = -10866;
constexpr OSStatus kAudioUnitErr_Uninitialized = -10867;
constexpr OSStatus kAudioUnitErr_FormatNotSupported = -10868;
constexpr OSStatus kAudioUnitErr_FailedInitialization = -10875;
constexpr OSStatus kAudioUnitErr_InvalidElement = -10877;
constexpr OSStatus kAudioUnitErr_InvalidProperty = -10879;

// Files (AudioFileServices). Which errno or library error becomes which of these: platform/codecs/FileStatus.
constexpr OSStatus userCanceledErr =
    -128;  ///< CarbonCore's, for any operation that the user cancels: here, reading a file
constexpr OSStatus kAudioFileIOError = -36;
constexpr OSStatus kAudioFileEndOfFileError = -39;
constexpr OSStatus kAudioFileTooManyOpenFilesError = -42;
constexpr OSStatus kAudioFileFileNotFoundError = -43;
constexpr OSStatus kAudioFilePermissionsError = -54;
constexpr OSStatus kAudioFileUnsupportedFileTypeError = statusFromCode(fourCharCode("typ?"));
constexpr OSStatus kAudioFileInvalidFileError = statusFromCode(fourCharCode("dta?"));
constexpr OSStatus kAudioFileUnsupportedDataFormatError = statusFromCode(fourCharCode("fmt?"));
constexpr OSStatus kAudioFileUnspecifiedError = statusFromCode(fourCharCode("wht?"));

}  // namespace tolvane
