// The thinnest possible Qt server of the service's architecture: a thread for each connection, one
// queued call by name with six arguments for each request, JSON parsed and serialised once, the
// answer queued back. No log lines except the warning for each byte of noise, no names, no table
// of commands, no uploads. Connections go by a running number, which no kernel hands out again.

#include "servers/AnswerFrame.h"

#include <QCoreApplication>
#include <QHash>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QVariant>
#include <QtEndian>

#include <cstdio>
#include <cstring>

Q_LOGGING_CATEGORY(thinLog, "thin")

namespace {

constexpr int kHeader = 16;

} // namespace

class ThinConnection : public QTcpSocket
{
    Q_OBJECT

public:
    ThinConnection(qintptr descriptor, qintptr id, QObject* relay)
        : _id(id)
        , _relay(relay)
    {
        setSocketDescriptor(descriptor);
        setSocketOption(LowDelayOption, 1);
        connect(this, &QIODevice::readyRead, this, &ThinConnection::takeBytes);
        connect(this, &ThinConnection::answered, this, &ThinConnection::writeAnswer);
        connect(this, &QAbstractSocket::disconnected, this, [this] { emit gone(_id); });
    }

signals:
    void answered(QByteArray frame);
    void gone(qintptr id);

private:
    void writeAnswer(const QByteArray& bytes)
    {
        write(bytes);
        flush();
    }

    void takeBytes()
    {
        _buffer += readAll();
        for (;;) {
            skipNoise();
            if (_buffer.size() < kHeader)
                return;
            const char* header = _buffer.constData();
            const int bodySize = int(qFromBigEndian<quint32>(header + 4));
            if (_buffer.size() < kHeader + bodySize)
                return;
            deliver(bodySize);
            _buffer.remove(0, kHeader + bodySize);
        }
    }

    void skipNoise()
    {
        int at = 0;
        while (at < _buffer.size() &&
               (_buffer.at(at) != 0x5A || _buffer.constData()[at + 1] != 1)) {
            ++at;
            qCWarning(thinLog) << "[Network packet loss:" << _buffer.size() - at << "]";
        }
        if (at > 0)
            _buffer.remove(0, at);
    }

    void deliver(int bodySize)
    {
        const char* header = _buffer.constData();
        const auto number = qFromBigEndian<quint16>(header + 2);
        const auto type = qFromBigEndian<quint16>(header + 8);
        const int jsonSize = qMin<int>(qFromBigEndian<quint16>(header + 12), bodySize);
        QVariant json;
        if (jsonSize > 0)
            json = QJsonDocument::fromJson(_buffer.mid(kHeader, jsonSize)).toVariant();
        const QByteArray data = _buffer.mid(kHeader + jsonSize, bodySize - jsonSize);
        QMetaObject::invokeMethod(_relay, "slotRevInterface", Qt::QueuedConnection,
                                  Q_ARG(QString, QString()), Q_ARG(qintptr, _id),
                                  Q_ARG(quint16, quint16(type + 10000)), Q_ARG(quint16, number),
                                  Q_ARG(QByteArray, data), Q_ARG(QVariant, json));
    }

    qintptr _id;
    QObject* _relay;
    QByteArray _buffer;
};

class ThinServer : public QTcpServer
{
    Q_OBJECT

public:
    Q_INVOKABLE void slotRevInterface(QString name, qintptr id, quint16 answerType, quint16 number,
                                      QByteArray data, QVariant json)
    {
        Q_UNUSED(name)
        ThinConnection* connection = _connections.value(id);
        if (!connection)
            return;
        QByteArray text;
        if (json.isValid())
            text = QJsonDocument::fromVariant(json).toJson(QJsonDocument::Compact);
        emit connection->answered(answerFrame(answerType, number, text, data));
    }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto* connection = new ThinConnection(descriptor, ++_lastId, this);
        auto* thread = new QThread;
        connect(connection, &ThinConnection::gone, this, [this, thread](qintptr id) {
            thread->quit();
            thread->wait();
            delete thread;
            delete _connections.take(id);
        });
        _connections.insert(_lastId, connection);
        connection->moveToThread(thread);
        thread->start();
    }

private:
    QHash<qintptr, ThinConnection*> _connections;
    qintptr _lastId = 0;
};

namespace {

void discardMessage(QtMsgType, const QMessageLogContext&, const QString&) {}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    qRegisterMetaType<qintptr>("qintptr");
    if (application.arguments().contains(QStringLiteral("--discard-log")))
        qInstallMessageHandler(discardMessage);
    ThinServer server;
    if (!server.listen(QHostAddress::LocalHost)) {
        fprintf(stderr, "listen: %s\n", qPrintable(server.errorString()));
        return 1;
    }
    printf("%d\n", server.serverPort());
    fflush(stdout);
    return QCoreApplication::exec();
}

#include "QtServer.moc"
