#include "network/tools/IwOutput.h"

#include <QStringList>

#include <limits>

namespace ky {

namespace {

const QLatin1Char kBlank(' ');

/// The part at `index` of a text that has exactly `count` parts, else nothing.
QString partOf(const QString& text, QChar separator, int count, int index)
{
    const QStringList parts = text.split(separator);
    return parts.size() == count ? parts.at(index) : QString();
}

void readLinkLine(const QString& rawLine, LinkState& link)
{
    const QString line = rawLine.simplified();
    if (line.contains(QLatin1String("Connected to"))) {
        const QStringList words = line.split(kBlank);
        if (words.size() > 3)
            link.bssid = words.at(2);
    } else if (line.contains(QLatin1String("SSID:"))) {
        link.ssid = QString(line).remove(QLatin1String("SSID:")).simplified();
    } else if (rawLine.contains(QLatin1String("freq:"))) {
        const QString value = partOf(line, kBlank, 2, 1);
        if (!value.isNull())
            link.frequencyMhz = value.toInt();
    } else if (rawLine.contains(QLatin1String("signal:"))) {
        const QString value = partOf(line, kBlank, 3, 1);
        if (!value.isNull())
            link.signalDbm = value.toInt();
    }
}

/// A frequency in GHz, such as "5.18", in MHz.
int megahertz(const QString& gigahertz)
{
    const double value = gigahertz.toDouble() * 1000;
    const bool fits = value > std::numeric_limits<int>::min() &&
                      value < std::numeric_limits<int>::max(); // false for NaN, too
    return fits ? int(value) : 0;
}

void readQuality(const QString& text, IwconfigState& state)
{
    const QStringList parts = text.split(QLatin1Char('/'));
    if (parts.size() != 2)
        return;
    state.qualityValue = parts.at(0).toInt();
    state.qualityMax = parts.at(1).toInt();
}

void readIwconfigPiece(const QString& piece, IwconfigState& state)
{
    const auto holds = [&](const char* word) { return piece.contains(QLatin1String(word)); };
    const auto without = [&](const char* word) {
        return QString(piece).remove(QLatin1String(word));
    };
    if (holds("ESSID:")) {
        state.ssid = without("ESSID:").remove(QLatin1Char('"'));
    } else if (holds("Access Point:")) {
        state.bssid = without("Access Point: ").toLower();
    } else if (holds("Link Quality=")) {
        readQuality(without("Link Quality="), state);
    } else if (holds("Signal level=")) {
        const QString value = partOf(without("Signal level="), kBlank, 2, 0);
        if (!value.isNull())
            state.signalDbm = value.toInt();
    } else if (holds("Frequency:")) {
        const QString value = partOf(without("Frequency:"), kBlank, 2, 0);
        if (!value.isNull())
            state.frequencyMhz = megahertz(value);
    }
}

} // namespace

LinkState parseIwLink(const QString& text)
{
    LinkState link;
    for (const QString& line : text.split(QLatin1Char('\n')))
        readLinkLine(line, link);
    return link;
}

QVariantMap linkRecord(const LinkState& link)
{
    return {{QStringLiteral("qualityValue"), 0},
            {QStringLiteral("qualityMax"), 0},
            {QStringLiteral("ssid"), link.ssid},
            {QStringLiteral("bssid"), link.bssid},
            {QStringLiteral("signalLevel"), link.signalDbm},
            {QStringLiteral("frequenc"), link.frequencyMhz}};
}

IwconfigState parseIwconfig(const QString& text)
{
    IwconfigState state;
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        for (const QString& part : line.split(QStringLiteral("  "))) {
            const QString piece = part.simplified();
            if (!piece.isEmpty())
                readIwconfigPiece(piece, state);
        }
    }
    return state;
}

} // namespace ky
