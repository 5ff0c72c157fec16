#pragma once

#include "support/Log.h"

Q_DECLARE_LOGGING_CATEGORY(kyNetworkLog) // QT_LOGGING_RULES="ky.network.debug=true"

#define KY_DEBUG KY_LOG_DEBUG(kyNetworkLog)
#define KY_INFO KY_LOG_INFO(kyNetworkLog)
#define KY_WARNING KY_LOG_WARNING(kyNetworkLog)
