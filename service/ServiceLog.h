#pragma once

#include "support/Log.h"

Q_DECLARE_LOGGING_CATEGORY(kyServiceLog)

#define KY_DEBUG KY_LOG_DEBUG(kyServiceLog)
#define KY_INFO KY_LOG_INFO(kyServiceLog)
#define KY_WARNING KY_LOG_WARNING(kyServiceLog)
