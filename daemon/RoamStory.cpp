#include "daemon/RoamStory.h"

namespace ky {

namespace {

constexpr char kDecisionKind[] = "text";
constexpr char kCandidatesKind[] = "ApList";
/// Begins the line of a move that is asked for, by a decision or by hand; decisions for a move name
/// the band before the colon.
constexpr char kMoveHead[] = "Switch AP:";

} // namespace

void RoamStory::add(const QString& kind, const QString& text, const QString& time)
{
    QString key = kind;
    if (kind == QLatin1String(kDecisionKind))
        key = text.startsWith(QLatin1String(kMoveHead)) ? QStringLiteral("move")
                                                        : QStringLiteral("decision");
    if (key == QLatin1String("decision"))
        addDecision(text);
    else
        _told.insert(key, text);
    _told.insert(key + QStringLiteral("_time"), time);
    if (kind == QLatin1String(kCandidatesKind))
        _isDecisionOver = true; // each look at the candidates is followed by its own decision
}

void RoamStory::addDecision(const QString& text)
{
    QStringList lines;
    if (!_isDecisionOver)
        lines = _told.value(QStringLiteral("decision")).toStringList();
    lines << text;
    _told.insert(QStringLiteral("decision"), lines);
    _isDecisionOver = false;
}

} // namespace ky
