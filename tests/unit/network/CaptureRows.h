#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTest>

/// A row "bytes" for each captured output of the folder that the pattern names; fewer than `least`
/// end the program, since a sweep over captures that are gone would show nothing.
inline void captureRows(const char* folder, const char* pattern, int least)
{
    QTest::addColumn<QByteArray>("bytes");
    const QDir captures(QStringLiteral(KY_TEST_DATA "/") + QLatin1String(folder));
    const QStringList names = captures.entryList({QLatin1String(pattern)}, QDir::Files);
    if (names.size() < least)
        qFatal("captures of %s %s are missing", folder, pattern);
    for (const QString& name : names) {
        QFile file(captures.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            qFatal("cannot read %s", qUtf8Printable(name));
        QTest::newRow(qPrintable(name)) << file.readAll();
    }
}
