#pragma once

#include <QMutex>
#include <QTcpSocket>
#include <QVariantMap>

#include <atomic>
#include <memory>

namespace ky {
struct FrameHead;
struct Reply;
class StreamBuffer;
} // namespace ky

/// One request and its answer with a peer that speaks the framed protocol. The worker behind
/// BlockTcpObject, which gives it a thread and waits for it.
///
/// One sendData() is one attempt: connect if there is no connection to that peer, write one frame,
/// collect replies until one carries the command and the number that were sent. sigFinished() ends
/// it, and may come more than once: the first one counts. The connection stays for the next call.
///
/// Thread: all slots run in the worker's thread and belong there. Connecting blocks it for up to
/// 6 s; nothing else blocks. The accessors may be called from any thread; a result is meant to be
/// read after sigFinished(), but a peer that answers late or twice may replace it at any time.
/// Errors: isOk and lastError; a socket error also puts "ret_code" 404 and "msg" into the map. No
/// exception leaves it: a request or a reply that memory has no room for ends the connection.
class Q_DECL_EXPORT BlockThreadTcp : public QObject
{
    Q_OBJECT

public:
    explicit BlockThreadTcp(QObject* parent = nullptr);
    /// Aborts the connection. Runs in the worker's thread, or after that thread has ended.
    ~BlockThreadTcp() override;

    /// Makes the frame of a request in `out`. Command: an int, or a name from the table of the
    /// port; any other type sends command 0. Areas: bytes as they are, a map or a list as compact
    /// JSON, any other type empty. False: unknown name, or more than one frame can hold.
    bool getSendData(const QVariant& jsonVar, const QVariant& byteVar, const QVariant& commandVar,
                     int number, QByteArray& out);
    /// Makes the frame and notes command and number as those that an answer has to carry.
    QByteArray getSendData2(const QByteArray& json, const QByteArray& data, quint16 command,
                            quint16 number);
    /// Takes in received bytes and everything that they complete.
    void resolveTcpReadData(const QByteArray& bytes);
    /// Both ends and the last socket error, for logs.
    QString getTcpSocketDebug() const;
    /// Unconnected also while there is no socket, or one that is not open.
    QAbstractSocket::SocketState getTcpSocketState() const;

    /// Outcome of the exchange. An error reported by the peer is a good outcome: see "err_msg".
    bool getIsOk() const;
    void setIsOk(bool isOk);
    QString lastError() const;
    void setLastError(const QString& text);
    /// "ip", "port", "number", "sendCommand", "revCommand", "sendCommandStr", "err_msg", and for a
    /// JSON reply "create_on" and "ret_code".
    QVariantMap receiveMap() const;
    void setReceiveMap(const QVariantMap& map);
    /// Data area of the last reply, without its JSON area.
    QByteArray receiveData() const;
    void setReceiveData(const QByteArray& data);
    /// JSON area of the last reply, parsed; invalid if there was none.
    QVariant receiveJsonVar() const;
    void setReceiveJsonVar(const QVariant& json);

    /// IPv4 address of the peer. A name works too, but its look-up has a time limit of its own and
    /// every exchange makes a new connection.
    QString getIp() const;
    void setIp(const QString& ip);
    quint16 getPort() const;
    void setPort(quint16 port);
    /// Bytes written at a time, with progress after each; 0 writes the frame at once.
    quint64 payloadSize() const;
    void setPayloadSize(quint64 size);
    /// While set, received bytes are kept and nothing is delivered. Each sendData() clears it.
    bool isNeedStop() const;
    void setNeedStop(bool isNeedStop);

public slots:
    void sendData(const QVariant& commandVar, const QVariant& byteVar, int number,
                  const QVariant& jsonVar);
    /// Connects, or keeps the connection that goes to this peer already.
    void connectSocket(const QString& ip, int port);
    void disconnectSocket();
    void slotBytesWritten(qint64 bytes);
    void slotError(QAbstractSocket::SocketError error);

signals:
    /// Never emitted.
    void sigDisconnectSocket();
    /// Bytes of the frame, then percent of it (see slotBytesWritten).
    void sigBytesWritten(qint64 value, qint64 max);
    /// Percent of the reply that has arrived.
    void sigProgressValue(quint64 value, quint64 max);
    /// The data of a message for people (type 15125).
    void sigShowMessage(const QVariantMap& vMap);
    void sigFinished();
    void sigDisconnected();

private:
    friend class BlockTcpObject;

    bool copyResult(QString& lastError, QByteArray& data, QVariantMap& map) const;
    void clearResult();
    void makeSocket();
    void openConnection();
    void setFailure(const QString& text);
    void fail(const QString& text);
    bool sendRequest(const QVariant& commandVar, const QVariant& byteVar, int number,
                     const QVariant& jsonVar);
    void dropRequest();
    void writeWhole(const QByteArray& frame);
    void writeInChunks(const QByteArray& frame);
    void writeChunk();
    void tellWritten();
    qint64 unwritten() const;
    void logSent(int command, int number, int frameSize, const QByteArray& data) const;
    void takeArrived();
    void takeFrames();
    void giveUp();
    void dropNoise();
    void reportProgress(const ky::FrameHead& head);
    void takeFrame(const ky::FrameHead& head);
    void logReply(const ky::Reply& reply) const;
    void deliver(const ky::Reply& reply);
    void takeReceivedJson(const QByteArray& json);

    QTcpSocket* _tcpSocket = nullptr; ///< made by the first connect, in the worker's thread
    const std::unique_ptr<ky::StreamBuffer> _readBuffer; ///< never null
    std::atomic<bool> _needStop{false};
    QVariantMap _receiveMap;
    QByteArray _receiveData;
    mutable QVariant _receiveJsonVar;
    mutable QByteArray _receiveJson; ///< not parsed yet: receiveJsonVar() does so when it is asked
    QString _lastError;
    QString _ip;
    QString _socketDebug;   ///< both ends as of the last connect, for the log of a reply
    QString _peerAddress;   ///< text of the address that the connection goes to
    bool _isDirect = false; ///< no proxy stands in between
    std::atomic<quint16> _port{0};
    bool _isOk = true;
    quint16 _sentCommand = 0;
    quint16 _sentNumber = 0;
    std::atomic<quint64> _payloadSize{0};
    qint64 _totalBytes = 0;
    QByteArray _writeBuffer; ///< the frame that is written in chunks
    int _writePosition = 0;  ///< where in it the next chunk starts
    int _progressValue = -1; ///< highest progress told of the current transfer

    /// Guards the result, the last error and the address: the worker's thread replaces them when
    /// a peer answers once more, while the owner's thread reads.
    mutable QMutex _mutex;
};
