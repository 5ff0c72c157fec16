#pragma once

namespace ky {

/// The scan that WifiScanThread looks at, in the form of `wpa_cli scan_result`.
extern const char kFixedScanTable[];

} // namespace ky
