#pragma once
// The sheet of the signal path in every state that it knows. Used by the program that draws the window's pictures.

#include <string>
#include <vector>

#include "tests/ui/qt/PictureStage.h"

namespace tolvane::test {

class SheetScenes : public PictureStage {
 public:
  /// Over a path that is as it should be, with a track that was played to its end before.
  void sheet();
  void sheetWide();
  void sheetKeyboard();
  void sheetEmpty() { openSheet(); }
  /// With Exclusive Access.
  void sheetExclusive();
  /// Another program took Exclusive Access.
  void sheetLost();
  void sheetAltered();
  void sheetAlteredWide();
  /// The device has fewer bits than the track.
  void sheetConverted();
  /// A frame reached the device with a flipped bit.
  void sheetDiffers();
  /// The user sought within the track: nothing can be said about this pass.
  void sheetSeeked();
  /// A file whose samples are not those that its encoder signed.
  void sheetDamaged();
  /// A file that holds less than it states.
  void sheetCutOff();
  /// A file that is not there.
  void sheetError();
  /// A device that stopped, and plays again.
  void sheetRecovered();
  /// More changes than the sheet can show at once.
  void sheetHistory();

 protected:
  explicit SheetScenes(bool isPlayerApart) : PictureStage(isPlayerApart) {}

 private:
  /// A device with this number of bits that reports where its facts are read, with the programme loaded.
  AudioObjectID describe(std::uint32_t bits, const std::vector<SampleAlteration>& alterations = {});
  /// The programme's shortest piece to its end, then into another one.
  void playOneWhole();
  void playInto(std::int64_t index, double fraction);
  void openSheet();
};

}  // namespace tolvane::test
