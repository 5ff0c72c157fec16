#pragma once

#include <QString>

namespace site {

/// Sends small requests to the framed service at `ip` for so many seconds, one every 20 ms, each
/// answered before the next, and returns the longest time between two answers in milliseconds;
/// -1 if there was no answer at all. Runs in the calling process.
int longestEchoGap(const QString& ip, quint16 port, int seconds);

} // namespace site
