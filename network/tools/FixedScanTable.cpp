#include "network/tools/FixedScanTable.h"

namespace ky {

const char kFixedScanTable[] = "bssid / frequency / signal level / flags / ssid\n"
                               "02:4b:59:00:01:10\t5180\t-72\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:02:10\t5200\t-74\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:03:10\t5220\t-75\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:03:20\t2462\t-76\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:04:10\t5240\t-76\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:05:10\t5260\t-77\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:06:10\t5280\t-78\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:07:10\t5300\t-79\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:08:10\t5320\t-80\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:08:20\t2462\t-80\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:09:10\t5500\t-81\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:0a:10\t5520\t-82\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:0b:10\t5540\t-83\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:0c:10\t5745\t-84\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:0d:10\t5765\t-85\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:0e:10\t5785\t-86\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:0f:10\t5805\t-87\t[WPA2-PSK-CCMP][ESS]\tKY-Warehouse\n"
                               "02:4b:59:00:10:10\t5825\t-88\t[WPA2-EAP-CCMP][ESS]\tKY-Office\n";

} // namespace ky
