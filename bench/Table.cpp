#include "Table.h"

#include <algorithm>

namespace ky::bench {

namespace {

QString figure(double value)
{
    const int decimals = value >= 100 ? 0 : value >= 10 ? 1 : 2;
    return QString::number(value, 'f', decimals);
}

QString row(const QStringList& cells)
{
    return QStringLiteral("| %1 |\n").arg(cells.join(QStringLiteral(" | ")));
}

/// The median, with the lowest and highest round.
QString cell(const QVector<double>& values, double scale)
{
    if (values.isEmpty())
        return QStringLiteral("–");
    const auto range = std::minmax_element(values.begin(), values.end());
    return QStringLiteral("%1 (%2–%3)")
        .arg(figure(median(values) / scale), figure(*range.first / scale),
             figure(*range.second / scale));
}

} // namespace

double median(QVector<double> values)
{
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    const int middle = values.size() / 2;
    return values.size() % 2 ? values.at(middle) : (values.at(middle - 1) + values.at(middle)) / 2;
}

void Table::add(const QString& name, const QString& unit, double scale, const Samples& samples,
                const QString& subject, const QString& reference, const QString& goal)
{
    QStringList cells{name, unit};
    for (const QString& one : _subjects)
        cells << cell(samples.value(one), scale);
    QStringList ratios;
    const double base = median(samples.value(reference));
    for (const QString& one : _subjects) {
        if (one.startsWith(subject) && base > 0)
            ratios << QString::number(median(samples.value(one)) / base, 'f', 2);
    }
    cells << ratios.join(QStringLiteral(" / ")) + QLatin1Char(' ') + reference << goal;
    _rows << row(cells);
}

QString Table::text() const
{
    QStringList head{QStringLiteral("subject"), QStringLiteral("unit")};
    head += _subjects;
    head << QStringLiteral("ratio") << QStringLiteral("goal");
    QStringList rule;
    for (int i = 0; i < head.size(); ++i)
        rule << QStringLiteral("---");
    return QStringLiteral("## %1\n\n%2%3%4\n")
        .arg(_title, row(head), row(rule), _rows.join(QString()));
}

} // namespace ky::bench
