#include "platform/codecs/bytes/FileStatus.h"

#include <FLAC/stream_decoder.h>
#include <mpg123.h>

#include <cerrno>

namespace tolvane {

OSStatus statusFromErrno(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP:
      return kAudioFileFileNotFoundError;
    case EACCES:
    case EPERM:
      return kAudioFilePermissionsError;
    case EMFILE:
    case ENFILE:
      return kAudioFileTooManyOpenFilesError;
    case EISDIR:
      return kAudioFileUnsupportedFileTypeError;
    case EIO:
    case ENXIO:
    case ENODEV:
    case ESTALE:
    case EAGAIN:
    case ETIMEDOUT:
    case EREMOTEIO:
    case ENOTCONN:
    case ECONNRESET:
    case ECONNABORTED:
    case EHOSTDOWN:
    case EHOSTUNREACH:
    case ENETDOWN:
    case ENETUNREACH:
      return kAudioFileIOError;
    default:
      return kAudioFileUnspecifiedError;
  }
}

OSStatus statusFromFLACError(int error) {
  switch (error) {
    case FLAC__STREAM_DECODER_ERROR_STATUS_UNPARSEABLE_STREAM:
      return kAudioFileUnsupportedDataFormatError;
    case FLAC__STREAM_DECODER_ERROR_STATUS_LOST_SYNC:
    case FLAC__STREAM_DECODER_ERROR_STATUS_BAD_HEADER:
    case FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH:
    default:
      return kAudioFileInvalidFileError;
  }
}

OSStatus statusFromFLACState(int state) {
  switch (state) {
    case FLAC__STREAM_DECODER_MEMORY_ALLOCATION_ERROR:
    case FLAC__STREAM_DECODER_UNINITIALIZED:
      return kAudioFileUnspecifiedError;
    default:
      // libFLAC also ends in the state in which it found something invalid.
      return kAudioFileInvalidFileError;
  }
}

OSStatus statusFromMpg123(int error) {
  switch (error) {
    case MPG123_ERR_READER:
    case MPG123_NO_RELSEEK:
    case MPG123_NO_SEEK:
      return kAudioFileIOError;
    case MPG123_OUT_OF_SYNC:
    case MPG123_RESYNC_FAIL:
    case MPG123_NO_BUFFERS:
      return kAudioFileInvalidFileError;
    case MPG123_BAD_OUTFORMAT:
    case MPG123_BAD_CHANNEL:
    case MPG123_BAD_RATE:
      return kAudioFileUnsupportedDataFormatError;
    default:
      return kAudioFileUnspecifiedError;
  }
}

}  // namespace tolvane
