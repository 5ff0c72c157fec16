#include "inventory/HardwareText.h"

#include <QFile>

#include <algorithm>

namespace ky {

namespace {

constexpr qint32 kMostMegabytes = 0xFFFFF;
constexpr int kDiskWords = 7;

const QChar kLineEnd = QLatin1Char('\n');
const QChar kBlank = QLatin1Char(' ');

/// Blocks of used and available together, in 32 bits like either of them: 2 TiB and more come out
/// negative.
qint32 sumOf(qint32 used, qint32 available)
{
    return qint32(quint32(used) + quint32(available));
}

bool isCardLine(const QString& line)
{
    return line.startsWith(QLatin1String("en")) || line.startsWith(QLatin1String("eth")) ||
           line.startsWith(QLatin1String("wl"));
}

bool isAddressLine(const QString& line)
{
    return line.contains(QLatin1String("ether"));
}

/// Where "ether" is only a part of a word, the line's first word is taken, whatever it is.
QString addressOf(const QString& line)
{
    const QStringList words = line.split(kBlank);
    return words.value(words.indexOf(QStringLiteral("ether")) + 1);
}

QVariantMap parseCardBlock(const QString& block)
{
    const QStringList lines = block.split(kLineEnd, Qt::SkipEmptyParts);
    const auto head = std::find_if(lines.begin(), lines.end(), isCardLine);
    if (head == lines.end())
        return {};
    QVariantMap card;
    QString name = head->simplified().section(kBlank, 0, 0);
    card.insert(QStringLiteral("name"), name.remove(QLatin1Char(':')));
    const auto address = std::find_if(head + 1, lines.end(), isAddressLine);
    if (address != lines.end())
        card.insert(QStringLiteral("mac"), addressOf(*address));
    return card;
}

} // namespace

QString sizeText(qint32 kibiBlocks)
{
    if (kibiBlocks == 0)
        return QStringLiteral("0");
    if (kibiBlocks > kMostMegabytes)
        return QString::number(kibiBlocks >> 20) + QLatin1String("GB");
    return QString::number(kibiBlocks / 1024) + QLatin1String("MB");
}

QVariantList parseDisks(const QString& text)
{
    QVariantList disks;
    for (const QString& row : text.split(kLineEnd)) {
        const QStringList words = row.simplified().split(kBlank);
        if (words.size() < kDiskWords)
            continue;
        const qint32 used = words.at(3).toInt();
        const qint32 available = words.at(4).toInt();
        disks << QVariantMap{{QStringLiteral("Filesystem"), words.at(0)},
                             {QStringLiteral("Used"), sizeText(used)},
                             {QStringLiteral("Size"), sizeText(sumOf(used, available))},
                             {QStringLiteral("Use%"), words.at(5)}};
    }
    return disks;
}

QVariantList parseProcessors(const QString& text)
{
    QVariantList processors;
    for (const QString& line : text.split(kLineEnd)) {
        if (line.trimmed().isEmpty())
            continue;
        const QStringList parts = line.split(QLatin1Char(':'));
        processors << QVariantMap{
            {QStringLiteral("model name"), parts.size() == 2 ? parts.at(1).trimmed() : QString()}};
    }
    return processors;
}

QVariantList parseNetworkCards(const QString& text)
{
    QVariantList cards;
    for (const QString& block : text.split(QStringLiteral("\n\n"), Qt::SkipEmptyParts)) {
        const QVariantMap card = parseCardBlock(block);
        if (!card.isEmpty())
            cards << card;
    }
    return cards;
}

QList<ThermalZone> parseThermalZones(const QString& text)
{
    QList<ThermalZone> zones;
    for (const QString& line : text.split(kLineEnd)) {
        QStringList parts = line.split(QLatin1Char(':'));
        if (parts.size() > 1)
            zones.append(
                {parts[0].replace(QLatin1String("/type"), QLatin1String("/temp")), parts.at(1)});
    }
    return zones;
}

std::optional<double> readTemperature(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    // All at once: files of the kernel are shorter than the size that they report.
    QByteArray text = file.readAll();
    if (text.endsWith('\n'))
        text.chop(1);
    return text.mid(text.lastIndexOf('\n') + 1).simplified().toDouble() / 1000.0;
}

} // namespace ky
