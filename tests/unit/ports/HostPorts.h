#pragma once

#include <QByteArray>
#include <QList>

/// The serial ports that this program finds on the host, by name: HostPorts.cpp stands before the
/// system's list of devices, so that what is present does not depend on the machine. Never empty:
/// without a list of devices the machine's own files would be asked.
QList<QByteArray>& hostPorts();
