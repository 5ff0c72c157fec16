#include "cli/Verb.h"

namespace ky {

const Group* findGroup(const QString& name)
{
    for (const Group& group : allGroups()) {
        if (name == QLatin1String(group.name))
            return &group;
    }
    return nullptr;
}

const Verb* findVerb(const Group& group, const QString& name)
{
    for (const Verb& verb : group.verbs) {
        if (name == QLatin1String(verb.name))
            return &verb;
    }
    return nullptr;
}

bool isSingleVerb(const Group& group)
{
    return group.verbs.size() == 1 && *group.verbs.front().name == '\0';
}

} // namespace ky
