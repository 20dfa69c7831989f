#pragma once
// A driver's channel maps in the place of the kernel's, of a PCM and by its card's control: this program's own
// functions, which the linker takes before alsa-lib's. The test's thread.

#include <alsa/asoundlib.h>

#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace tolvane {

/// One at a time. Without one there is no map at all.
class ScriptedChannelMap {
 public:
  struct Offer {
    snd_pcm_chmap_type type;
    std::vector<unsigned> positions;
  };

  ScriptedChannelMap();
  ~ScriptedChannelMap();
  ScriptedChannelMap(const ScriptedChannelMap&) = delete;
  ScriptedChannelMap& operator=(const ScriptedChannelMap&) = delete;

  std::vector<unsigned> map;                ///< the present one; empty: the driver reports none
  std::vector<Offer> offers;                ///< empty: there are none
  int setAnswer = 0;                        ///< when it is negative, the map stays
  std::vector<std::vector<unsigned>> sets;  ///< what was asked for, in turn
  /// By "hw:CARD", PCM and substream: what the control reports now. Others have none.
  std::map<std::tuple<std::string, unsigned, unsigned>, std::vector<unsigned>> controls;
  std::string openControl;  ///< the card whose control is open
  int controlReads = 0;
};

}  // namespace tolvane
