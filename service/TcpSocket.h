#pragma once

#include "service/VantHeader.h"

#include <QFile>
#include <QMetaMethod>
#include <QMutex>
#include <QTcpSocket>
#include <QVariantMap>

#include <atomic>

/// The server side of one TCP connection: takes frames out of the byte stream, streams uploads of
/// type 5104 into a file and hands every complete request to the relay object of the daemon.
///
/// The relay object has an invokable method
/// `slotRevInterface(QString name, qintptr handle, quint16 answerType, quint16 number,
/// QByteArray data, QVariant json)`, which is called queued, in its own thread. Nothing is
/// answered by this class: a request that no relay object takes is lost with a warning.
///
/// Thread: the listener makes and configures the object and then moves it to a thread of its own,
/// where all slots run. write2Client(), write2Server(), waitWrite2Client(), setIsNeedStop() and
/// setRelayObj() may be called from any thread; peerInfo() too, once the connection is set up.
class Q_DECL_EXPORT TcpSocket : public QTcpSocket
{
    Q_OBJECT

public:
    explicit TcpSocket(QObject* parent = nullptr);
    /// Aborts the connection. Runs in the socket's thread, or after that thread has ended.
    ~TcpSocket() override;

    /// Descriptor of the accepted connection: the handle that the daemon answers to.
    qintptr intptr() const;
    void setIntptr(qintptr handle);
    /// The thread made for this connection; not owned here. It is null until it has been set.
    QThread* thread() const;
    void setThread(QThread* thread);
    QObject* relayObj() const;
    void setRelayObj(QObject* relayObject);
    /// While set, received bytes stay in the buffer and no request is handed on.
    bool isNeedStop() const;
    void setIsNeedStop(bool isNeedStop);

    /// "ip", "port" and "name" of the peer, as updatePeerInfo() found them. They outlive the
    /// connection.
    QVariantMap peerInfo() const;
    void updatePeerInfo();
    /// Both ends and the last socket error, for logs.
    QString getSocketDebugStr() const;
    /// Name of a command of port 19208, whatever port the connection came in on; empty if none.
    QString CDString(int command) const;

    /// Queues bytes to be written in the socket's thread. Never blocks.
    void write2Client(const QByteArray& message);
    void write2Server(const QByteArray& message);
    /// Writes in the socket's thread and blocks the caller until that is done, at most about 15 s.
    /// Returns true also after a time-out. Never call it from the socket's own thread: it would
    /// wait for itself.
    bool waitWrite2Client(const QByteArray& message);

    /// Takes in received bytes; delivers every request that they complete. Always true.
    bool resolveTcpReadData(qintptr handle, const QByteArray& b);
    /// Delivers the frame at the start of the buffer, whose header has been taken.
    void resolveData(qintptr handle);
    /// Hands one request to the relay object.
    void setResolveClientData(qintptr handle, quint16 type, quint16 number, const QVariant& json,
                              const QByteArray& data);

    /// The fields of a received header in host byte order.
    static quint16 getJsonSize(const VantHeader* header);
    static quint16 getRevCommand(const VantHeader* header);

signals:
    /// The connection has ended.
    void disconnected(qintptr handle);
    /// Never emitted.
    void sigReadyRead(qintptr handle, QByteArray b);
    void sigWrite(QByteArray message);
    void sigWaitWrite(QByteArray message);
    /// A write that somebody waited for has ended, in time or not.
    void sigFinished();

public slots:
    void slotDisconnected();
    void slotReadyRead();
    void slotError(QAbstractSocket::SocketError socketError);
    void slotWaitWrite(QByteArray message);
    void slotWrite(QByteArray message);

private:
    /// Asks, once the thread has ended, whether the end is announced.
    friend class HCTcpServer;
    class Receiver;

    /// One read takes no more than this, so that an upload needs no more memory than that.
    static constexpr qint64 kReadChunk = qint64(256) * 1024;

    bool callRelay(const QString& name, qintptr handle, quint16 answerType, quint16 number,
                   const QByteArray& data, const QVariant& json);
    void keepForWriting(const char* operation, const char* bytes, int size);
    bool isStreaming();
    void giveUp(const char* operation, qintptr handle, const char* what, quint64 size);
    void readStream();
    void openUpload();
    QVariant takeJson(const QByteArray& text) const;

    qintptr _intptr = 0;
    QThread* _thread = nullptr;
    QByteArray _buffer;
    std::atomic<bool> _isNeedStop{false};
    QObject* _relayObj = nullptr;
    QVariantMap _peerInfo;
    QFile _upgradeFile;
    VantHeader* _header;
    quint64 _dataSize = 0;
    quint64 _receivedSize = 0;

    bool _isEndAnnounced = false; ///< disconnected() has been emitted
    bool _isDirect = false;       ///< the descriptor leads to the peer itself, and not to a proxy
    QByteArray _streamChunk;      ///< where an upload is read to; empty between uploads
    int _consumed = 0;            ///< bytes at the front of _buffer that are done with, in one pass
    QMetaMethod _relayMethod;     ///< slotRevInterface of _relayObj
    mutable QMutex _relayMutex;   ///< guards _relayObj and _relayMethod
};
