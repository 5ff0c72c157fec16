#pragma once

#include "network/tools/AccessPoint.h"

#include <QString>
#include <QVector>

namespace ky {

/// The rows of `wpa_cli scan_result`.
struct ScanTable
{
    QVector<AccessPoint> rows;
    int lineCount = 0;        ///< lines of the text, header and empty ones included
    bool isSingleRow = false; ///< a text without a line feed is one row without a header
};

/// Reads a scan table; SSIDs are decoded. Rows with fewer than five fields are
/// silently dropped.
ScanTable parseScanTable(const QString& text);

/// The answer of `wpa_cli scan` while another scan is running; its exit status is 0.
bool isScanBusy(const QString& text);

} // namespace ky
