#pragma once

#include "commands/Argument.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

namespace ky {

/// The arguments of a request as its row declares them: of the right kind, in range, with what
/// holds in the place of those that are missing. What the row does not name is left out.
class Arguments
{
public:
    Arguments() = default;
    explicit Arguments(const QVariantMap& values)
        : _values(values)
    {}

    /// Whether it was given, or something holds without it.
    bool has(const char* name) const { return _values.contains(QLatin1String(name)); }

    // Of one that is not there: false, 0, empty.
    bool flag(const char* name) const { return value(name).toBool(); }
    int whole(const char* name) const { return value(name).toInt(); }
    QString text(const char* name) const { return value(name).toString(); }
    QByteArray bytes(const char* name) const { return value(name).toByteArray(); }
    QVariantList list(const char* name) const { return value(name).toList(); }
    QVariant value(const char* name) const { return _values.value(QLatin1String(name)); }

    /// All of them, for operations that take a map.
    const QVariantMap& values() const { return _values; }

private:
    QVariantMap _values;
};

/// Reads what a request carries by the rows of its command. Empty on success, else what is wrong
/// with the first argument that does not fit: "argument [volume]: not a whole number from 0 to
/// 100".
///
/// A flag is true or false and nothing else; "off", 0 and null are refused. A number may come as
/// digits in a text, as command lines send it. Any other value has to have its own type in JSON.
QString readArguments(Rows<Argument> rows, const QVariantMap& given, Arguments* arguments);

/// The text for an argument that is not there.
QString missingText(const QString& name);

} // namespace ky
