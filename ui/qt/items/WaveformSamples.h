#pragma once
// A waveform that the model passes to the item that draws it: shared, never copied. A value.

#include <QObject>
#include <QtQmlIntegration>

#include "ui/waveforms/WaveformStore.h"

namespace tolvane {

struct WaveformSamples {
  Q_GADGET
  QML_VALUE_TYPE(waveformSamples)

 public:
  WaveformStore::Samples values;  ///< null while unknown

  bool operator==(const WaveformSamples&) const = default;
};

}  // namespace tolvane
