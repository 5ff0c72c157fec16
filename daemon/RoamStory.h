#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace ky {

/// What the reports on roaming add up to: the link and the candidates as seen last, the last decision
/// with its reasons, and the last move that was asked for.
class RoamStory
{
public:
    /// Takes the next report; `time` is when it came.
    void add(const QString& kind, const QString& text, const QString& time);

    /// "CurrentAP" and "ApList" (texts), "decision" (a list of one line, or two when it was to
    /// stay), "move" (a text), and beside each the same with "_time" behind it. What has not been
    /// told yet is not there.
    QVariantMap map() const { return _told; }

private:
    void addDecision(const QString& text);

    QVariantMap _told;
    bool _isDecisionOver = true; ///< candidates came since: the next line begins a new decision
};

} // namespace ky
