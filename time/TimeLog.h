#pragma once

#include "support/Log.h"

Q_DECLARE_LOGGING_CATEGORY(kyTimeLog)

#define KY_DEBUG KY_LOG_DEBUG(kyTimeLog)
#define KY_INFO KY_LOG_INFO(kyTimeLog)
#define KY_WARNING KY_LOG_WARNING(kyTimeLog)
