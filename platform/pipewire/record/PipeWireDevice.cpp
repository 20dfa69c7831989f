#include "platform/pipewire/record/PipeWireDevice.h"

#include <utility>

#include "platform/pipewire/units/PipeWireOutputUnit.h"

namespace tolvane {

PipeWireDevice::PipeWireDevice(Log& log, std::string itsUid, std::string itsName, AudioObjectID itsId,
                               AudioObjectID itsStream)
    : uid(std::move(itsUid)), name(std::move(itsName)), id(itsId), stream(itsStream), state(log, name) {}

bool PipeWireDevice::isUnitOnSink() const { return unit != nullptr && unit->stream() != nullptr; }

bool PipeWireDevice::isUnitOnCard() const { return unit != nullptr && unit->isOnCard(); }

bool PipeWireDevice::isUnitRunning() const { return unit != nullptr && unit->isRunning(); }

}  // namespace tolvane
