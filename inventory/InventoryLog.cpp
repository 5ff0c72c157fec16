#include "inventory/InventoryLog.h"

Q_LOGGING_CATEGORY(kyInventoryLog, "ky.inventory")
