#include "inventory/SoundCards.h"

#include <QRegExp>

namespace ky {

namespace {

constexpr char kEndOfName[] = "]:";

/// UTF-8, up to the first NUL byte.
QString textOf(const QByteArray& bytes)
{
    return QString::fromUtf8(bytes.constData());
}

QStringList words(const QString& text)
{
    return text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QVariantMap parseCard(const QString& line)
{
    const QStringList parts = line.split(QLatin1String(kEndOfName), Qt::SkipEmptyParts);
    if (!line.contains(QLatin1String(kEndOfName)) || parts.size() < 2)
        return {};
    const QStringList head = words(parts.first());
    if (head.size() < 2)
        return {};
    QString name = head.last();
    return {{QStringLiteral("index"), head.first()},
            {QStringLiteral("name"), name.remove(QLatin1Char('['))},
            {QStringLiteral("fullName"), parts.last()}};
}

} // namespace

QVariantList parseSoundCards(const QByteArray& bytes)
{
    const QString text = textOf(bytes);
    if (!text.contains(QLatin1Char('\n')))
        return {};
    QVariantList cards;
    for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const QVariantMap card = parseCard(line.simplified());
        if (!card.isEmpty())
            cards << card;
    }
    return cards;
}

std::optional<QString> findPchCard(const QByteArray& text)
{
    for (const QByteArray& line : text.split('\n')) {
        const QStringList parts =
            textOf(line.simplified()).split(QLatin1String(kEndOfName), Qt::SkipEmptyParts);
        const QStringList head = words(parts.value(0));
        if (!head.isEmpty() && head.last().contains(QLatin1String("PCH")))
            return head.first();
    }
    return std::nullopt;
}

QVariantMap matchHdaCard(const QString& text)
{
    QRegExp pattern(QStringLiteral("(\\d+) \\[(.*)\\]: (.*) - (.*)\n\\s+(.*) at (.*) irq (\\d+)"),
                    Qt::CaseSensitive);
    if (pattern.indexIn(text, 0) < 0 || !pattern.cap(3).startsWith(QLatin1String("HDA-Intel")))
        return {};
    return {{QStringLiteral("index"), pattern.cap(1)},
            {QStringLiteral("name"), pattern.cap(2)},
            {QStringLiteral("type"), pattern.cap(3)},
            {QStringLiteral("tag"), pattern.cap(4)},
            {QStringLiteral("additionalInfo"), pattern.cap(5)}};
}

QVariantList parseHdaCards(const QByteArray& text)
{
    QVariantList cards;
    for (const QString& line : textOf(text).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        // Never matches: the pattern holds a line end. Callers rely on the empty list.
        const QVariantMap card = matchHdaCard(line);
        if (!card.isEmpty())
            cards << card;
    }
    return cards;
}

} // namespace ky
