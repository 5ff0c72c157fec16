#include "cli/Table.h"

#include <QJsonDocument>
#include <QVector>

#include <utility>

namespace ky {

namespace {

struct Range
{
    uint first;
    uint last;
};

// The blocks that terminals draw two columns wide.
constexpr Range kWide[] = {
    {0x1100, 0x115f},   {0x2329, 0x232a},   {0x2e80, 0x303e},   {0x3041, 0x33ff},
    {0x3400, 0x4dbf},   {0x4e00, 0x9fff},   {0xa000, 0xa4cf},   {0xa960, 0xa97f},
    {0xac00, 0xd7a3},   {0xf900, 0xfaff},   {0xfe30, 0xfe6f},   {0xff00, 0xff60},
    {0xffe0, 0xffe6},   {0x1f300, 0x1f64f}, {0x1f680, 0x1f6ff}, {0x1f900, 0x1f9ff},
    {0x20000, 0x3fffd},
};

int characterWidth(uint code)
{
    switch (QChar::category(code)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
    case QChar::Other_Control:
    case QChar::Other_Format:
        return 0;
    default:
        break;
    }
    for (const Range& range : kWide) {
        if (code >= range.first && code <= range.last)
            return 2;
    }
    return 1;
}

QString withoutControls(QString text)
{
    return printableText(std::move(text)).replace(QLatin1Char('\n'), QLatin1Char('?'));
}

QString listText(const QVariantList& list)
{
    QStringList parts;
    for (const QVariant& part : list)
        parts << valueText(part);
    return parts.join(QStringLiteral(", "));
}

/// An empty cell would read as one that was forgotten.
QString orDash(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("-") : text;
}

QStringList recordCells(const QVariantMap& record, const QList<Column>& columns)
{
    QStringList cells;
    for (const Column& column : columns)
        cells << orDash(valueText(record.value(QLatin1String(column.key))));
    return cells;
}

} // namespace

int displayWidth(const QString& text)
{
    int width = 0;
    const QVector<uint> codes = text.toUcs4();
    for (const uint code : codes)
        width += characterWidth(code);
    return width;
}

QStringList alignColumns(const QList<QStringList>& rows)
{
    QVector<int> widths;
    for (const QStringList& row : rows) {
        for (int i = 0; i < row.size(); ++i) {
            if (i == widths.size())
                widths.append(0);
            widths[i] = qMax(widths.at(i), displayWidth(row.at(i)));
        }
    }
    QStringList lines;
    for (const QStringList& row : rows) {
        QString line;
        for (int i = 0; i < row.size(); ++i) {
            line += row.at(i);
            if (i + 1 < row.size())
                line += QString(widths.at(i) - displayWidth(row.at(i)) + 2, QLatin1Char(' '));
        }
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        lines << line;
    }
    return lines;
}

QString tableText(const QVariantList& records, const QList<Column>& columns)
{
    if (records.isEmpty())
        return QStringLiteral("none\n");
    QStringList titles;
    for (const Column& column : columns)
        titles << QString::fromUtf8(column.title);
    QList<QStringList> rows{titles};
    for (const QVariant& record : records)
        rows << recordCells(record.toMap(), columns);
    return alignColumns(rows).join(QLatin1Char('\n')) + QLatin1Char('\n');
}

QString mapText(const QVariantMap& map)
{
    QList<QStringList> rows;
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry) {
        const bool isOfEveryAnswer = entry.key() == QLatin1String("ret_code") ||
                                     entry.key() == QLatin1String("err_msg") ||
                                     entry.key() == QLatin1String("create_on");
        if (!isOfEveryAnswer)
            rows << QStringList{valueText(entry.key()), orDash(valueText(entry.value()))};
    }
    if (rows.isEmpty())
        return QStringLiteral("done\n");
    return alignColumns(rows).join(QLatin1Char('\n')) + QLatin1Char('\n');
}

QString printableText(QString text)
{
    for (QChar& c : text) {
        if (c.category() == QChar::Other_Control && c != QLatin1Char('\n'))
            c = QLatin1Char('?');
    }
    return text;
}

QString valueText(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("yes") : QStringLiteral("no");
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return listText(value.toList());
    case QMetaType::QVariantMap:
        return withoutControls(
            QString::fromUtf8(QJsonDocument::fromVariant(value).toJson(QJsonDocument::Compact)));
    case QMetaType::Double: {
        const double number = value.toDouble();
        return QString::number(number, 'g', qAbs(number) < 1e15 ? 15 : 17);
    }
    default:
        return withoutControls(value.toString());
    }
}

} // namespace ky
