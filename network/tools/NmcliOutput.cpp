#include "network/tools/NmcliOutput.h"

namespace ky {

namespace {

constexpr int kUuidLength = 36;
constexpr int kGap = 15;

QStringList rowsOf(const QString& output)
{
    return output.contains(QLatin1Char('\n')) ? output.split(QLatin1Char('\n')) : QStringList();
}

} // namespace

bool saysSuccess(const QString& nmcliOutput)
{
    return nmcliOutput.contains(QStringLiteral(u"成功")) ||
           nmcliOutput.contains(QLatin1String("successfully"));
}

QString uuidInRow(const QString& row)
{
    const QStringList parts = row.split(QLatin1Char(' '));
    for (const QString& part : parts) {
        if (part.size() >= kUuidLength)
            return part;
    }
    return {};
}

QString rowHolding(const QString& output, const QString& text)
{
    const QStringList rows = rowsOf(output);
    for (const QString& row : rows) {
        if (row.contains(text))
            return row;
    }
    return {};
}

QString firstRow(const QString& output)
{
    return rowsOf(output).value(0);
}

QStringList uuidsIn(const QString& output)
{
    QStringList uuids;
    const QStringList rows = rowsOf(output);
    for (const QString& row : rows) {
        const QStringList parts = row.split(QLatin1Char(' '));
        for (const QString& part : parts) {
            if (part.size() >= kUuidLength)
                uuids << part;
        }
    }
    return uuids;
}

DeviceShow parseDeviceShow(const QString& output)
{
    static const QString gap(kGap, QLatin1Char(' '));
    DeviceShow show;
    const QStringList lines = rowsOf(output);
    for (const QString& line : lines) {
        const QStringList parts = line.split(gap);
        if (parts.size() == 1)
            show.unreadable << line;
        if (parts.size() == 2)
            show.rows.append({parts.at(0).simplified(), parts.at(1).simplified()});
    }
    return show;
}

} // namespace ky
