#include "cli/Invocation.h"

#include "cli/Table.h"
#include "support/JsonText.h"

#include <unistd.h>

#include <cstdio>

namespace ky {

namespace {

QString errorSentence(const PeerReply& reply)
{
    const QString text = valueText(reply.errorText.trimmed()); // a tool's words end in a line feed
    return reply.code < 0
               ? text
               : QStringLiteral("the peer answered with error %1: %2").arg(reply.code).arg(text);
}

} // namespace

QByteArray bodyText(const PeerReply& reply)
{
    QByteArray text;
    for (const QByteArray& area : {jsonText(reply.json, QJsonDocument::Compact), reply.data})
        text += area.isEmpty() || area.endsWith('\n') ? area : area + '\n';
    return text;
}

QByteArray shownText(const QByteArray& text, bool isForTerminal)
{
    return isForTerminal ? printableText(QString::fromUtf8(text)).toUtf8() : text;
}

Invocation::Invocation(const CommandLine& line)
    : _line(line)
    , _peer(_line.global)
{}

int Invocation::ask(const char* command, const QVariantMap& json, const Printer& print)
{
    const QVariant area = json.isEmpty() ? QVariant() : QVariant(json);
    return show(_peer.ask(QLatin1String(command), area), print);
}

int Invocation::show(const PeerReply& reply, const Printer& printMap)
{
    if (!reply.isAnswered) {
        complain(reply.sentence);
        return kNoAnswer;
    }
    const bool isError = !reply.errorText.isEmpty() || reply.code != 0;
    if (isError && (!_line.global.isJson || reply.map.isEmpty()))
        complain(errorSentence(reply));
    else if (_line.global.isJson)
        printReceived(bodyText(reply));
    else if (printMap)
        printMap(reply.map);
    else if (reply.map.isEmpty() || reply.json.isValid())
        printReceived(bodyText(reply));
    else
        print(mapText(reply.map));
    return isError ? kPeerError : kDone;
}

void Invocation::print(const QString& text) const
{
    printOut(text.toUtf8());
}

void Invocation::complain(const QString& sentence) const
{
    std::fprintf(stderr, "kyctl: %s\n", sentence.toUtf8().constData());
}

int Invocation::wrong(const QString& sentence) const
{
    complain(sentence);
    return kUsage;
}

void printOut(const QByteArray& text)
{
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    std::fflush(stdout);
}

void printReceived(const QByteArray& text)
{
    printOut(shownText(text, ::isatty(STDOUT_FILENO) == 1));
}

} // namespace ky
