#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

namespace ky::bench {

/// What several rounds gave for each subject of a row.
using Samples = QMap<QString, QVector<double>>;

double median(QVector<double> values);

/// A Markdown table: a row for each measurement, a column for each subject, and the ratio of the
/// library's figure to that of its reference.
class Table
{
public:
    Table(QString title, QStringList subjects)
        : _title(std::move(title))
        , _subjects(std::move(subjects))
    {}

    /// `scale` divides the figures ("k" with 1000). The ratios are those of the medians of every
    /// subject that is ours (its name begins with `subject`) and of the reference.
    void add(const QString& name, const QString& unit, double scale, const Samples& samples,
             const QString& subject, const QString& reference, const QString& goal);

    QString text() const;

private:
    QString _title;
    QStringList _subjects;
    QStringList _rows;
};

} // namespace ky::bench
