#include "cli/CommandLine.h"
#include "cli/Help.h"
#include "cli/Invocation.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <cstdio>
#include <cstdlib>

namespace {

int complainAboutUsage(const ky::CommandLine& line)
{
    QString name = QStringLiteral("kyctl");
    if (line.group)
        name += QLatin1Char(' ') + QLatin1String(line.group->name);
    if (line.verb && *line.verb->name)
        name += QLatin1Char(' ') + QLatin1String(line.verb->name);
    std::fprintf(stderr, "kyctl: %s; try '%s --help'\n", line.error.toUtf8().constData(),
                 name.toUtf8().constData());
    return ky::kUsage;
}

int runVerb(const ky::CommandLine& line)
{
    ky::Invocation call(line);
    const int status = line.verb->run(call);
    // A connect that hangs cannot be called off: the client would wait for it at its end.
    if (status == ky::kNoAnswer) {
        std::fflush(nullptr);
        std::_Exit(status);
    }
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kyctl"));

    const ky::CommandLine line = ky::parseCommandLine(application.arguments().mid(1));
    if (!line.error.isEmpty())
        return complainAboutUsage(line);
    if (line.wantsHelp) {
        ky::printOut(ky::helpText(line.group, line.verb).toUtf8());
        return ky::kDone;
    }
    // The library logs each frame; people want the answer.
    if (!line.global.isVerbose)
        QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    return runVerb(line);
}
