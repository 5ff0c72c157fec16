#pragma once

#include "cli/CommandLine.h"
#include "cli/Peer.h"

#include <functional>

namespace ky {

/// One run of a verb: its arguments, the peer, and the ways to print.
class Invocation
{
public:
    explicit Invocation(const CommandLine& line);

    /// Positional argument, empty if it was left out.
    QString argument(int index) const { return _line.arguments.value(index); }
    QStringList arguments() const { return _line.arguments; }
    bool has(const char* option) const { return _line.options.contains(QLatin1String(option)); }
    QString option(const char* name) const { return _line.options.value(QLatin1String(name)); }
    const GlobalOptions& global() const { return _line.global; }
    Peer& peer() { return _peer; }

    using Printer = std::function<void(const QVariantMap&)>;

    /// The whole of most verbs: sends the command with these arguments and prints the answer:
    /// with --json as it came, else by `print`, else one line for each entry. Returns the exit
    /// status; an error or a missing answer is told on standard error.
    int ask(const char* command, const QVariantMap& json = {}, const Printer& print = nullptr);

    /// Prints an answer as ask() does.
    int show(const PeerReply& reply, const Printer& print = nullptr);

    /// Text to standard output, as it stands.
    void print(const QString& text) const;
    /// One line to standard error.
    void complain(const QString& sentence) const;
    /// Tells what is wrong with the arguments; returns kUsage.
    int wrong(const QString& sentence) const;

private:
    CommandLine _line;
    Peer _peer;
};

/// The areas of an answer as they came, a line for each that is not empty.
QByteArray bodyText(const PeerReply& reply);

/// What a peer said must not steer a person's terminal, which gets "?" in the place of control
/// characters; a file or a pipe gets every byte.
QByteArray shownText(const QByteArray& text, bool isForTerminal);

/// Sends text to standard output at once.
void printOut(const QByteArray& text);

/// Sends what a peer said to standard output at once, as shownText() tells.
void printReceived(const QByteArray& text);

} // namespace ky
