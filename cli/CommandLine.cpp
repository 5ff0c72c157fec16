#include "cli/CommandLine.h"

#include <limits>

namespace ky {

namespace {

/// Walks over the words and fills the result; stops at the first mistake.
class Parser
{
public:
    explicit Parser(const QStringList& words)
        : _words(words)
    {}

    CommandLine parse()
    {
        while (_next < _words.size() && _line.error.isEmpty())
            takeWord(_words.at(_next++));
        if (_line.error.isEmpty() && !_line.wantsHelp)
            checkWhole();
        return _line;
    }

private:
    void takeWord(const QString& word)
    {
        const bool isOption =
            !_isOptionsEnd && word.size() > 1 && word.startsWith(QLatin1Char('-'));
        if (isOption && word == QLatin1String("--"))
            _isOptionsEnd = true;
        else if (isOption && !isNegativeNumber(word))
            takeOption(word);
        else
            takeName(word);
    }

    static bool isNegativeNumber(const QString& word)
    {
        bool isNumber = false;
        word.toDouble(&isNumber);
        return isNumber;
    }

    void takeName(const QString& word)
    {
        if (!_line.group && !_line.wantsHelp && word == QLatin1String("help")) {
            _line.wantsHelp = true; // "help peer call" reads as "peer call --help"
        } else if (!_line.group) {
            _line.group = findGroup(word);
            if (!_line.group)
                _line.error = QStringLiteral("no command '%1'").arg(word);
            else if (isSingleVerb(*_line.group))
                _line.verb = &_line.group->verbs.front();
        } else if (!_line.verb) {
            _line.verb = findVerb(*_line.group, word);
            if (!_line.verb)
                _line.error = QStringLiteral("no command '%1 %2'")
                                  .arg(QLatin1String(_line.group->name), word);
        } else {
            _line.arguments << word;
        }
    }

    void takeOption(const QString& word)
    {
        const QString name = word.section(QLatin1Char('='), 0, 0);
        if (name == QLatin1String("--help") || name == QLatin1String("-h"))
            _line.wantsHelp = true;
        else if (name == QLatin1String("--json"))
            _line.global.isJson = true;
        else if (name == QLatin1String("--verbose"))
            _line.global.isVerbose = true;
        else if (name == QLatin1String("--host"))
            _line.global.host = takeValue(word);
        else if (name == QLatin1String("--port"))
            _line.global.port = quint16(takeNumber(word, 0xffff));
        else if (name == QLatin1String("--timeout"))
            takeTimeout(word);
        else
            takeVerbOption(word, name);
    }

    void takeTimeout(const QString& word)
    {
        _line.global.timeoutMs = takeNumber(word, std::numeric_limits<int>::max());
        _line.global.isTimeoutGiven = true;
    }

    void takeVerbOption(const QString& word, const QString& name)
    {
        if (_line.verb) {
            for (const Option& option : _line.verb->options) {
                if (name == QLatin1String(option.name)) {
                    _line.options.insert(name, *option.valueName ? takeValue(word) : QString());
                    return;
                }
            }
        }
        _line.error = QStringLiteral("no option '%1'").arg(word);
    }

    QString takeValue(const QString& word)
    {
        const int equals = word.indexOf(QLatin1Char('='));
        if (equals >= 0)
            return word.mid(equals + 1);
        if (_next < _words.size())
            return _words.at(_next++);
        _line.error = QStringLiteral("option '%1' needs a value").arg(word);
        return {};
    }

    int takeNumber(const QString& word, int highest)
    {
        const QString value = takeValue(word);
        bool isNumber = false;
        const int number = value.toInt(&isNumber);
        if (_line.error.isEmpty() && (!isNumber || number < 1 || number > highest))
            _line.error = QStringLiteral("option '%1': '%2' is not in 1 to %3")
                              .arg(word.section(QLatin1Char('='), 0, 0), value)
                              .arg(highest);
        return number;
    }

    void checkWhole()
    {
        if (!_line.group)
            _line.error = QStringLiteral("no command given");
        else if (!_line.verb)
            _line.error = QStringLiteral("'%1' needs a verb").arg(QLatin1String(_line.group->name));
        else
            checkArguments();
    }

    void checkArguments()
    {
        const ArgumentCount count = countArguments(QString::fromUtf8(_line.verb->arguments));
        if (_line.arguments.size() < count.least)
            _line.error = QStringLiteral("too few arguments");
        else if (_line.arguments.size() > count.most)
            _line.error = QStringLiteral("too many arguments");
    }

    QStringList _words;
    int _next = 0;
    bool _isOptionsEnd = false;
    CommandLine _line;
};

} // namespace

CommandLine parseCommandLine(const QStringList& words)
{
    return Parser(words).parse();
}

ArgumentCount countArguments(const QString& text)
{
    ArgumentCount count;
    const QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString& word : words) {
        if (!word.startsWith(QLatin1Char('[')))
            ++count.least;
        ++count.most;
        if (word.contains(QChar(0x2026)))
            count.most = std::numeric_limits<int>::max();
    }
    return count;
}

} // namespace ky
