#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <vector>

namespace ky {

class Invocation;

/// Exit statuses of kyctl.
enum ExitStatus
{
    kDone = 0,
    kPeerError = 1, ///< the peer answered with an error
    kUsage = 2,     ///< the command line is wrong
    kNoAnswer = 3,  ///< refused, lost or timed out
};

/// One option of a verb. With a value name it takes a value ("--data FILE"), else it is a switch.
struct Option
{
    const char* name; ///< "--data"
    const char* valueName = "";
    const char* summary = "";
};

/// One verb of a group: what is parsed, what --help shows, and who does it.
struct Verb
{
    const char* name;      ///< empty for the only verb of a group that is a verb itself
    const char* arguments; ///< "SSID [PASSWORD]"; words in brackets may be left out, a last one
                           ///< with "…" may be given many times
    const char* summary;
    std::vector<Option> options;
    const char* example; ///< a whole command line
    int (*run)(Invocation& call);
};

/// The verbs that belong together, in a file of their own.
struct Group
{
    const char* name;
    const char* summary;
    std::vector<Verb> verbs;
};

/// All groups, in the order in which --help shows them. See docs/extending.md.
const std::vector<Group>& allGroups();

const Group* findGroup(const QString& name);
/// The verb of that name, or the only one of a group that has no names.
const Verb* findVerb(const Group& group, const QString& name);
bool isSingleVerb(const Group& group);

} // namespace ky
