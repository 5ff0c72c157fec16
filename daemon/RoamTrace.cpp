#include "daemon/RoamTrace.h"

#include <QLoggingCategory>

#include <cstring>

namespace ky {

namespace {

constexpr char kCategory[] = "ky.network";
constexpr char kPrefix[] = "[info][";
constexpr const char* kKinds[] = {"CurrentAP", "ApList", "text"};

QMutex traceMutex; // guards both below: lines come from any thread
RoamTrace* trace = nullptr;
QtMessageHandler handlerBefore = nullptr;

QtMessageHandler passToTrace(const QMessageLogContext& context, const QString& line)
{
    QString kind;
    QString text;
    const bool isRoaming = context.category && std::strcmp(context.category, kCategory) == 0 &&
                           readRoamLine(line, &kind, &text);
    const QMutexLocker locker(&traceMutex);
    if (isRoaming && trace)
        emit trace->sigTold(kind, text);
    return handlerBefore;
}

void handle(QtMsgType type, const QMessageLogContext& context, const QString& line)
{
    passToTrace(context, line)(type, context, line);
}

} // namespace

RoamTrace::RoamTrace()
{
    const QMutexLocker locker(&traceMutex);
    trace = this;
    handlerBefore = qInstallMessageHandler(handle);
}

RoamTrace::~RoamTrace()
{
    qInstallMessageHandler(handlerBefore);
    const QMutexLocker locker(&traceMutex);
    trace = nullptr;
}

bool readRoamLine(const QString& line, QString* kind, QString* text)
{
    if (!line.startsWith(QLatin1String(kPrefix)) || !line.endsWith(QLatin1Char(']')))
        return false;
    const int start = int(std::strlen(kPrefix));
    for (const char* name : kKinds) {
        const QString head = QLatin1String(name) + QStringLiteral("][");
        if (line.midRef(start).startsWith(head)) {
            *kind = QLatin1String(name);
            *text = line.mid(start + head.size());
            text->chop(1);
            return true;
        }
    }
    return false;
}

} // namespace ky
