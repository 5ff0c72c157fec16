#pragma once

#include "network/SystemNetwork.h"

namespace ky {

/// The network administration, with a look at what link supervision goes by and a signal for what
/// roaming reports.
///
/// Thread: that of the object, as for all of it.
class DaemonNetwork : public SystemNetwork
{
    Q_OBJECT

public:
    /// What is in force now: the settings file may hold newer values that nobody has read yet, and
    /// a period too short to be taken.
    QVariantMap supervision() const;

    enum class WirelessCard
    {
        Found,
        None,
        Ambiguous
    };

    /// Ambiguous: there are several cards, and none has a name that is known. The last error is set
    /// unless there is one to act on.
    WirelessCard lookForWirelessCard(QString& card);
    /// The wireless card that the operations would take. False with the last error set if there is
    /// none, or if there are several and none has a name that is known: a command without a card's
    /// name means something else, or any card.
    bool findWirelessCard(QString& card);
    /// Empty where neither the settings nor the interface table name one.
    const QString& wiredCardName() const { return _aLXB10NetworkCardName; }

signals:
    /// A report on roaming, see SystemNetwork::roamingReported().
    void sigRoamingReported(const QString& kind, const QString& text);

protected:
    void roamingReported(const QString& kind, const QString& text) override;

private:
    bool isPresent(const QString& card);
};

} // namespace ky
