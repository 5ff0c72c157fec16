#include "cli/CommandHelp.h"
#include "cli/CommandLine.h"
#include "cli/Completion.h"
#include "cli/Help.h"
#include "cli/Invocation.h"
#include "commands/Catalogue.h"

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

/// "call NAME --help" is help for that command, where the catalogue has it.
QString helpFor(const ky::CommandLine& line)
{
    const bool isCall = line.group && qstrcmp(line.group->name, "call") == 0;
    const QString name = isCall ? line.arguments.value(0) : QString();
    const ky::Command* row = ky::findCommand(name);
    if (!row)
        row = ky::findCommand(name.toInt());
    return row ? ky::commandHelp(*row) : ky::helpText(line.group, line.verb);
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

    const QStringList words = application.arguments().mid(1);
    if (words.value(0) == QLatin1String("--complete")) { // asked by shells, see docs/kyctl.md
        const QStringList fitting = ky::completionsOf(words.mid(1));
        ky::printOut(fitting.isEmpty() ? QByteArray()
                                       : fitting.join(QLatin1Char('\n')).toUtf8() + '\n');
        return ky::kDone;
    }
    const ky::CommandLine line = ky::parseCommandLine(words);
    if (!line.error.isEmpty())
        return complainAboutUsage(line);
    if (line.wantsHelp) {
        ky::printOut(helpFor(line).toUtf8());
        return ky::kDone;
    }
    // The library logs each frame; people want the answer.
    if (!line.global.isVerbose)
        QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    return runVerb(line);
}
