#pragma once

#include "daemon/AnswerSink.h"

class KyNetworkObject;

namespace ky {

/// The way out through the service.
class ServiceSink : public AnswerSink
{
public:
    explicit ServiceSink(KyNetworkObject& service);

    bool send(qintptr handle, const QByteArray& frame) override;
    QString peerOf(qintptr handle) override;
    quint64 takenBytes(qintptr handle) override;
    void cut(qintptr handle) override;

private:
    KyNetworkObject& _service;
};

} // namespace ky
