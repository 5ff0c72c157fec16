#include "service/ServiceLog.h"

Q_LOGGING_CATEGORY(kyServiceLog, "ky.service")
