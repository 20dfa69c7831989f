#include "platform/alsa/PropertyListeners.h"
