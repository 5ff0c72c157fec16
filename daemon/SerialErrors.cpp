#include "daemon/SerialErrors.h"

#include <QSerialPort>

#include <algorithm>

namespace ky {

namespace {

constexpr int kGoneAfter = 3;

/// Which of these a line that hangs up gives depends on its driver.
bool isOfLostDevice(int portError)
{
    return portError == QSerialPort::ReadError || portError == QSerialPort::WriteError ||
           portError == QSerialPort::ResourceError;
}

} // namespace

bool SerialErrors::isDeviceGone(int portError)
{
    if (!isOfLostDevice(portError)) {
        clear();
        return false;
    }
    _run = std::min(_run + 1, kGoneAfter + 1);
    return _run == kGoneAfter;
}

bool SerialErrors::isStorm() const
{
    return _run > kGoneAfter;
}

} // namespace ky
