#pragma once

#include "cli/CommandLine.h"

#include <QMap>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

class BlockTcpObject;
class QFile;

namespace ky {

/// What came back for one request.
struct PeerReply
{
    bool isAnswered = false; ///< else `sentence` tells why there is no answer
    QString sentence;
    QVariant json;     ///< JSON area of the answer; invalid if there was none
    QByteArray data;   ///< data area of the answer
    QVariantMap map;   ///< the data area as JSON; empty if it is none
    QString errorText; ///< what the peer says went wrong; empty on success
    int code = 0;      ///< its "ret_code"
    int answerType = 0;
};

/// The peer that kyctl speaks to: one connection, made at the first request, and the peer's own
/// table of commands, asked for when a name is used first.
class Peer
{
public:
    explicit Peer(const GlobalOptions& options);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// Sends one request and waits for its answer. `command` is a number or a name.
    PeerReply ask(const QString& command, const QVariantMap& json = {},
                  const QByteArray& data = {});

    /// Sends a file's content, in pieces. `onSent` hears how many bytes of it are on their way. The
    /// time limit counts from the last piece that went out.
    PeerReply upload(const QByteArray& content, const std::function<void(qint64)>& onSent);

    /// Keeps the file that an upload's content is a view of. The client may still read that after
    /// the time limit has passed, until it ends with this object.
    void keep(std::unique_ptr<QFile> file);

    /// The number behind a name or a number in text. If there is none, `failure` holds the reply
    /// that tells why.
    std::optional<int> numberOf(const QString& command, PeerReply* failure);

    void setTimeoutMs(int timeoutMs) { _options.timeoutMs = timeoutMs; }
    const GlobalOptions& options() const { return _options; }

    /// The table of commands; fetched once.
    PeerReply commands();

private:
    QString connectClient();
    int nextNumber();
    PeerReply takeReply() const;
    PeerReply exchange(int number, const QVariantMap& json, const QByteArray& data);

    GlobalOptions _options;
    std::unique_ptr<QFile> _file; ///< in front of the client, whose end waits for its thread
    std::unique_ptr<BlockTcpObject> _client;
    QMap<QString, int> _numbers;
    int _lastNumber = 0;
};

/// The number of the command that answers with the table of commands.
constexpr int kCommandsNumber = 2001;
constexpr int kUploadNumber = 5104;

/// The IPv4 address of a host name; empty if there is none. An address stands for itself.
QString addressOf(const QString& host);
QString noSuchHostSentence(const GlobalOptions& options);

/// What kyctl says when the peer's answer did not come, from the words of the client. No words:
/// it did not come in time.
QString noAnswerSentence(const QString& clientError, const GlobalOptions& options);

/// Reads the areas of an answer.
PeerReply readReply(const QByteArray& data, const QVariantMap& result);

} // namespace ky
