#include "cli/Password.h"

#include <QByteArray>

#include <csignal>
#include <cstdio>
#include <termios.h>
#include <unistd.h>

namespace ky {

namespace {

termios normal;

extern "C" void restoreAndEnd(int signalNumber)
{
    tcsetattr(STDIN_FILENO, TCSANOW, &normal);
    signal(signalNumber, SIG_DFL);
    raise(signalNumber);
}

/// Keeps the terminal from showing what is typed, while it lives.
class NoEcho
{
public:
    NoEcho()
    {
        tcgetattr(STDIN_FILENO, &normal);
        _onInterrupt = signal(SIGINT, restoreAndEnd);
        _onTerminate = signal(SIGTERM, restoreAndEnd);
        termios silent = normal;
        silent.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    ~NoEcho()
    {
        tcsetattr(STDIN_FILENO, TCSANOW, &normal);
        signal(SIGINT, _onInterrupt);
        signal(SIGTERM, _onTerminate);
    }
    NoEcho(const NoEcho&) = delete;
    NoEcho& operator=(const NoEcho&) = delete;

private:
    void (*_onInterrupt)(int);
    void (*_onTerminate)(int);
};

std::optional<QString> readLine()
{
    QByteArray line;
    char c = 0;
    while (read(STDIN_FILENO, &c, 1) == 1) {
        if (c == '\n')
            return QString::fromUtf8(line);
        line += c;
    }
    if (line.isEmpty())
        return std::nullopt;
    return QString::fromUtf8(line);
}

} // namespace

std::optional<QString> askPassword(const QString& prompt)
{
    if (isatty(STDIN_FILENO) != 1)
        return readLine();
    std::optional<QString> line;
    {
        const NoEcho noEcho; // before the prompt: what is typed at once is not shown either
        std::fprintf(stderr, "%s: ", prompt.toUtf8().constData());
        line = readLine();
    }
    std::fputc('\n', stderr);
    return line;
}

} // namespace ky
