#pragma once

#include "support/Log.h"

Q_DECLARE_LOGGING_CATEGORY(kyServiceLog)

#define KY_DEBUG KY_LOG_DEBUG(kyServiceLog)
#define KY_INFO KY_LOG_INFO(kyServiceLog)
#define KY_WARNING KY_LOG_WARNING(kyServiceLog)
// For a helper that writes the line of the operation it was taken out of.
#define KY_DEBUG_AS(function) KY_LOG_DEBUG_AS(kyServiceLog, function)
#define KY_WARNING_AS(function) KY_LOG_WARNING_AS(kyServiceLog, function)
