#pragma once

#include <QByteArray>

class QTcpSocket;

namespace ky {

/// Whether the connected socket's descriptor leads to its peer itself, and not to a proxy.
bool leadsToPeer(const QTcpSocket& socket);

/// Gives the kernel as much of `bytes` as it takes at once, without going through the socket's
/// buffer, and returns how much that was; 0 if the socket still has bytes of its own to write.
/// QTcpSocket switches its write notifier on and off for every write, even when nothing is left
/// to wait for, which costs an event loop on GLib four system calls.
int writeAtOnce(const QTcpSocket& socket, const QByteArray& bytes);

} // namespace ky
