#pragma once

#include <QObject>
#include <QTcpSocket>
#include <QTime>

/// A diagnostic client: sends one command at a time and turns every request and every response
/// into a report that people read.
///
/// The object needs a parent by the first connectHost(), and the parent needs the slots
/// `stateChanged(QAbstractSocket::SocketState)` and
/// `receiveTcpError(QAbstractSocket::SocketError)`: the socket tells those two things to the parent
/// alone.
///
/// Thread: that of the object. writeTcpData() blocks it for up to twice the time-out, and reports
/// of the answer come out of that wait.
/// Errors: lastError(), after false or a sigChangedText() with false. An answer that does not fit
/// into memory ends the connection and the call that waits for it.
class Q_DECL_EXPORT SCStatusTcp : public QObject
{
    Q_OBJECT

public:
    explicit SCStatusTcp(QObject* parent = nullptr);
    ~SCStatusTcp() override;

    /// A toggle. True: there was a connection, or one in the making, and it has been dropped.
    /// False: a connection has been started; the parent learns by stateChanged() when it stands.
    bool connectHost(const QString& ip, quint16 port);

    /// Sends one frame and waits for the first bytes of an answer. With a time-out of 0 it does
    /// not wait and is true. After false a late answer is still reported. `number` is only read.
    bool writeTcpData(quint16 command, const QByteArray& json, const QByteArray& data,
                      quint16& number);
    void releaseTcpSocket();

    /// Now, as the reports show it: "[yyyyMMdd|hh:mm:ss:zzz]:".
    QString getCurrentDateTime() const;
    /// The text in upper case.
    QString hexToQString(const QByteArray& hex) const;

    /// Milliseconds for each of the two waits; set it before the first writeTcpData().
    int getTimeOut() const;
    void setTimeOut(int limitMs);
    /// Null before the first connectHost().
    QTcpSocket* tcpSocket() const;
    /// When the last request was sent; null before the first one.
    QTime time() const;
    QString lastError() const;
    void setLastError(const QString& text);

public slots:
    void receiveTcpReadyRead();

signals:
    /// A finished report of a request or a response. None is made while nothing is connected.
    void sigPrintInfo(QString text);
    /// A response, or, with ok false, one byte that belonged to none. `elapsedMs` counts from the
    /// last request.
    void sigChangedText(bool ok, int command, QByteArray data, QByteArray dataHex, int number,
                        int elapsedMs);

private:
    void makeSocket();
    bool sendRequest(const QByteArray& json, const QByteArray& data);
    bool waitForAnswer();
    bool failWait(const QString& text);
    int elapsedMs() const;
    void takeIn(QByteArray& message);
    void giveUp(int held);
    void reportRequest(const QByteArray& frame, const QByteArray& json, const QByteArray& data);
    void reportFrame(const char* frame, int buffered);
    void printResponse(const QByteArray& head, const QByteArray& json, const QByteArray& data,
                       int buffered);
    bool isReportRead() const;

    QTcpSocket* _tcpSocket = nullptr;
    QString _lastError;
    QString _ip;
    quint16 _port = 0;
    QByteArray _lastMessage; ///< the start of a frame whose rest has not come yet
    QTime _time;
    quint32 _sentCommand = 0;
    quint32 _sentNumber = 0;
    qint32 _timeOut = 0;
    bool _isAnswerLost = false; ///< since the last request, for want of memory
};
