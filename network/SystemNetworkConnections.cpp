#include "network/SystemNetwork.h"
