#include "cli/Completion.h"

#include "cli/Verb.h"
#include "commands/Catalogue.h"

#include <algorithm>
#include <iterator>

namespace ky {

namespace {

constexpr const char* kGlobalOptions[] = {"--help", "--host",    "--json",
                                          "--port", "--timeout", "--verbose"};

constexpr const char* kOptionsWithValue[] = {"--host", "--port", "--timeout"};

bool takesValue(const QString& word)
{
    return std::any_of(std::begin(kOptionsWithValue), std::end(kOptionsWithValue),
                       [&word](const char* option) { return word == QLatin1String(option); });
}

QString text(const char* word)
{
    return QString::fromUtf8(word);
}

QStringList groupNames()
{
    QStringList names;
    for (const Group& group : allGroups())
        names << text(group.name);
    return names;
}

QStringList verbNames(const Group& group)
{
    QStringList names;
    for (const Verb& verb : group.verbs)
        names << text(verb.name);
    return names;
}

QStringList catalogueNames(bool areEvents)
{
    QStringList names;
    for (const CommandGroup* group : commandGroups()) {
        for (const Command& row : group->rows) {
            if (row.isEvent == areEvents && row.port == kServicePort)
                names << text(row.name);
        }
    }
    return names;
}

QStringList optionNames(const Verb* verb)
{
    QStringList names;
    for (const char* option : kGlobalOptions)
        names << text(option);
    for (const Option& option : verb ? verb->options : std::vector<Option>())
        names << text(option.name);
    return names;
}

/// What may stand there, whatever has been typed of it.
QStringList candidates(const QStringList& before, bool isOption)
{
    const Group* group = before.isEmpty() ? nullptr : findGroup(before.first());
    if (!group && !isOption)
        return before.isEmpty() ? groupNames() : QStringList();
    const Verb* verb = nullptr;
    if (group && isSingleVerb(*group))
        verb = &group->verbs.front();
    else if (group && before.size() > 1)
        verb = findVerb(*group, before.at(1));
    if (isOption)
        return optionNames(verb);
    if (!verb)
        return before.size() == 1 ? verbNames(*group) : QStringList();
    const QString name = text(group->name);
    if (before.size() == 1 && (name == QLatin1String("call") || name == QLatin1String("probe")))
        return catalogueNames(false);
    return name == QLatin1String("watch") ? catalogueNames(true) : QStringList();
}

} // namespace

QStringList completionsOf(const QStringList& words)
{
    QStringList before;
    const QString typed = words.isEmpty() ? QString() : words.last();
    for (int i = 0; i + 1 < words.size(); ++i) {
        if (takesValue(words[i]))
            ++i;
        else if (!words[i].startsWith(QLatin1Char('-')))
            before << words[i];
    }
    QStringList fitting;
    for (const QString& word : candidates(before, typed.startsWith(QLatin1Char('-')))) {
        if (word.startsWith(typed))
            fitting << word;
    }
    fitting.sort();
    return fitting;
}

} // namespace ky
