#include "daemon/PeerCalls.h"

#include "host/SqliteClass.h"
#include "support/JsonText.h"
#include "support/SocketErrorText.h"

#include <QTextCodec>

#include <new>

namespace ky {

namespace {

constexpr int kLargestJsonArea = 0xffff; ///< the header tells its length in 16 bits

bool isUtf8(const QByteArray& data)
{
    QTextCodec::ConverterState state;
    QTextCodec::codecForName("UTF-8")->toUnicode(data.constData(), data.size(), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

/// A number stands for itself; a name is looked up in the table of that port, then in our own. 0:
/// there is none.
int commandNumber(const QVariant& command, int port)
{
    if (command.type() == QVariant::Int)
        return command.toInt();
    const int known = SqliteClass::init()->commandInt(port, command.toString());
    return known != 0 ? known : SqliteClass::init()->commandInt(kServicePort, command.toString());
}

/// The client's text, with words beside the number of a socket error.
QString withWords(const QString& clientError)
{
    const QString words = socketErrorWords(clientError);
    return words.isEmpty() ? clientError : QStringLiteral("%1 (%2)").arg(clientError, words);
}

} // namespace

QString readPeerRequest(const Arguments& arguments, PeerRequest* request)
{
    request->ip = arguments.text("ip");
    request->port = quint16(arguments.whole("port"));
    request->limitMs = arguments.whole("timeout_ms");
    const int command = commandNumber(arguments.value("command"), request->port);
    if (command == 0)
        return QStringLiteral("argument [command]: no such command");
    request->command = command;
    request->json = arguments.value("json");
    if (jsonText(request->json, QJsonDocument::Compact).size() > kLargestJsonArea)
        return QStringLiteral("argument [json]: longer than a frame can tell");
    return {};
}

Answer peerAnswer(const PeerResult& result)
{
    if (!result.error.isEmpty())
        return Answer::error(kPeerSilent, withWords(result.error));
    if (result.data.size() > kLargestReply)
        return Answer::error(kReplyTooLarge, QStringLiteral("reply [%1 bytes]: more than %2")
                                                 .arg(result.data.size())
                                                 .arg(kLargestReply));
    QVariantMap values{{QStringLiteral("result"), result.result}};
    if (result.json.isValid())
        values.insert(QStringLiteral("json"), result.json);
    const QVariant reply = parseJson(result.data);
    if (reply.isValid())
        values.insert(QStringLiteral("reply"), reply);
    else if (isUtf8(result.data))
        values.insert(QStringLiteral("text"), QString::fromUtf8(result.data));
    else
        values.insert(QStringLiteral("base64"), QString::fromLatin1(result.data.toBase64()));
    return Answer::ok(values);
}

PeerCalls::PeerCalls(const DaemonContext& context)
    : Subsystem(context)
{
    addLateCommand("peer_call",
                   [this](const Request& request, const Ticket& ticket) { call(request, ticket); });
}

PeerCalls::~PeerCalls()
{
    const QSet<QThread*> threads = _threads;
    for (QThread* thread : threads) {
        thread->disconnect(this);
        thread->quit();
    }
    for (QThread* thread : threads) {
        thread->wait();
        delete thread;
    }
}

void PeerCalls::call(const Request& request, const Ticket& ticket)
{
    PeerRequest peer;
    const QString problem = readPeerRequest(request.arguments, &peer);
    if (!problem.isEmpty()) {
        ticket.answer(Answer::badArgument(problem));
        return;
    }
    if (_threads.size() >= kMaxCalls) {
        ticket.answer(
            Answer::error(kTooManyCalls, QStringLiteral("%1 calls are under way").arg(kMaxCalls)));
        return;
    }
    peer.data = request.payload();
    _lastNumber = _lastNumber % 0xffff + 1;
    peer.number = _lastNumber;
    run(peer, ticket);
}

void PeerCalls::run(const PeerRequest& request, const Ticket& ticket)
{
    QThread* thread = QThread::create([request, ticket] {
        try {
            ticket.answer(peerAnswer(exchangeWithPeer(request)));
        } catch (const std::bad_alloc&) {
            ticket.answer(Answer::noMemory());
        }
    });
    _threads.insert(thread);
    connect(thread, &QThread::finished, this, [this, thread] {
        _threads.remove(thread);
        thread->wait();
        delete thread;
    });
    thread->start();
}

} // namespace ky
