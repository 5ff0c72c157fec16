#include "network/NetworkLog.h"

Q_LOGGING_CATEGORY(kyNetworkLog, "ky.network")
