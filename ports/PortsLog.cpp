#include "ports/PortsLog.h"

Q_LOGGING_CATEGORY(kyPortsLog, "ky.ports")
