#pragma once

#include "support/Log.h"

Q_DECLARE_LOGGING_CATEGORY(kyDaemonLog)

#define KY_DEBUG KY_LOG_DEBUG(kyDaemonLog)
#define KY_INFO KY_LOG_INFO(kyDaemonLog)
#define KY_WARNING KY_LOG_WARNING(kyDaemonLog)
