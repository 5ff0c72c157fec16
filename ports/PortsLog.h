#pragma once

#include "support/Log.h"

Q_DECLARE_LOGGING_CATEGORY(kyPortsLog) // QT_LOGGING_RULES="ky.ports.debug=true"

#define KY_DEBUG KY_LOG_DEBUG(kyPortsLog)
#define KY_INFO KY_LOG_INFO(kyPortsLog)
#define KY_WARNING KY_LOG_WARNING(kyPortsLog)

// For helpers that write the lines of the function they were taken out of.
#define KY_DEBUG_AS(function) KY_LOG_DEBUG_AS(kyPortsLog, function)
#define KY_WARNING_AS(function) KY_LOG_WARNING_AS(kyPortsLog, function)
