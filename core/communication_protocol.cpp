#include "core/communication_protocol.h"

Communication_Protocol PLC_driver;
