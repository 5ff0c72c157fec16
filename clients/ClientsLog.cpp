#include "clients/ClientsLog.h"

Q_LOGGING_CATEGORY(kyClientsLog, "ky.clients")
