#pragma once

#include <QString>

/// Process-wide storage that belongs to the host; the library does not read it.
class Q_DECL_EXPORT WifiShare
{
public:
    WifiShare();

    static QString _lastError;

private:
    quint8 _state;
};
