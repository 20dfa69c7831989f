#include "platform/alsa/AlsaRecovery.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

TEST(AlsaRecovery, takesWhatIsInTheRingOfAStoppedStreamForUnheard) {
  struct Case {
    std::int64_t ring, room, unheard;
    const char* what;
  };
  for (const Case& c : {Case{8192, 8192, 0, "ran dry"}, Case{8192, 8300, 0, "ran dry and went on with silence"},
                        Case{8192, 0, 8192, "stopped with a full ring"}, Case{8192, 2048, 6144, "stopped half way"},
                        Case{8192, -1, 8192, "a driver that miscounts"}}) {
    EXPECT_EQ(unheardFrames(c.ring, c.room), c.unheard) << c.what;
  }
}

}  // namespace
}  // namespace tolvane
