#pragma once

#include "support/Log.h"

Q_DECLARE_LOGGING_CATEGORY(kyInventoryLog)

#define KY_DEBUG KY_LOG_DEBUG(kyInventoryLog)
#define KY_INFO KY_LOG_INFO(kyInventoryLog)
#define KY_WARNING KY_LOG_WARNING(kyInventoryLog)
