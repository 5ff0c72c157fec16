#pragma once

#include "cli/CommandLine.h"
#include "cli/HostName.h"

#include <QMap>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

class BlockTcpObject;

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

/// The peer that kyctl speaks to: one connection, made at the first request. Names of commands are
/// those of the catalogue; the peer's own table is asked for when a name is not in it.
///
/// A command of the catalogue is waited for as long as its row says, unless a time limit was given.
class Peer
{
public:
    explicit Peer(const GlobalOptions& options);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// Sends one request and waits for its answer. `command` is a number or a name.
    /// A valid `json` goes out as JSON area, an empty map, too.
    PeerReply ask(const QString& command, const QVariant& json = {}, const QByteArray& data = {});

    /// Sends a file's content, in pieces. `onSent` hears how many bytes of it are on their way. The
    /// time limit counts from the last piece that went out.
    PeerReply upload(const QByteArray& content, const std::function<void(qint64)>& onSent);

    /// The number behind a name or a number in text. If there is none, `failure` holds the reply
    /// that tells why.
    std::optional<int> numberOf(const QString& command, PeerReply* failure);

    /// A time limit for all that follows, over that of the catalogue.
    void setTimeoutMs(int timeoutMs)
    {
        _options.timeoutMs = timeoutMs;
        _options.isTimeoutGiven = true;
    }
    const GlobalOptions& options() const { return _options; }

    /// How long it waits for the answer to a command of that number, in milliseconds.
    int limitMs(int number) const;

    /// The peer's table of commands.
    PeerReply commands();

private:
    QString connectClient();
    int nextNumber();
    PeerReply takeReply() const;
    PeerReply exchange(int number, const QVariant& json, const QByteArray& data);

    GlobalOptions _options;
    std::unique_ptr<BlockTcpObject> _client;
    QMap<QString, int> _numbers;
    int _lastNumber = 0;
};

/// The address of the peer, within its time limit; an address stands for itself. Empty on success,
/// else the sentence that tells why there is nobody to ask.
QString resolvePeer(const GlobalOptions& options, QString* address,
                    const LookUp& lookUp = ipv4AddressOf);

/// What kyctl says when the peer's answer did not come, from the words of the client. No words:
/// it did not come in time.
QString noAnswerSentence(const QString& clientError, const GlobalOptions& options);

/// Whether a frame can tell the length of this JSON area, which it does in 16 bits.
bool fitsJsonArea(const QVariant& json);
constexpr char kJsonAreaRule[] = "the JSON is longer than a frame can tell";

/// Reads the areas of an answer.
PeerReply readReply(const QByteArray& data, const QVariantMap& result);

} // namespace ky
