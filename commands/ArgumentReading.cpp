#include "commands/ArgumentReading.h"

#include "commands/ArgumentText.h"
#include "commands/HexBytes.h"
#include "commands/ValueForms.h"
#include "support/MacAddress.h"

#include <cmath>
#include <limits>
#include <optional>

namespace ky {

namespace {

constexpr double kMostCommand = 0xffff;
constexpr int kMostNameLetters = 64;

bool isJsonNumber(const QVariant& value)
{
    switch (int(value.type())) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

bool isText(const QVariant& value)
{
    return value.type() == QVariant::String && !value.toString().contains(QChar::Null);
}

/// A number, or one written out in a text.
std::optional<double> numberOf(const QVariant& given)
{
    if (isJsonNumber(given))
        return given.toDouble();
    const QString text = isText(given) ? given.toString() : QString();
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    const bool hasBlanks = text.trimmed() != text;
    return isNumber && !hasBlanks && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

std::optional<int> wholeOf(const QVariant& given, double least, double most)
{
    const std::optional<double> number = numberOf(given);
    if (!number || *number < least || *number > most || *number != std::floor(*number))
        return {};
    return int(*number);
}

QVariant readText(const Argument& row, const QVariant& given)
{
    const int bytes = isText(given) ? given.toString().toUtf8().size() : -1;
    return bytes >= row.least && bytes <= row.most ? given : QVariant();
}

QVariant readWord(const QVariant& given)
{
    if (isJsonNumber(given)) {
        const std::optional<int> index = wholeOf(given, 0, std::numeric_limits<int>::max());
        return index ? QVariant(QString::number(*index)) : QVariant();
    }
    return isText(given) && isPlainWord(given.toString()) ? given : QVariant();
}

QVariant readCommand(const QVariant& given)
{
    if (const std::optional<int> number = wholeOf(given, 1, kMostCommand))
        return *number;
    const bool isName = isText(given) && !numberOf(given) && !given.toString().trimmed().isEmpty();
    return isName && given.toString().size() <= kMostNameLetters ? given : QVariant();
}

QVariant readHex(const QVariant& given)
{
    const auto bytes = isText(given) ? bytesOfHex(given.toString()) : std::nullopt;
    return bytes ? QVariant(*bytes) : QVariant();
}

QVariant readForm(bool (*isForm)(const QString&), const QVariant& given)
{
    return isText(given) && isForm(given.toString()) ? given : QVariant();
}

bool isChoice(const Argument& row, const QVariant& given)
{
    return isText(given) &&
           QString::fromUtf8(row.choices).split(QLatin1Char(' ')).contains(given.toString());
}

/// The value that the argument has; invalid if what is given is none. Maps and lists keep the
/// values that came: they are judged by their keys.
QVariant readValue(const Argument& row, const QVariant& given)
{
    switch (row.kind) {
    case ValueKind::Flag:
        return given.type() == QVariant::Bool ? given : QVariant();
    case ValueKind::Whole: {
        const std::optional<int> number = wholeOf(given, row.least, row.most);
        return number ? QVariant(*number) : QVariant();
    }
    case ValueKind::Number: {
        const std::optional<double> number = numberOf(given);
        return number && *number >= row.least && *number <= row.most ? QVariant(*number)
                                                                     : QVariant();
    }
    case ValueKind::Text:
        return readText(row, given);
    case ValueKind::Choice:
        return isChoice(row, given) ? given : QVariant();
    case ValueKind::Word:
        return readWord(given);
    case ValueKind::Address:
        return readForm(isIpv4Address, given);
    case ValueKind::Mask:
        return readForm(isSubnetMask, given);
    case ValueKind::Host:
        return readForm(isHostName, given);
    case ValueKind::Mac:
        return readForm(isMacAddress, given);
    case ValueKind::Interface:
        return readForm(isInterfaceName, given);
    case ValueKind::Zone:
        return readForm(isZoneName, given);
    case ValueKind::Time:
        return readForm(isLocalTime, given);
    case ValueKind::Hex:
        return readHex(given);
    case ValueKind::Command:
        return readCommand(given);
    case ValueKind::Object:
        return given.type() == QVariant::Map ? given : QVariant();
    case ValueKind::List:
        return given.type() == QVariant::List && given.toList().size() <= row.most ? given
                                                                                   : QVariant();
    }
    return {};
}

/// Input masks for addresses send "..." for a field that nobody filled in.
bool isEmptyField(const QVariant& given)
{
    return isText(given) &&
           (given.toString().isEmpty() || given.toString() == QLatin1String("..."));
}

/// Nothing but blanks, where a text has to hold something.
bool isBlankText(const Argument& row, const QVariant& given)
{
    return row.kind == ValueKind::Text && row.least > 0 && isText(given) &&
           given.toString().trimmed().isEmpty();
}

QVariant usualValue(const Argument& row)
{
    const QByteArray usual(row.usual);
    if (row.kind == ValueKind::Flag)
        return usual == "true";
    if (row.kind == ValueKind::Whole)
        return usual.toInt();
    if (row.kind == ValueKind::Number)
        return usual.toDouble();
    return QByteArray(); // the one other that rows name is no bytes
}

class Reader
{
public:
    Reader(const QVariantMap& given, const QString& place)
        : _given(given)
        , _place(place)
    {}

    QString problem;
    QVariantMap values;

    void readAll(Rows<Argument> rows)
    {
        for (const Argument& row : rows) {
            read(row);
            if (!problem.isEmpty())
                return;
        }
    }

private:
    void read(const Argument& row)
    {
        const QString name = QString::fromUtf8(row.name);
        const auto given = _given.constFind(name);
        const bool isThere = given != _given.constEnd();
        const bool isEmpty = isThere && row.isEmptyAllowed && isEmptyField(*given);
        if (isNeeded(row) && (!isThere || isEmpty || isBlankText(row, *given)))
            problem = missingText(_place + name);
        else if (isEmpty)
            values.insert(name, *given);
        else if (isThere)
            readGiven(row, *given, name);
        else if (*row.usual != '\0')
            values.insert(name, usualValue(row));
    }

    void readGiven(const Argument& row, const QVariant& given, const QString& name)
    {
        const QVariant value = readValue(row, given);
        if (!value.isValid())
            problem =
                QStringLiteral("argument [%1]: not %2").arg(_place + name, expectationOf(row));
        else if (readKeys(row, value, _place + name))
            values.insert(name, value);
    }

    bool isNeeded(const Argument& row) const
    {
        if (*row.exempting == '\0')
            return row.isRequired;
        return !_given.value(QString::fromUtf8(row.exempting)).toBool();
    }

    /// Judges what is inside of a map or a list.
    bool readKeys(const Argument& row, const QVariant& value, const QString& place)
    {
        if (row.kind == ValueKind::Object)
            judge(row, value.toMap(), place + QLatin1Char('.'));
        if (row.kind != ValueKind::List)
            return problem.isEmpty();
        const QVariantList entries = value.toList();
        for (int i = 0; i < entries.size() && problem.isEmpty(); ++i) {
            const QString entry = QStringLiteral("%1[%2]").arg(place).arg(i);
            const bool isFit =
                row.keys.isEmpty() ? isText(entries[i]) : entries[i].type() == QVariant::Map;
            if (!isFit)
                problem = QStringLiteral("argument [%1]: not %2").arg(place, expectationOf(row));
            else if (!row.keys.isEmpty())
                judge(row, entries[i].toMap(), entry + QLatin1Char('.'));
        }
        return problem.isEmpty();
    }

    void judge(const Argument& row, const QVariantMap& map, const QString& place)
    {
        Reader inner(map, place);
        inner.readAll(row.keys);
        problem = inner.problem;
    }

    const QVariantMap& _given;
    QString _place; ///< of the map within the request
};

} // namespace

QString missingText(const QString& name)
{
    return QStringLiteral("argument [%1]: missing").arg(name);
}

QString readArguments(Rows<Argument> rows, const QVariantMap& given, Arguments* arguments)
{
    Reader reader(given, QString());
    reader.readAll(rows);
    *arguments = Arguments(reader.values);
    return reader.problem;
}

} // namespace ky
