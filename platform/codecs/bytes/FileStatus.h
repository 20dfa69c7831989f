#pragma once
// The one place where failures of the system and of the decoding libraries become statuses. Pure; any thread.
//
//   -43 file not found       no such file, or no such folder in its path, a name too long, a cycle of links
//   -54 permission           not allowed to read it
//   -42 too many open files  of this process or of the whole system
//   -36 input/output error   the disk, the network file system or the card reader failed
//  'typ?' not a file of that type   unknown content; a folder, pipe, socket or device
//  'dta?' damaged file              known content whose structure or checksum is wrong
//  'fmt?' format not supported      known content that changes its rate, channels or depth, or a client format other
//                                   than the one offered
//  'wht?' anything else

#include "platform/AudioStatus.h"

namespace tolvane {

/// `error` is not 0.
[[nodiscard]] OSStatus statusFromErrno(int error);

/// A FLAC__StreamDecoderErrorStatus: libFLAC's report about a part of the stream.
[[nodiscard]] OSStatus statusFromFLACError(int error);

/// A FLAC__StreamDecoderState that ends a decode.
[[nodiscard]] OSStatus statusFromFLACState(int state);

/// An mpg123_errors other than MPG123_OK, MPG123_DONE and MPG123_NEW_FORMAT.
[[nodiscard]] OSStatus statusFromMpg123(int error);

}  // namespace tolvane
