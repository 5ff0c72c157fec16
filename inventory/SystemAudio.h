#pragma once

#include "host/BaseObject.h"

#include <QVariantList>
#include <QVariantMap>

/// Sets and reads the output volume of the controller and tells ALSA which card is the default.
/// Volume goes through the platform script where it may be executed, else through the mixer, by
/// lines that depend on the board family. Which of the two is decided afresh at each call.
///
/// Thread: any one thread; there is no state but the last error. Every command blocks the caller
/// for up to 20 s.
/// Errors: nothing throws. After false getLastError() tells why, unless an operation says that it
/// leaves it alone.
class Q_DECL_EXPORT SystemAudio : public BaseObject
{
    Q_OBJECT

public:
    explicit SystemAudio(QObject* parent = nullptr);

    /// Sets "volume" (0 to 100; missing: 0) and stores it for the next start of the host. Another
    /// value is refused. A mixer command that fails gives false and leaves the last error alone.
    /// Blocks for up to 40 s.
    bool setAudioOutputDevice(const QVariantMap& request);

    /// "volume" (percent; not there if the mixer cannot be read) and "list": a map for each card
    /// with "index", "name" and "fullName".
    QVariantMap getAudioOutputDeviceInfo();

    /// Makes a card the default by replacing /etc/asound.conf as a whole. The index (or the card's
    /// short name) is letters, digits, "_" and "-"; another one is refused.
    bool setAudioCard(const QString& cardIndex);

    /// Makes the card named "PCH" the default. False if there is none, or if /etc/asound.conf
    /// cannot be read; the result of writing it does not count.
    bool resetAsoundConf();

    /// Always empty: the cards are looked for line by line with a pattern of two lines. Blocks for
    /// up to 60 s.
    QVariantList getAllAudioDevice();
};
