#pragma once

#include "cli/Verb.h"

namespace ky {

/// What holds for every verb.
struct GlobalOptions
{
    QString host = QStringLiteral("127.0.0.1");
    quint16 port = 19208;
    int timeoutMs = 5000;
    bool isTimeoutGiven = false;
    bool isJson = false;
    bool isVerbose = false;
};

/// A command line, taken apart.
struct CommandLine
{
    GlobalOptions global;
    bool wantsHelp = false;
    const Group* group = nullptr; ///< null for the help of kyctl itself
    const Verb* verb = nullptr;
    QStringList arguments;
    QMap<QString, QString> options; ///< "--data" → its value, empty for a switch
    QString error;                  ///< what is wrong with it; empty if nothing is
};

/// Takes the words behind the program's name apart. The options that hold for every verb may stand
/// anywhere; "--" ends all options.
CommandLine parseCommandLine(const QStringList& words);

/// How many arguments a verb takes, from its text: "FILE [NAME]" gives 1 and 2, "[EVENT…]" gives 0
/// and any.
struct ArgumentCount
{
    int least = 0;
    int most = 0;
};
ArgumentCount countArguments(const QString& text);

} // namespace ky
