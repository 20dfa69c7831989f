#include "engine/SampleRateReport.h"

#include "engine/StreamFormats.h"

namespace tolvane {

bool SampleRateReport::isMatched() const {
  return ratesAgree(requestedRate, nominalRate) && (actualRate <= 0 || ratesAgree(requestedRate, actualRate));
}

}  // namespace tolvane
