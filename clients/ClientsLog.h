#pragma once

#include "support/Log.h"

Q_DECLARE_LOGGING_CATEGORY(kyClientsLog)

#define KY_DEBUG KY_LOG_DEBUG(kyClientsLog)
#define KY_INFO KY_LOG_INFO(kyClientsLog)
#define KY_WARNING KY_LOG_WARNING(kyClientsLog)
