#include "platform/codecs/bytes/FileStatus.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace tolvane::test {
namespace {

struct ErrnoCase {
  int error;
  OSStatus status;
};

TEST(FileStatus, GivesTheNumbersThatPeopleKnow) {
  for (const auto& [error, status] :
       {ErrnoCase{ENOENT, -43}, ErrnoCase{ENOTDIR, -43}, ErrnoCase{ENAMETOOLONG, -43}, ErrnoCase{ELOOP, -43},
        ErrnoCase{EACCES, -54}, ErrnoCase{EPERM, -54}, ErrnoCase{EMFILE, -42}, ErrnoCase{ENFILE, -42},
        ErrnoCase{EIO, -36}, ErrnoCase{ESTALE, -36}, ErrnoCase{ETIMEDOUT, -36}, ErrnoCase{EISDIR, 1954115647},
        ErrnoCase{ENOMEM, 2003334207}, ErrnoCase{EINVAL, 2003334207}}) {
    EXPECT_EQ(statusFromErrno(error), status) << "errno " << error;
  }
}

TEST(FileStatus, NeverTakesALibrarysFailureForASuccess) {
  for (int error = 0; error < 100; ++error) {
    EXPECT_NE(statusFromFLACError(error), noErr);
    EXPECT_NE(statusFromFLACState(error), noErr);
    EXPECT_NE(statusFromMpg123(error), noErr);
  }
}

}  // namespace
}  // namespace tolvane::test
