#pragma once
// The listeners that all device layers share, under the name by which this folder has known them.

#include "platform/PropertyListeners.h"
