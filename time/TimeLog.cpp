#include "time/TimeLog.h"

Q_LOGGING_CATEGORY(kyTimeLog, "ky.time")
