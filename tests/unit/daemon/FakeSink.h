#pragma once

#include "daemon/AnswerSink.h"
#include "service/VantHeader.h"

#include <QJsonDocument>
#include <QList>
#include <QMap>
#include <QVariantMap>
#include <QtEndian>

#include <cstring>

/// Connections as the test wants them; keeps what was sent.
class FakeSink : public ky::AnswerSink
{
public:
    struct Sent
    {
        qintptr handle = 0;
        VantHeader header; ///< in wire order
        QByteArray body;

        int type() const { return qFromBigEndian(header.type); }
        int number() const { return qFromBigEndian(header.number); }
        int jsonSize() const { return qFromBigEndian(header.jsonSize); }
        QVariantMap map() const { return QJsonDocument::fromJson(body).toVariant().toMap(); }
    };

    bool send(qintptr handle, const QByteArray& frame) override
    {
        if (!peers.contains(handle))
            return false;
        Sent one;
        one.handle = handle;
        std::memcpy(static_cast<void*>(&one.header), frame.constData(), sizeof one.header);
        one.body = frame.mid(int(sizeof one.header));
        sent << one;
        return true;
    }
    QString peerOf(qintptr handle) override { return peers.value(handle); }

    quint64 takenBytes(qintptr handle) override { return taken.value(handle); }
    void cut(qintptr handle) override { cutOff << handle; }

    QMap<qintptr, QString> peers;
    QMap<qintptr, quint64> taken;
    QList<qintptr> cutOff;
    QList<Sent> sent;
};
