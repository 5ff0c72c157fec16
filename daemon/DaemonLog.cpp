#include "daemon/DaemonLog.h"

Q_LOGGING_CATEGORY(kyDaemonLog, "ky.daemon")
